/// @file
/// One simulation, advanced step by step. See co_simulation_stepper.hpp and model_exchange_stepper.hpp.
#pragma once

#include <cstdint>
#include <string>

#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"
#include "runner/input/input_table.hpp"
#include "runner/run/run_plan.hpp"
#include "runner/signals/signal_log.hpp"
#include "runner/signals/value_store.hpp"

namespace vtio::runner {

/// What every kind of simulation reads from, writes to and is bound by. Borrowed; must outlive the simulation.
struct RunParts {
  ValueStore& values;
  SignalLog& log;
  InputTable& inputs;
  const RunPlan& plan;
};

/// What came of a step.
enum class StepResult : std::uint8_t {
  done,
  arrived,   ///< the simulation stands at its stop, or the FMU asked to end it
  noneFits,  ///< no further step fits before the stop
  goBack     ///< nothing: it has to be made again from the last return point
};

/// An initialised FMU on its way through time. All failures of the model are RunnerErrors of status failed.
class VTIO_RUNNER_EXPORT Stepper {
 public:
  virtual ~Stepper();
  Stepper(const Stepper&) = delete;
  Stepper& operator=(const Stepper&) = delete;

  /// Handles the first event, where there is one, and logs the first sample.
  virtual void begin() = 0;

  /// Goes on by one step, to the stop at most, and logs what it meets.
  virtual StepResult step() = 0;

  /// Where the simulation stands, in seconds.
  [[nodiscard]] virtual double time() const = 0;

  /// Whether the FMU asked to end the simulation.
  [[nodiscard]] virtual bool hasEnded() const = 0;

  /// Whether this is a point at which a run may go back: see RunTimes::rewind.
  [[nodiscard]] virtual bool isAtRewindPoint() const = 0;

  /// Whether a step may come to StepResult::goBack: then save() is due every so often.
  [[nodiscard]] virtual bool needsReturnPoints() const = 0;

  /// Keeps where the simulation stands, for restore(), in place of what was kept before. Needs canGetAndSetFMUState.
  virtual void save() = 0;
  virtual void restore() = 0;

  /// What the user should know about the simulation; empty if nothing.
  [[nodiscard]] virtual std::string remark() const = 0;

 protected:
  Stepper() = default;
};

}  // namespace vtio::runner
