/// @file
/// Figures drawn by gnuplot.
#pragma once

#include <string>

#include "results/export.hpp"
#include "results/plot/figure.hpp"

namespace vtio::results {

/// The commands and data for a figure.
/// @param terminal `svg` or `png`.
/// @param output The picture's file.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string gnuplotScript(const Figure& figure, const std::string& terminal,
                                                            const std::string& output);

/// Draws a figure through a pipe to gnuplot. The picture appears under its name when it is whole.
/// @throws ResultsError if gnuplot is missing or fails.
VTIO_RESULTS_EXPORT void drawWithGnuplot(const Figure& figure, const std::string& terminal, const std::string& output);

/// Runs a program with a text as its standard input.
/// @return Its exit status; 127 if there is no such program.
/// @throws ResultsError
[[nodiscard]] VTIO_RESULTS_EXPORT int runWithInput(const std::string& program, const std::string& input);

}  // namespace vtio::results
