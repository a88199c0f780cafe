#include "runner/run/co_simulation_stepper.hpp"

#include <algorithm>

#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr double kSmallestStep = 1e-6;  // of a step: the smallest that repeated halving leads to
constexpr int kMostStandstills = 1000;  // steps in a row that end where they began

}  // namespace

CoSimulationStepper::CoSimulationStepper(CoSimulation& instance, const Interface& way, const RunParts& parts)
    : instance_(instance),
      parts_(parts),
      times_(parts.plan.times),
      grid_(times_.start, times_.step),
      roundOff_(kRoundOff * times_.step),
      smallestStep_(kSmallestStep * times_.step),
      variableSteps_(way.flag("canHandleVariableCommunicationStepSize")),
      hasEvents_(parts.plan.model.version == FmiVersion::fmi3 && way.flag("hasEventMode")),
      readsWithinSteps_(!parts.values.intermediate().empty()),
      repeater_(instance, parts.plan.changeLimits, variableSteps_ && way.flag("canGetAndSetFMUState")),
      events_(instance, parts.values, parts.inputs, parts.plan.model, times_.start),
      time_(times_.start),
      nextInputEvent_(nextInputEvent()) {
  if (times_.outputStep) outputGrid_.emplace(times_.start, *times_.outputStep);
  checkOutputStep();
  if (parts_.inputs.hasClocks() && !hasEvents_) {
    throw RunnerError("--input: clocks tick in events, and the FMU has no event mode in Co-Simulation");
  }
}

// Discrete inputs may jump in the event mode alone, where there is one.
double CoSimulationStepper::nextInputEvent() const {
  return hasEvents_ ? parts_.inputs.nextChange(time_) : parts_.inputs.nextEvent(time_);
}

void CoSimulationStepper::setInputs(EventSide side) {
  hasEvents_ ? parts_.inputs.applyContinuous(instance_, time_, side) : parts_.inputs.apply(instance_, time_, side);
}

void CoSimulationStepper::checkOutputStep() const {
  if (!times_.outputStep || variableSteps_ || TimeGrid(0.0, times_.step).has(*times_.outputStep)) return;
  throw RunnerError("the output step " + numberText(*times_.outputStep) + " is no multiple of the step " +
                    numberText(times_.step) + ", and the FMU cannot vary its steps");
}

bool CoSimulationStepper::isLogged(double time) const {
  return !outputGrid_ || time == times_.stop || outputGrid_->has(time);
}

void CoSimulationStepper::sample() {
  parts_.values.read(instance_);
  parts_.log.log(time_);
}

// What was read within the step that was accepted.
void CoSimulationStepper::sampleBetween() {
  const IntermediateSamples& between = instance_.intermediate();
  const std::byte* values = between.values.data();
  for (const double time : between.times) {
    values = parts_.values.takeIntermediate(values);
    parts_.log.logIntermediate(time);
  }
}

void CoSimulationStepper::begin() {
  if (hasEvents_) {
    takeEvent(events_.begin());
    if (!ended_) instance_.leaveEvents();
  } else {
    parts_.values.readAll(instance_);
  }
  parts_.log.log(time_);
  events_.end();
}

void CoSimulationStepper::takeEvent(const EventOutcome& outcome) {
  nextEvent_ = outcome.nextTime;
  nextTick_ = events_.clocks().next();
  ended_ = ended_ || outcome.terminate;
}

// Whether nothing but a step is due up to a point of the grid, and only that point is to be logged.
bool CoSimulationStepper::isQuietUntil(double target) const {
  const double due =
      std::min(std::min(times_.stop, nextInputEvent_), std::min(nextTick_, nextEvent_.value_or(Clocks::kNever)));
  return target + roundOff_ < due && !outputGrid_ && !readsWithinSteps_;
}

double CoSimulationStepper::nextTarget(double target) {
  if (!variableSteps_) return target;
  if (outputGrid_) target = std::min(target, outputGrid_->after(time_));
  target = std::min(target, nextInputEvent_);
  if (nextEvent_ && *nextEvent_ > time_) target = std::min(target, *nextEvent_);
  // A step that ends a rounding error before a tick goes on to it.
  if (nextTick_ <= target + roundOff()) target = std::max(nextTick_, time_);
  // The rest of the way is not left for a step of the size of a rounding error.
  return target + roundOff() >= times_.stop ? times_.stop : target;
}

StepResult CoSimulationStepper::step() {
  const double point = grid_.after(time_);
  if (isQuietUntil(point)) return stepQuietly(point);
  const double target = nextTarget(point);
  // Without variable steps the last step that fits is the end.
  if (target > times_.stop + roundOff()) return StepResult::noneFits;
  return stepTo(target);
}

// What finishStep() comes to when nothing happens; most steps are such.
StepResult CoSimulationStepper::stepQuietly(double target) {
  const StepOutcome outcome = repeater_.step(time_, target, smallestStep_);
  const bool isPlain = !outcome.discarded && !outcome.eventNeeded && !outcome.terminate && !(outcome.lastTime < target);
  if (!isPlain) return finishStep(outcome, target);
  time_ = target;
  standstills_ = 0;
  setInputs(EventSide::after);
  sample();
  return StepResult::done;
}

StepResult CoSimulationStepper::stepTo(double target) {
  const StepOutcome outcome = repeater_.step(time_, target, smallestStep_);
  return finishStep(outcome, target);
}

StepResult CoSimulationStepper::finishStep(const StepOutcome& outcome, double target) {
  const double before = time_;
  if (outcome.discarded) return StepResult::goBack;
  sampleBetween();
  const bool early = outcome.lastTime < target;
  time_ = early ? outcome.lastTime : target;
  ended_ = outcome.terminate;
  standstills_ = time_ > before ? 0 : standstills_ + 1;
  if (standstills_ > kMostStandstills) {
    throw RunnerError(ExitStatus::failed, "the FMU returns early again and again without any progress");
  }
  const double inputEvent = nextInputEvent_;
  const bool atInputEvent = inputEvent <= time_;
  if (atInputEvent) nextInputEvent_ = nextInputEvent();
  setInputs(inputEvent == time_ ? EventSide::before : EventSide::after);
  const bool announced = (nextEvent_ && *nextEvent_ <= time_) || nextTick_ <= time_ + roundOff();
  const bool atEvent = outcome.eventNeeded || announced || (hasEvents_ && atInputEvent);
  const bool moved = standstills_ == 0;
  if ((moved && (early || isLogged(time_))) || atEvent || atInputEvent || ended_) sample();
  if (atEvent) {
    handleEvents(inputEvent);
  } else if (inputEvent == time_) {
    setInputs(EventSide::after);
    sample();
  }
  return ended_ || time_ >= times_.stop ? StepResult::arrived : StepResult::done;
}

// Values before the event are logged; those after it follow at the same time.
void CoSimulationStepper::handleEvents(double inputsFrom) {
  instance_.enterEvents();
  takeEvent(events_.handle(time_, time_ + roundOff(), inputsFrom));
  parts_.log.log(time_);
  events_.end();
  if (!ended_) instance_.leaveEvents();
}

void CoSimulationStepper::save() {
  if (!checkpoint_) checkpoint_.emplace(instance_);
  checkpoint_->state.save();
  checkpoint_->time = time_;
  checkpoint_->nextEvent = nextEvent_;
  checkpoint_->clocks = events_.clocks().save();
  checkpoint_->held = parts_.values.hold();
}

void CoSimulationStepper::restore() {
  checkpoint_->state.restore();
  time_ = checkpoint_->time;
  nextEvent_ = checkpoint_->nextEvent;
  events_.clocks().restore(checkpoint_->clocks);
  parts_.values.restore(checkpoint_->held);
  nextTick_ = events_.clocks().next();
  nextInputEvent_ = nextInputEvent();
  standstills_ = 0;
  ended_ = false;
}

}  // namespace vtio::runner
