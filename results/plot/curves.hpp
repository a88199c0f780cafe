/// @file
/// Signals as the points of curves.
#pragma once

#include <vector>

#include "results/file/results_file.hpp"
#include "results/plot/figure.hpp"

namespace vtio::results {

/// One curve per number of a sample (of a complex one the magnitude), reduced to the pixels of `range`, which must be
/// finite. Read in parts.
[[nodiscard]] std::vector<Curve> timeCurves(const ResultsFile& file, const SignalInfo& signal, TimeRange range,
                                            std::size_t pixels);

/// The numbers of `y` over those of `x` at the times of `y`, points on one pixel once.
[[nodiscard]] std::vector<Curve> xyCurves(const ResultsFile& file, const SignalInfo& x, const SignalInfo& y,
                                          TimeRange range, std::size_t pixels);

}  // namespace vtio::results
