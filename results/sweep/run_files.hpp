/// @file
/// Signals of several runs of a sweep as those of one file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/sweep/run_table.hpp"

namespace vtio::results {

/// What the signals of several runs are called.
enum class RunNames : std::uint8_t {
  numbers,    ///< `h@17` is `h` of run 17
  parameters  ///< `h (e=0.5)`, where that tells all runs apart and there are at most three parameters
};

/// Opens the results of runs and chooses their signals, pattern by pattern. Runs that left no file are left out.
/// @param patterns None: all signals.
/// @throws ResultsError for a pattern that matches nothing in a run, if no run left a file, or if there are too many.
[[nodiscard]] VTIO_RESULTS_EXPORT ResultsFile openRuns(const RunTable& table, std::span<const std::size_t> runs,
                                                       std::span<const std::string> patterns, RunNames names);

/// Which runs of a sweep a command is about.
struct RunChoice {
  std::optional<std::uint64_t> run;
  std::vector<std::string> conditions;  ///< all of which hold

  [[nodiscard]] bool isGiven() const { return run.has_value() || !conditions.empty(); }
};

/// A file for a command, and which of its signals the command is about.
struct ChosenFile {
  ResultsFile file;
  bool isSelection = false;  ///< the patterns have been applied: all signals count
};

/// Opens a results file; of a sweep one run, several, or, without a choice, the table of its runs.
/// @param patterns Applied to the signals of several runs only.
/// @throws ResultsError also for a choice of runs in a file that is no sweep.
[[nodiscard]] VTIO_RESULTS_EXPORT ChosenFile openChosen(const std::string& path, const RunChoice& choice,
                                                        std::span<const std::string> patterns,
                                                        RunNames names = RunNames::numbers);

/// The name of the results file of one run.
/// @throws ResultsError if there is no such run or it left no file.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string fileOfRun(const RunTable& table, std::uint64_t run);

}  // namespace vtio::results
