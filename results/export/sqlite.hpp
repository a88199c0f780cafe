/// @file
/// Signals as a SQLite database.
#pragma once

#include <optional>
#include <vector>

#include "results/export.hpp"
#include "results/export/target_file.hpp"
#include "results/file/job.hpp"
#include "results/file/results_file.hpp"
#include "results/values/time_range.hpp"

namespace vtio::results {

struct SqliteSettings {
  TimeRange range;
  std::optional<double> step;  ///< resamples all signals into one table
  bool raw = false;            ///< stored integers in place of labels and real values
};

/// Writes the table `signals`, a row per signal: `name`, `unit`, `class`, `dims`, `first`, `width`, `begin`, `count`
/// as in the file's own record of columns, and `samples`, a JSON list of {"table", "columns"}; and for each sample
/// table K `samples_K` with `time` and a column per number or text, `samples_K_2`, … beyond 2000 columns. A cell is
/// NULL where a signal has no sample; NaN is NULL, too. An unsigned integer beyond the range of SQLite's is a text.
/// @throws Interrupted, ResultsError
VTIO_RESULTS_EXPORT void writeSqlite(const ResultsFile& file, const std::vector<const SignalInfo*>& signals,
                                     const SqliteSettings& settings, TargetFile& target, const Job& job = {});

}  // namespace vtio::results
