#include "runner/run/step_repeater.hpp"

#include <cmath>
#include <utility>

#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {

StepRepeater::StepRepeater(CoSimulation& instance, std::vector<ChangeLimit> limits, bool canRepeat)
    : instance_(instance),
      before_(instance),
      limits_(std::move(limits)),
      canRepeat_(canRepeat),
      keepsStates_(canRepeat && !limits_.empty()) {
  for (const ChangeLimit& limit : limits_) references_.push_back(limit.reference);
  old_.resize(limits_.size());
  now_.resize(limits_.size());
}

void StepRepeater::read(std::vector<double>& values) {
  if (!references_.empty()) instance_.get(VariableType::float64, references_, values.data(), values.size());
}

bool StepRepeater::movedTooMuch() {
  read(now_);
  for (std::size_t i = 0; i < limits_.size(); ++i) {
    if (std::abs(now_[i] - old_[i]) > limits_[i].most) return true;
  }
  return false;
}

void StepRepeater::refuse(double target) {
  throw RunnerError(ExitStatus::failed,
                    "the FMU discarded the step to " + numberText(target) + ", which cannot be repeated");
}

// After the first discarded step.
void StepRepeater::keepStates(double target) {
  if (!canRepeat_) refuse(target);
  keepsStates_ = true;
}

StepOutcome StepRepeater::stepAndRepeat(double time, double& target, double smallest) {
  before_.save();
  read(old_);
  while (true) {
    const StepOutcome outcome = instance_.doStep(time, target - time, false);
    const bool canHalve = target - time > smallest;
    if (!outcome.discarded && (!canHalve || !movedTooMuch())) return outcome;
    if (!canHalve) refuse(target);
    before_.restore();
    target = time + 0.5 * (target - time);
  }
}

}  // namespace vtio::runner
