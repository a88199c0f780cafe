/// @file
/// Times start + k step, computed anew from the start, so that rounding does not add up.
#pragma once

#include <cmath>
#include <limits>

namespace vtio::runner {

/// Of a step: times that differ by less are one.
inline constexpr double kRoundOff = 1e-9;

/// The points of a grid.
class TimeGrid final {
 public:
  /// @param step In seconds, > 0.
  TimeGrid(double start, double step) : start_(start), step_(step) {}

  /// The first point behind a time. Quick from the point that was given last.
  [[nodiscard]] double after(double time) {
    if (time != point_) {
      const double k = (time - start_) / step_;
      index_ = std::floor(k + slack(k));
    }
    index_ += 1.0;
    point_ = start_ + index_ * step_;
    return point_;
  }

  [[nodiscard]] bool has(double time) const {
    const double k = (time - start_) / step_;
    return std::abs(k - std::round(k)) <= slack(k);
  }

 private:
  // The number of steps since the start adds to the error of rounding.
  static double slack(double k) { return kRoundOff + 1e-15 * std::abs(k); }

  double start_, step_;
  double point_ = std::numeric_limits<double>::quiet_NaN();  // given last
  double index_ = 0.0;                                       // of that point
};

}  // namespace vtio::runner
