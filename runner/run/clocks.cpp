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
  clock.schedule.base = start_ + shift;
  clock.schedule.next = clock.schedule.base;
  if (variability != IntervalVariability::changing || interval != 0.0) {
    takeInterval(clock, clock.schedule.base, interval);
    clock.schedule.ticks = 0;
    clock.schedule.next = clock.schedule.base;
  }
}

void Clocks::takeInterval(Timed& clock, double base, double seconds) {
  const bool isCountdown = clock.variable->clock->variability == IntervalVariability::countdown;
  if (!std::isfinite(seconds) || seconds < 0.0 || (seconds == 0.0 && !isCountdown)) {
    throw RunnerError(ExitStatus::failed, "the clock '" + printable(clock.variable->name) + "' has the interval " +
                                              numberText(seconds) + " s");
  }
  clock.schedule.base = base;
  clock.schedule.interval = seconds;
  clock.schedule.ticks = 1;
  clock.schedule.next = base + seconds;
}

double Clocks::next() const {
  double next = kNever;
  for (const Timed& clock : timed_) next = std::min(next, clock.schedule.next);
  return next;
}

bool Clocks::ticksNow(std::uint32_t reference) const {
  return std::find(ticking_.begin(), ticking_.end(), reference) != ticking_.end();
}

void Clocks::tick(double due) {
  const std::uint8_t on = 1;
  for (Timed& clock : timed_) {
    Schedule& schedule = clock.schedule;
    if (schedule.next > due) continue;
    const std::uint32_t reference = clock.variable->valueReference;
    instance_.set(VariableType::clock, {&reference, 1}, &on, 1);
    if (!ticksNow(reference)) ticking_.push_back(reference);
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
    const bool isCountdown = times.variability == IntervalVariability::countdown;
    if (!isCountdown && (times.variability != IntervalVariability::changing || !ticksNow(reference))) continue;
    const ClockInterval told = instance_.getInterval(reference, times.supportsFractions);
    if (told.hasChanged) takeInterval(clock, time, told.seconds);
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
