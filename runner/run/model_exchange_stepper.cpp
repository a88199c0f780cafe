#include "runner/run/model_exchange_stepper.hpp"

#include <algorithm>
#include <cmath>

#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr double kTolerance = 1e-6;      // where nobody gives one
constexpr double kAbsoluteShare = 0.01;  // of the relative tolerance times the nominal value
constexpr double kClosestLimit = 1e-12;  // of a step: the solver does not begin for less
constexpr int kMostTinySteps = 1000;     // of the solver in a row that are shorter

// The first communication point from which a run goes on again.
std::optional<double> rewindPointOf(const RunTimes& times) {
  if (!times.rewind) return std::nullopt;
  TimeGrid grid(times.start, times.step);
  const double point = grid.has(*times.rewind) ? *times.rewind : grid.after(*times.rewind);
  return std::min(point, times.stop);
}

}  // namespace

ModelExchangeStepper::ModelExchangeStepper(ModelExchange& instance, const Interface& way, const RunParts& parts)
    : instance_(instance),
      parts_(parts),
      times_(parts.plan.times),
      loggedGrid_(times_.start, times_.outputStep.value_or(times_.step)),
      rewindPoint_(rewindPointOf(times_)),
      tolerance_(times_.tolerance.value_or(kTolerance)),
      mayGoBack_(rewindPoint_ && way.flag("canGetAndSetFMUState")),
      problem_(instance, parts.inputs),
      solver_(makeOdeSolver(problem_, {parts.plan.method, tolerance_, times_.step})),
      states_(problem_.stateCount()),
      between_(problem_.stateCount()),
      absoluteTolerances_(problem_.stateCount()),
      events_(instance, parts.values, parts.inputs, parts.plan.model, times_.start),
      chatter_(times_.step),
      time_(times_.start),
      nextInputEvent_(parts.inputs.nextChange(times_.start)) {}

bool ModelExchangeStepper::isLogged(double time) const { return time == times_.stop || loggedGrid_.has(time); }

void ModelExchangeStepper::sample(double time) {
  parts_.values.read(instance_);
  parts_.log.log(time);
}

void ModelExchangeStepper::moveTo(double time, std::span<const double> states) {
  if (problem_.moveTo(time, states)) return;
  throw RunnerError(ExitStatus::failed, "the FMU does not take the states of the time " + numberText(time));
}

void ModelExchangeStepper::readTolerances() {
  instance_.getNominals(absoluteTolerances_);
  for (double& one : absoluteTolerances_) {
    const double nominal = std::abs(one);
    one = kAbsoluteShare * tolerance_ * (std::isfinite(nominal) && nominal > 0.0 ? nominal : 1.0);
  }
}

void ModelExchangeStepper::restartSolver() {
  problem_.beginAt(time_);
  solver_->restart(time_, states_, absoluteTolerances_);
}

void ModelExchangeStepper::begin() {
  const EventOutcome first = events_.begin();
  takeEvent(first);
  if (!ended_) instance_.leaveEvents();
  instance_.getStates(states_);
  readTolerances();
  parts_.values.read(instance_);
  parts_.log.log(time_);
  events_.end();
  if (!ended_) restartSolver();
}

// Ticks of clocks are time events to the solver.
void ModelExchangeStepper::takeEvent(const EventOutcome& outcome) {
  nextEvent_ = outcome.nextTime;
  ended_ = outcome.terminate;
  const double tick = events_.clocks().next();
  if (tick < nextEvent_.value_or(Clocks::kNever)) nextEvent_ = tick;
}

double ModelExchangeStepper::nextLimit() const {
  double limit = std::min(times_.stop, nextInputEvent_);
  if (nextEvent_) limit = std::min(limit, *nextEvent_);
  if (rewindPoint_ && time_ < *rewindPoint_) limit = std::min(limit, *rewindPoint_);
  return std::max(limit, time_);
}

StepResult ModelExchangeStepper::step() {
  advance(nextLimit());
  return ended_ || time_ >= times_.stop ? StepResult::arrived : StepResult::done;
}

void ModelExchangeStepper::advance(double limit) {
  // What is left may be less than the solver can tell from nothing.
  if (limit - time_ <= kClosestLimit * times_.step) {
    time_ = limit;
    return arrive(false);
  }
  const StepEnd end = solver_->step(limit);
  const double reached = end == StepEnd::limit ? limit : solver_->time();
  tinySteps_ = reached - time_ > kClosestLimit * times_.step ? 0 : tinySteps_ + 1;
  if (tinySteps_ > kMostTinySteps) {
    throw RunnerError(ExitStatus::failed, "the solver makes no progress any more: its steps became too short");
  }
  sampleBetween(time_, reached);
  time_ = reached;
  const std::span<const double> found = solver_->states();
  std::copy(found.begin(), found.end(), states_.begin());
  arrive(end == StepEnd::root);
}

void ModelExchangeStepper::sampleBetween(double from, double to) {
  const double last = to - kRoundOff * times_.step;
  double time = loggedGrid_.after(from);
  while (time < last) {
    solver_->interpolate(time, between_);
    moveTo(time, between_);
    sample(time);
    time = loggedGrid_.after(time);
  }
}

void ModelExchangeStepper::arrive(bool atStateEvent) {
  moveTo(time_, states_);
  const StepCompletion completion = instance_.completeStep(!mayGoBack_);
  ended_ = completion.terminate;
  const bool atTimeEvent = nextEvent_ && *nextEvent_ <= time_;
  const bool atEvent = atStateEvent || completion.eventNeeded || atTimeEvent || nextInputEvent_ <= time_;
  if (atEvent || ended_ || isLogged(time_)) sample(time_);
  if (atEvent && !ended_) handleEvents();
}

// Values before the event are logged; those after it follow at the same time.
void ModelExchangeStepper::handleEvents() {
  chatter_.add(time_);
  instance_.enterEvents();
  double inputsFrom = Clocks::kNever;
  if (nextInputEvent_ <= time_) inputsFrom = nextInputEvent_;
  nextInputEvent_ = parts_.inputs.nextChange(time_);
  const EventOutcome outcome = events_.handle(time_, time_ + kRoundOff * times_.step, inputsFrom);
  takeEvent(outcome);
  parts_.log.log(time_);
  events_.end();
  if (ended_) return;
  instance_.leaveEvents();
  if (outcome.statesChanged) instance_.getStates(states_);
  if (outcome.nominalsChanged) readTolerances();
  restartSolver();
}

void ModelExchangeStepper::save() {
  checkpoint_.emplace(instance_, chatter_);
  checkpoint_->state.save();
  checkpoint_->time = time_;
  checkpoint_->nextEvent = nextEvent_;
  checkpoint_->states = states_;
  checkpoint_->clocks = events_.clocks().save();
  checkpoint_->held = parts_.values.hold();
}

void ModelExchangeStepper::restore() {
  checkpoint_->state.restore();
  time_ = checkpoint_->time;
  nextEvent_ = checkpoint_->nextEvent;
  states_ = checkpoint_->states;
  events_.clocks().restore(checkpoint_->clocks);
  parts_.values.restore(checkpoint_->held);
  chatter_ = checkpoint_->chatter;
  nextInputEvent_ = parts_.inputs.nextChange(time_);
  ended_ = false;
  restartSolver();
}

}  // namespace vtio::runner
