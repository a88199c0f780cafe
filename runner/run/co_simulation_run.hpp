/// @file
/// Steps an FMU through a Co-Simulation and logs it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "recorders/recording_session.hpp"
#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"
#include "runner/fmu/saved_state.hpp"
#include "runner/input/input_table.hpp"
#include "runner/run/run_plan.hpp"
#include "runner/run/step_repeater.hpp"
#include "runner/signals/signal_log.hpp"
#include "runner/signals/value_store.hpp"

namespace vtio::runner {

/// Why a run failed.
enum class Failure : std::uint8_t { none, model, crash, timeout };

/// How a run ended.
struct RunEnd {
  ExitStatus status = ExitStatus::done;
  Failure failure = Failure::none;
  std::string message;    ///< why it ended early; empty if it did not
  double lastTime = 0.0;  ///< seconds
};

/// A run over borrowed parts, which must outlive it.
class VTIO_RUNNER_EXPORT CoSimulationRun final {
 public:
  /// @param plan For the times and what may be repeated; read at construction.
  CoSimulationRun(Instance& instance, const Interface& way, ValueStore& values, SignalLog& log, InputTable& inputs,
                  recorders::RecordingSession& recording, const RunPlan& plan);

  /// Steps from the start to the stop; the instance is initialised and the log empty. A run that is to be rewound goes
  /// back once it is at its stop, the log with it, and on again.
  /// @param interrupted Asked before each step: true ends the run.
  /// @param next Time of the first event that the FMU announced, if it did.
  /// @throws RunnerError of status failed when the model fails; what was logged before stays logged.
  RunEnd run(std::optional<double> next, const std::function<int()>& interrupted);

  /// Time of the last communication point, in seconds.
  [[nodiscard]] double time() const { return time_; }

 private:
  // All that a step back restores.
  struct Checkpoint {
    explicit Checkpoint(Instance& instance) : state(instance) {}
    SavedState state;
    double time = 0.0;
    std::optional<double> nextEvent;
  };

  std::optional<RunEnd> advance(const std::function<int()>& interrupted);
  void takeCheckpoint();
  bool goBack();
  void sample();
  void step(double target);
  void handleEvents();
  [[nodiscard]] double nextTarget() const;
  [[nodiscard]] bool isLogged(double time) const;
  void checkOutputStep() const;

  Instance& instance_;
  ValueStore& values_;
  SignalLog& log_;
  InputTable& inputs_;
  recorders::RecordingSession& recording_;
  RunTimes times_;
  bool variableSteps_;
  StepRepeater repeater_;
  std::optional<Checkpoint> checkpoint_;
  bool rewound_ = false;
  double time_;
  std::optional<double> nextEvent_;  // that the FMU announced
  int standstills_ = 0;              // steps in a row without progress
  bool ended_ = false;               // the FMU asked to end
};

}  // namespace vtio::runner
