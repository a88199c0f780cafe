/// @file
/// Statistics of a signal's samples.
#pragma once

#include <cstdint>
#include <limits>

#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/values/series.hpp"

namespace vtio::results {

/// Of the numbers of a signal: all elements, both parts of complex ones; NaNs are counted and left out of the rest.
/// Without numbers min, max and mean are NaN. Labels and texts have no numbers.
struct Statistics {
  std::uint64_t samples = 0;
  std::uint64_t numbers = 0;  ///< those that are not NaN
  std::uint64_t nans = 0;
  double min = std::numeric_limits<double>::quiet_NaN();
  double max = std::numeric_limits<double>::quiet_NaN();
  double mean = std::numeric_limits<double>::quiet_NaN();
  double largestGap = 0;  ///< longest time between two samples, in seconds

  /// Takes the next samples of the signal.
  VTIO_RESULTS_EXPORT void add(const SignalInfo& signal, const SeriesView& series);

 private:
  void addNumber(double value);

  long double sum_ = 0;
  double lastTime_ = std::numeric_limits<double>::quiet_NaN();
};

/// Reads a signal in parts that fit into memory.
[[nodiscard]] VTIO_RESULTS_EXPORT Statistics statisticsOf(const ResultsFile& file, const SignalInfo& signal,
                                                          TimeRange range = {});

}  // namespace vtio::results
