/// @file
/// What the shell's completion of signal names asks for.
#pragma once

#include <string>

#include "results/commands/command.hpp"
#include "results/export.hpp"

namespace vtio::results {

struct CompleteSettings {
  std::string file;
  std::string beginning;
};

/// Prints the names of signals that begin with a text, a line each; nothing if the file cannot be read.
VTIO_RESULTS_EXPORT int completeSignals(const CompleteSettings& settings, const Console& console);

}  // namespace vtio::results
