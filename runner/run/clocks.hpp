/// @file
/// The clocks of an FMU: when those with an interval tick, and which tick in an event.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "runner/description/model_description.hpp"
#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// Clocks tick in events only. Those that are inputs and have an interval are made to tick at their times, those that
/// are triggered by the FMU are asked for. Borrows its arguments.
class VTIO_RUNNER_EXPORT Clocks final {
 public:
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  /// @param start Of the simulation, in seconds.
  Clocks(Instance& instance, const ModelDescription& model, double start);

  /// Asks for the first intervals; once, in the first event of the initialised instance.
  /// @throws RunnerError of status failed, as all that asks the instance, also for an interval that is no time.
  void begin();

  /// When a clock ticks next, in seconds; kNever if none does.
  [[nodiscard]] double next() const;

  /// In an event: lets those tick that are due up to a time.
  void tick(double due);

  /// In an event: lets triggered inputs tick.
  /// @param clocks Value references.
  void trigger(const std::vector<std::uint32_t>& clocks);

  /// In an event: asks which triggered clocks tick.
  void readTriggered();

  /// In an event, at a time: asks for the intervals of countdown and tunable clocks, and of changing ones that tick.
  /// That of a tunable clock counts from its last tick.
  void readIntervals(double time);

  /// Value references of the clocks that tick in this iteration of the event.
  [[nodiscard]] const std::vector<std::uint32_t>& ticking() const { return ticking_; }

  /// The discrete states were updated: no clock ticks any more.
  void endIteration() { ticking_.clear(); }

  /// When each clock ticks next, for a step back.
  struct Schedule {
    double base = 0.0;      // the tick after which ticks are counted
    double interval = 0.0;  // 0: not known
    std::uint64_t ticks = 0;
    double next = kNever;
  };
  [[nodiscard]] std::vector<Schedule> save() const;
  void restore(const std::vector<Schedule>& schedules);

 private:
  struct Timed {
    const Variable* variable;
    Schedule schedule;
  };

  void learnFirst(Timed& clock);
  void activate(std::uint32_t clock);
  void takeInterval(Timed& clock, double base, double seconds, std::uint64_t ticks);
  void tune(Timed& clock, double time, double seconds);
  [[nodiscard]] bool ticksNow(std::uint32_t reference) const;

  Instance& instance_;
  double start_;
  std::vector<Timed> timed_;
  std::vector<std::uint32_t> triggered_;
  std::vector<std::uint8_t> flags_;  // of the triggered ones
  std::vector<std::uint32_t> ticking_;
};

}  // namespace vtio::runner
