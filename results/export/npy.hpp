/// @file
/// Samples as the bytes of a NumPy array file (.npy), readable without pickle.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/signals/signal_info.hpp"
#include "results/values/series.hpp"

namespace vtio::results {

/// The header of an array in row-major order.
/// @param type As NumPy writes it, for example `<f8`.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string npyHeader(const std::string& type, const std::vector<std::size_t>& shape);

/// Times of a series: `<f8` (N).
[[nodiscard]] VTIO_RESULTS_EXPORT std::string npyTimes(const SeriesView& series);

/// Values of a series, N and then the signal's dimensions: numbers in their own type, logicals as bool, labels and
/// texts as fixed-length Unicode, real values of fixed-point integers as doubles; complex integers as complex doubles.
/// @param raw Stored integers in place of labels and real values.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string npyValues(const SignalInfo& signal, const SeriesView& series, bool raw);

}  // namespace vtio::results
