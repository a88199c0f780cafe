/// @file
/// When a simulation logs: the times at which samples are taken.
///
///     smartlog::LoggingInterval interval = smartlog::LoggingInterval::within({{0.0, 1.0}, {5.0, 6.0}});
///     interval.disable(0.5, 0.6);
///     interval.timeInLoggingInterval(0.55);                        // false
#pragma once

#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "platform/export.hpp"

namespace smartlog {

/// Decides for each time whether it is logged. A value; one thread at a time, because it caches the last answer.
class VTIO_PLATFORM_EXPORT LoggingInterval {
 public:
  /// Nothing set: every time is logged.
  LoggingInterval() = default;

  /// Logs only inside the given closed intervals, in any order, overlapping or not; with none given, never.
  /// @throws std::invalid_argument if an interval starts after it stops or has a bound that is not a number.
  [[nodiscard]] static LoggingInterval within(std::vector<std::pair<double, double>> closed);

  /// Switches logging off in [start, stop], bounds included.
  /// @throws std::invalid_argument if start > stop or one of them is not a number.
  void disable(double start, double stop);

  /// Is a sample of this time logged? Always true when nothing is set; otherwise false for not a number. Costs two
  /// comparisons where the answer is that of the last time, amortised O(1) while times only grow, O(log n) at most.
  [[nodiscard]] bool timeInLoggingInterval(double time) const {
    if (isLoggedAsLastTime(time)) [[likely]] {
      return true;
    }
    return !(time >= gapStart_ && time <= gapStop_) && seek(time);
  }

  /// True if the cached answer covers the time and is that it is logged; false also where a search is needed.
  [[nodiscard]] bool isLoggedAsLastTime(double time) const { return time >= loggedStart_ && time <= loggedStop_; }

 private:
  [[nodiscard]] bool seek(double time) const;
  [[nodiscard]] std::pair<double, double> gapBefore(std::size_t number) const;
  void forget();

  std::vector<std::pair<double, double>> logged_;  // closed, sorted, disjoint; not used while nothing is set
  bool isRestricted_ = false;                      // something is set

  // The cached answer: the range of times around the last one, bounds included, that are all logged or all not logged.
  // The range of the other answer is empty.
  mutable double loggedStart_ = -std::numeric_limits<double>::infinity();
  mutable double loggedStop_ = std::numeric_limits<double>::infinity();
  mutable double gapStart_ = std::numeric_limits<double>::infinity();
  mutable double gapStop_ = -std::numeric_limits<double>::infinity();
  mutable std::size_t cursor_ = 0;  // the first of `logged_` that ends at or after that time
};

}  // namespace smartlog
