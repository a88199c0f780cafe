/// @file
/// `qat plot`: curves of signals.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "results/commands/command.hpp"
#include "results/export.hpp"
#include "results/sweep/run_files.hpp"

namespace vtio::results {

struct PlotSettings {
  std::string file;
  std::vector<std::string> signals;  ///< names or patterns, at least one
  std::string output;                ///< .svg, .png or .html; empty: drawn in the terminal
  std::string compare;               ///< another file; empty: none
  TimeOptions time;
  bool xy = false;             ///< all others over the first signal
  RunChoice runs = {};         ///< none of a sweep: all its runs
  std::string over = "";       ///< of a sweep: final values over this parameter
  std::string_view page = "";  ///< of the viewer, for .html; empty if it was not built
};

/// The format of a picture: "svg", "png" or "html"; "" for none.
/// @throws ResultsError for another ending, or if the output is one of the inputs.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string pictureFormat(const std::string& output,
                                                            const std::vector<std::string>& inputs);

/// Draws into a file, or with characters on the console.
/// @throws ResultsError, Interrupted
VTIO_RESULTS_EXPORT int plotSignals(const PlotSettings& settings, const Console& console);

}  // namespace vtio::results
