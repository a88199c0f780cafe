/// @file
/// Communication steps that may be taken back: discarded ones, and ones in which a variable moves too much.
#pragma once

#include <cstdint>
#include <vector>

#include "runner/export.hpp"
#include "runner/fmu/co_simulation.hpp"
#include "runner/fmu/saved_state.hpp"
#include "runner/run/change_limit.hpp"

namespace vtio::runner {

/// Steps an instance, halving a step until it is acceptable. What was taken back leaves no trace in the instance.
///
/// The state before a step, which some FMUs copy slowly, is kept where a variable is monitored, and from the first
/// discarded step on. That one is made again from an earlier point.
class VTIO_RUNNER_EXPORT StepRepeater final {
 public:
  /// @param canRepeat Whether the instance gets and sets its state, and varies its steps.
  StepRepeater(CoSimulation& instance, std::vector<ChangeLimit> limits, bool canRepeat);

  /// Steps from a time towards a target, both in seconds.
  /// @param target Set to the end of the step that was accepted.
  /// @param smallest A step of this length or less is not halved any more: it is accepted whatever moves, and a failure
  ///   if the FMU discards it.
  /// @return Discarded if it is the first one of that kind: the caller takes the instance back to an earlier point.
  /// @throws RunnerError of status failed for a discarded step that cannot be repeated.
  StepOutcome step(double time, double& target, double smallest) {
    if (keepsStates_) return stepAndRepeat(time, target, smallest);
    const StepOutcome outcome = instance_.doStep(time, target - time, !canRepeat_);
    if (outcome.discarded) keepStates(target);
    return outcome;
  }

  /// Whether step() may return a discarded step.
  [[nodiscard]] bool needsReturnPoints() const { return canRepeat_ && !keepsStates_; }

 private:
  StepOutcome stepAndRepeat(double time, double& target, double smallest);
  void keepStates(double target);
  [[noreturn]] static void refuse(double target);
  void read(std::vector<double>& values);
  [[nodiscard]] bool movedTooMuch();

  CoSimulation& instance_;
  SavedState before_;
  std::vector<ChangeLimit> limits_;
  std::vector<std::uint32_t> references_;
  std::vector<double> old_, now_;
  bool canRepeat_;
  bool keepsStates_;  // before each step
};

}  // namespace vtio::runner
