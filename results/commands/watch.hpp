/// @file
/// `qat watch`: a file while it grows.
#pragma once

#include <string>
#include <vector>

#include "results/commands/command.hpp"
#include "results/export.hpp"

namespace vtio::results {

struct WatchSettings {
  std::string file;
  std::vector<std::string> patterns;  ///< none: all signals
};

/// Fills the terminal until q is pressed. Then a line on the console says whether the file is complete, and its last
/// time.
/// @throws ResultsError if there is no terminal or the file cannot be read, Interrupted
VTIO_RESULTS_EXPORT int watchFile(const WatchSettings& settings, const Console& console);

}  // namespace vtio::results
