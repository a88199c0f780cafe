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

/// Takes the terminal until q is pressed. Then a line on the console says how the file stood.
/// @throws ResultsError if there is no terminal or the file cannot be read, Interrupted
VTIO_RESULTS_EXPORT int watchFile(const WatchSettings& settings, const Console& console);

}  // namespace vtio::results
