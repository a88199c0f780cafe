/// @file
/// When a simulation logs: the times at which samples are taken.
///
///     smartlog::LoggingInterval interval = smartlog::LoggingInterval::within({{0.0, 1.0}, {5.0, 6.0}});
///     interval.disable(0.5, 0.6);
///     interval.timeInLoggingInterval(0.55);                        // false
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/export.hpp"

namespace smartlog {

/// A set of closed time intervals, as sorted and disjoint pieces, with a memory of where the last question fell.
///
/// A question costs amortised O(1) while times only grow, and O(log n) at most. The memory makes it unfit for
/// concurrent questions.
class VTIO_PLATFORM_EXPORT IntervalSet {
 public:
  /// Adds [start, stop], merging it with what it touches.
  /// @throws std::invalid_argument if start > stop or one of them is not a number.
  void add(double start, double stop);

  /// Is the time in one of the intervals? Not a number is in none.
  [[nodiscard]] bool contains(double time) const {
    const bool tooEarly = cursor_ < intervals_.size() && !(time <= intervals_[cursor_].second);
    const bool tooLate = cursor_ > 0 && !(time > intervals_[cursor_ - 1].second);
    if (tooEarly || tooLate) {
      seek(time);
    }
    return cursor_ < intervals_.size() && time >= intervals_[cursor_].first && time <= intervals_[cursor_].second;
  }

 private:
  void seek(double time) const;

  std::vector<std::pair<double, double>> intervals_;  // sorted, disjoint
  mutable std::size_t cursor_ = 0;  // the first interval that ends at or after the last time asked for
};

/// Decides for each time whether it is logged. A value; one thread at a time.
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

  /// Is a sample of this time logged? Always true when nothing is set; otherwise false for not a number.
  [[nodiscard]] bool timeInLoggingInterval(double time) const {
    if (!restricted_) {
      return true;
    }
    return time == time && (!limited_ || enabled_.contains(time)) && !disabled_.contains(time);
  }

 private:
  IntervalSet enabled_;  // read only if limited_
  IntervalSet disabled_;
  bool restricted_ = false;  // something is set
  bool limited_ = false;     // within() was used
};

}  // namespace smartlog
