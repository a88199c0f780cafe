/// @file
/// `qat export`: samples for other programs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "results/commands/command.hpp"
#include "results/export.hpp"
#include "results/sweep/run_files.hpp"

namespace vtio::results {

struct ExportSettings {
  std::string file;
  std::vector<std::string> patterns;  ///< none: all signals
  std::string format;                 ///< csv, json, sqlite, npz; empty: what the ending of `output` says
  std::string output;                 ///< "-": standard output, for csv and json
  bool split = false;                 ///< CSV: a file per sample table
  bool raw = false;                   ///< stored integers in place of labels and real values
  TimeOptions time;
  std::optional<double> every;  ///< seconds
  RunChoice runs = {};
};

/// Writes the file beside its target and renames it.
/// @throws ResultsError, Interrupted: nothing is left then.
VTIO_RESULTS_EXPORT int exportSignals(const ExportSettings& settings, const Console& console);

/// The name of the k-th file of a split export: "x.0.csv" for "x.csv".
[[nodiscard]] VTIO_RESULTS_EXPORT std::string splitName(const std::string& output, std::size_t k);

}  // namespace vtio::results
