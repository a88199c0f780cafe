/// @file
/// `qat ls`: the signals of a file.
#pragma once

#include <string>
#include <vector>

#include "results/commands/command.hpp"
#include "results/export.hpp"

namespace vtio::results {

struct LsSettings {
  std::string file;
  std::vector<std::string> patterns;  ///< none: all signals
  bool json = false;
  bool tree = false;
  bool isLong = false;
};

/// Prints a table, a tree or JSON. A pattern that matches nothing lists nothing.
/// @throws ResultsError
VTIO_RESULTS_EXPORT int listSignals(const LsSettings& settings, const Console& console);

}  // namespace vtio::results
