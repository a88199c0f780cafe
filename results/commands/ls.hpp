/// @file
/// `qat ls`: the signals of a file.
#pragma once

#include <string>
#include <vector>

#include "results/commands/command.hpp"
#include "results/export.hpp"
#include "results/sweep/run_files.hpp"

namespace vtio::results {

struct LsSettings {
  std::string file;
  std::vector<std::string> patterns;  ///< none: all signals
  bool json = false;
  bool tree = false;
  bool isLong = false;
  RunChoice runs = {};
};

/// Prints a table, a tree or JSON; of a sweep without a choice of one run a line per run. A pattern that matches
/// nothing lists nothing.
/// @throws ResultsError
VTIO_RESULTS_EXPORT int listSignals(const LsSettings& settings, const Console& console);

}  // namespace vtio::results
