/// @file
/// A range of time, both ends included.
#pragma once

#include <limits>

namespace vtio::results {

/// Seconds; everything by default.
struct TimeRange {
  double from = -std::numeric_limits<double>::infinity();
  double to = std::numeric_limits<double>::infinity();

  [[nodiscard]] bool isAll() const {
    return from == -std::numeric_limits<double>::infinity() && to == std::numeric_limits<double>::infinity();
  }
  [[nodiscard]] bool contains(double time) const { return from <= time && time <= to; }
};

}  // namespace vtio::results
