#include "runner/run/co_simulation_run.hpp"

#include <algorithm>
#include <cmath>
#include <csignal>

#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr double kRoundOff = 1e-9;      // of a step: grid points that differ by less are one
constexpr double kRelative = 1e-15;     // and what the number of steps since the start adds to it
constexpr double kSmallestStep = 1e-6;  // of a step: the smallest that repeated halving leads to
constexpr int kMostStandstills = 1000;  // steps in a row that end where they began

// The first point of the grid start + k step behind a time. Points are computed anew from the start, so that rounding
// does not add up.
double gridPointAfter(double start, double step, double time) {
  const double k = (time - start) / step;
  return start + (std::floor(k + kRoundOff + kRelative * k) + 1.0) * step;
}

bool isOnGrid(double start, double step, double time) {
  const double k = (time - start) / step;
  return std::abs(k - std::round(k)) <= kRoundOff + kRelative * std::abs(k);
}

}  // namespace

CoSimulationRun::CoSimulationRun(Instance& instance, const Interface& way, ValueStore& values, SignalLog& log,
                                 InputTable& inputs, recorders::RecordingSession& recording, const RunPlan& plan)
    : instance_(instance),
      values_(values),
      log_(log),
      inputs_(inputs),
      recording_(recording),
      times_(plan.times),
      variableSteps_(way.flag("canHandleVariableCommunicationStepSize")),
      repeater_(instance, plan.changeLimits, variableSteps_ && way.flag("canGetAndSetFMUState")),
      time_(plan.times.start) {
  checkOutputStep();
}

void CoSimulationRun::checkOutputStep() const {
  if (!times_.outputStep || variableSteps_ || isOnGrid(0.0, times_.step, *times_.outputStep)) return;
  throw RunnerError("the output step " + numberText(*times_.outputStep) + " is no multiple of the step " +
                    numberText(times_.step) + ", and the FMU cannot vary its steps");
}

bool CoSimulationRun::isLogged(double time) const {
  return !times_.outputStep || time == times_.stop || isOnGrid(times_.start, *times_.outputStep, time);
}

void CoSimulationRun::sample() {
  values_.read(instance_);
  log_.log(time_);
}

double CoSimulationRun::nextTarget() const {
  double target = gridPointAfter(times_.start, times_.step, time_);
  if (!variableSteps_) return target;
  if (times_.outputStep) target = std::min(target, gridPointAfter(times_.start, *times_.outputStep, time_));
  target = std::min(target, inputs_.nextEvent(time_));
  if (nextEvent_ && *nextEvent_ > time_) target = std::min(target, *nextEvent_);
  // The rest of the way is not left for a step of the size of a rounding error.
  return target + kRoundOff * times_.step >= times_.stop ? times_.stop : target;
}

void CoSimulationRun::step(double target) {
  const double before = time_;
  const StepOutcome outcome = repeater_.step(time_, target, times_.step * kSmallestStep);
  const bool early = outcome.lastTime < target;
  time_ = early ? outcome.lastTime : target;
  ended_ = outcome.terminate;
  standstills_ = time_ > before ? 0 : standstills_ + 1;
  if (standstills_ > kMostStandstills) {
    throw RunnerError(ExitStatus::failed, "the FMU returns early again and again without any progress");
  }
  const double inputEvent = inputs_.nextEvent(before);
  const bool atInputEvent = inputEvent <= time_;
  inputs_.apply(instance_, time_, atInputEvent && inputEvent == time_ ? EventSide::before : EventSide::after);
  const bool announced = nextEvent_ && *nextEvent_ <= time_;
  const bool atEvent = outcome.eventNeeded || announced || atInputEvent;
  if (isLogged(time_) || atEvent || (early && standstills_ == 0) || ended_) sample();
  if (inputEvent == time_) {
    inputs_.apply(instance_, time_, EventSide::after);
    if (!outcome.eventNeeded && !announced) sample();
  }
  if (outcome.eventNeeded || announced) handleEvents();
}

// Values before the event are logged; those after it follow at the same time.
void CoSimulationRun::handleEvents() {
  instance_.enterEvents();
  const EventOutcome outcome = instance_.iterateEvents();
  nextEvent_ = outcome.nextTime;
  ended_ = ended_ || outcome.terminate;
  values_.read(instance_);
  values_.readClocks(instance_);
  log_.log(time_);
  if (!ended_) instance_.leaveEvents();
}

void CoSimulationRun::takeCheckpoint() {
  checkpoint_.emplace(instance_);
  checkpoint_->state.save();
  checkpoint_->time = time_;
  checkpoint_->nextEvent = nextEvent_;
  recording_.captureSnapshot(false);
}

// False if there is nothing to go back to, or no more.
bool CoSimulationRun::goBack() {
  if (!checkpoint_ || rewound_) return false;
  rewound_ = true;
  checkpoint_->state.restore();
  recording_.rollBack();
  time_ = checkpoint_->time;
  nextEvent_ = checkpoint_->nextEvent;
  standstills_ = 0;
  ended_ = false;
  return true;
}

RunEnd CoSimulationRun::run(std::optional<double> next, const std::function<int()>& interrupted) {
  nextEvent_ = next;
  sample();
  log_.logParameters(time_);
  std::optional<RunEnd> early;
  do {
    early = advance(interrupted);
  } while ((!early || early->status == ExitStatus::done) && goBack());
  if (early) return *early;
  return {ExitStatus::done, Failure::none,
          ended_ ? "the FMU ended the simulation at the time " + numberText(time_) : "", time_};
}

// Steps to the stop, or to where the FMU ends the simulation; says how the run ended if it ended elsewhere.
std::optional<RunEnd> CoSimulationRun::advance(const std::function<int()>& interrupted) {
  while (time_ < times_.stop && !ended_) {
    if (times_.rewind && !checkpoint_ && time_ >= *times_.rewind) takeCheckpoint();
    if (const int number = interrupted(); number != 0) {
      const bool isInterrupt = number == SIGINT;
      return RunEnd{isInterrupt ? ExitStatus::interrupted : ExitStatus::terminated, Failure::none,
                    std::string(isInterrupt ? "interrupted" : "terminated") + " at the time " + numberText(time_),
                    time_};
    }
    const double target = nextTarget();
    // Without variable steps the last step that fits is the end.
    if (target > times_.stop + kRoundOff * times_.step) {
      return RunEnd{ExitStatus::done, Failure::none,
                    "the FMU cannot vary its steps: the run ends at " + numberText(time_), time_};
    }
    step(target);
  }
  return std::nullopt;
}

}  // namespace vtio::runner
