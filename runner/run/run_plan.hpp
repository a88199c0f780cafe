/// @file
/// Everything about a run that can be wrong before the FMU's binary is loaded.
#pragma once

#include <string>
#include <vector>

#include "runner/export.hpp"
#include "runner/run/assignments.hpp"
#include "runner/run/change_limit.hpp"
#include "runner/run/run_options.hpp"
#include "runner/signals/signal_tree.hpp"

namespace vtio::runner {

/// A checked run.
struct RunPlan {
  Kind kind = Kind::coSimulation;
  OdeMethod method = OdeMethod::bdf;  ///< of Model Exchange
  ModelDescription model;             ///< its dimensions are those that structural parameters are set to
  RunTimes times;
  std::vector<Assignment> assignments;
  std::vector<ChangeLimit> changeLimits;
  std::vector<std::size_t> running, parameters;  ///< indices of what is logged, ascending
  std::vector<std::size_t> finals;               ///< indices of the scalars whose last values are wanted
  std::vector<SignalTree> trees;
  std::vector<std::string> notes;  ///< what the user should know
};

/// The interface that a run uses; valid as long as the model.
/// @throws RunnerError if the FMU does not offer it, or this build cannot run it.
[[nodiscard]] VTIO_RUNNER_EXPORT const Interface& chooseInterface(const ModelDescription& model,
                                                                  const RunOptions& options);

/// @throws RunnerError for a name, value, pattern or time that does not fit the model.
[[nodiscard]] VTIO_RUNNER_EXPORT RunPlan planRun(ModelDescription model, const RunOptions& options);

}  // namespace vtio::runner
