#include "runner/run/events.hpp"

#include "runner/error.hpp"

namespace vtio::runner {
namespace {

constexpr int kMostIterations = 1000;

}  // namespace

EventOutcome Events::begin() {
  values_.readAll(instance_);
  clocks_.begin();
  return handle(time_, time_, time_);
}

void Events::readTicking() {
  clocks_.readTriggered();
  values_.readTicking(instance_, clocks_.ticking());
}

EventOutcome Events::handle(double time, double due, double inputsFrom) {
  EventOutcome outcome;
  clocks_.tick(due);
  clocks_.trigger(inputs_.ticks(inputsFrom, time));
  inputs_.applyInEvent(instance_, time, clocks_.ticking());
  for (int i = 0; i < kMostIterations; ++i) {
    readTicking();
    const EventOutcome one = instance_.updateDiscreteStates();
    outcome.terminate = outcome.terminate || one.terminate;
    outcome.statesChanged = outcome.statesChanged || one.statesChanged;
    outcome.nominalsChanged = outcome.nominalsChanged || one.nominalsChanged;
    outcome.nextTime = one.nextTime;
    clocks_.readIntervals(time);
    clocks_.endIteration();
    // A countdown may end at once.
    const bool ticksAgain = clocks_.next() <= due;
    if (ticksAgain) clocks_.tick(due);
    if (outcome.terminate || (!one.needsUpdate && !ticksAgain)) {
      values_.read(instance_);
      return outcome;
    }
  }
  throw RunnerError(ExitStatus::failed, "the event iteration does not end");
}

}  // namespace vtio::runner
