/// @file
/// Which runs a sweep is made of.
#pragma once

#include <string>
#include <vector>

#include "runner/export.hpp"
#include "runner/sweep/sweep_options.hpp"

namespace vtio::runner {

/// The runs of a sweep, as texts for `--set`.
struct SweepPlan {
  std::vector<std::string> names;                ///< of the parameters that change from run to run
  std::vector<std::vector<std::string>> values;  ///< by run, then by name
};

/// Reads the table, or makes the combinations or samples. A value depends on the seed, its run and its parameter alone.
/// @throws RunnerError for what cannot be read, no runs, more than a million runs, and a parameter that stands twice.
[[nodiscard]] VTIO_RUNNER_EXPORT SweepPlan planSweep(const SweepOptions& options);

}  // namespace vtio::runner
