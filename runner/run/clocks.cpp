#include "runner/run/clocks.hpp"

#include <algorithm>
#include <cmath>

#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {

Clocks::Clocks(Instance& instance, const ModelDescription& model, double start) : instance_(instance), start_(start) {
  for (const Variable& variable : model.variables) {
    if (!variable.clock || variable.aliasOf) continue;
    const bool isTriggered = variable.clock->variability == IntervalVariability::triggered;
    const bool isInput = variable.causality == Causality::input;
    if (isTriggered && !isInput) triggered_.push_back(variable.valueReference);
    if (!isTriggered && isInput) timed_.push_back({&variable, {}});
  }
  flags_.resize(triggered_.size());
}

void Clocks::begin() {
  for (Timed& clock : timed_) learnFirst(clock);
  readIntervals(start_);
}

void Clocks::learnFirst(Timed& clock) {
  const ClockTimes& times = *clock.variable->clock;
  const IntervalVariability variability = times.variability;
  if (variability == IntervalVariability::countdown) return;
  const std::uint32_t reference = clock.variable->valueReference;
  double shift = times.shift;
  double interval = times.interval.value_or(0.0);
  if (variability == IntervalVariability::fixed || variability == IntervalVariability::tunable) {
    shift = instance_.getShift(reference, times.supportsFractions);
  }
  if (variability != IntervalVariability::constant || !times.interval) {
    const ClockInterval told = instance_.getInterval(reference, times.supportsFractions);
    if (told.hasChanged) interval = told.seconds;
  }
  const double first = start_ + shift;
  if (variability == IntervalVariability::changing && interval == 0.0) {
    clock.schedule = {first, 0.0, 0, first};
  } else {
    takeInterval(clock, first, interval, 0);
  }
}

// The base, and that many ticks after it the next one.
void Clocks::takeInterval(Timed& clock, double base, double seconds, std::uint64_t ticks) {
  const bool isCountdown = clock.variable->clock->variability == IntervalVariability::countdown;
  if (!std::isfinite(seconds) || seconds < 0.0 || (seconds == 0.0 && !isCountdown)) {
    throw RunnerError(ExitStatus::failed, "the clock '" + printable(clock.variable->name) + "' has the interval " +
                                              numberText(seconds) + " s");
  }
  clock.schedule = {base, seconds, ticks, base + static_cast<double>(ticks) * seconds};
}

// The first tick stays where it is; a tick that would have been before now is now.
void Clocks::tune(Timed& clock, double time, double seconds) {
  const Schedule before = clock.schedule;
  if (before.ticks == 0) return takeInterval(clock, before.base, seconds, 0);
  const double last = before.base + static_cast<double>(before.ticks - 1) * before.interval;
  takeInterval(clock, last, seconds, 1);
  if (clock.schedule.next < time) takeInterval(clock, time, seconds, 0);
}

double Clocks::next() const {
  double next = kNever;
  for (const Timed& clock : timed_) next = std::min(next, clock.schedule.next);
  return next;
}

bool Clocks::ticksNow(std::uint32_t reference) const {
  return std::find(ticking_.begin(), ticking_.end(), reference) != ticking_.end();
}

void Clocks::activate(std::uint32_t clock) {
  const std::uint8_t on = 1;
  instance_.set(VariableType::clock, {&clock, 1}, &on, 1);
  if (!ticksNow(clock)) ticking_.push_back(clock);
}

void Clocks::trigger(const std::vector<std::uint32_t>& clocks) {
  for (const std::uint32_t clock : clocks) activate(clock);
}

void Clocks::tick(double due) {
  for (Timed& clock : timed_) {
    Schedule& schedule = clock.schedule;
    if (schedule.next > due) continue;
    activate(clock.variable->valueReference);
    const bool isCountdown = clock.variable->clock->variability == IntervalVariability::countdown;
    ++schedule.ticks;
    const bool isKnown = schedule.interval > 0.0 && !isCountdown;
    schedule.next = isKnown ? schedule.base + static_cast<double>(schedule.ticks) * schedule.interval : kNever;
  }
}

void Clocks::readTriggered() {
  if (triggered_.empty()) return;
  instance_.get(VariableType::clock, triggered_, flags_.data(), flags_.size());
  for (std::size_t i = 0; i < triggered_.size(); ++i) {
    if (flags_[i] != 0 && !ticksNow(triggered_[i])) ticking_.push_back(triggered_[i]);
  }
}

void Clocks::readIntervals(double time) {
  for (Timed& clock : timed_) {
    const ClockTimes& times = *clock.variable->clock;
    const std::uint32_t reference = clock.variable->valueReference;
    const bool isTunable = times.variability == IntervalVariability::tunable;
    const bool isDue = times.variability == IntervalVariability::changing && ticksNow(reference);
    if (!isTunable && !isDue && times.variability != IntervalVariability::countdown) continue;
    const ClockInterval told = instance_.getInterval(reference, times.supportsFractions);
    if (!told.hasChanged) continue;
    isTunable ? tune(clock, time, told.seconds) : takeInterval(clock, time, told.seconds, 1);
  }
}

std::vector<Clocks::Schedule> Clocks::save() const {
  std::vector<Schedule> schedules;
  schedules.reserve(timed_.size());
  for (const Timed& clock : timed_) schedules.push_back(clock.schedule);
  return schedules;
}

void Clocks::restore(const std::vector<Schedule>& schedules) {
  for (std::size_t i = 0; i < timed_.size(); ++i) timed_[i].schedule = schedules[i];
}

}  // namespace vtio::runner
