/// @file
/// Rows of a sample table that are in a range of time.
#pragma once

#include <algorithm>
#include <cstdint>

#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/values/time_range.hpp"

namespace vtio::results {

/// Rows [begin, end).
struct RowRange {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;

  [[nodiscard]] std::uint64_t count() const { return end - begin; }

  friend bool operator==(const RowRange&, const RowRange&) = default;
};

/// The rows that two ranges share.
[[nodiscard]] inline RowRange shared(RowRange a, RowRange b) {
  const std::uint64_t begin = std::max(a.begin, b.begin);
  return {begin, std::max(begin, std::min(a.end, b.end))};
}

/// The rows of a signal.
[[nodiscard]] inline RowRange rowsOf(const SignalInfo& signal) {
  return {signal.place.begin, signal.place.begin + signal.place.count};
}

/// Those rows of `rows` that are in a range of time, found by bisection: times must not go back.
[[nodiscard]] VTIO_RESULTS_EXPORT RowRange rowsIn(SampleSource& source, std::uint32_t table, RowRange rows,
                                                  TimeRange range);

}  // namespace vtio::results
