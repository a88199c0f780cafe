/// @file
/// Times start + k step, computed anew from the start, so that rounding does not add up.
#pragma once

#include <cmath>

namespace vtio::runner {

/// Of a step: times that differ by less are one.
inline constexpr double kRoundOff = 1e-9;

/// The points of a grid.
class TimeGrid final {
 public:
  /// @param step In seconds, > 0.
  TimeGrid(double start, double step) : start_(start), step_(step) {}

  /// The first point behind a time.
  [[nodiscard]] double after(double time) const {
    const double k = (time - start_) / step_;
    return start_ + (std::floor(k + slack(k)) + 1.0) * step_;
  }

  [[nodiscard]] bool has(double time) const {
    const double k = (time - start_) / step_;
    return std::abs(k - std::round(k)) <= slack(k);
  }

 private:
  // The number of steps since the start adds to the error of rounding.
  static double slack(double k) { return kRoundOff + 1e-15 * std::abs(k); }

  double start_, step_;
};

}  // namespace vtio::runner
