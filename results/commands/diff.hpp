/// @file
/// `qat diff`: whether two files hold the same.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "results/commands/command.hpp"
#include "results/compare/file_comparison.hpp"
#include "results/export.hpp"
#include "results/sweep/run_files.hpp"

namespace vtio::results {

struct DiffSettings {
  std::string a;
  std::string b;
  std::vector<std::string> patterns;  ///< none: all signals
  double rtol = 0;
  double atol = 0;
  double timeTolerance = 0;  ///< seconds
  std::string tolerances;    ///< a file with a line per pattern; empty: none
  bool json = false;
  std::string plot;            ///< where the signals that differ are drawn; empty: nowhere
  std::string_view page = "";  ///< of the viewer, for a plot as .html
  RunChoice runs = {};         ///< of sweeps; none: every run
};

/// What the two sides of a comparison are called.
struct ComparedNames {
  std::string a;
  std::string b;
};

/// Prints a comparison as `qat diff` does.
VTIO_RESULTS_EXPORT void printComparison(const ComparedNames& names, const FileComparison& result, bool json,
                                         const Console& console);

/// Prints what differs.
/// @return kDone if nothing does, kNo if something does.
/// @throws ResultsError, Interrupted
VTIO_RESULTS_EXPORT int diffFiles(const DiffSettings& settings, const Console& console);

}  // namespace vtio::results
