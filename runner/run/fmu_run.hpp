/// @file
/// Runs a simulation to its stop, back if that is wanted, and on again.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "recorders/recording_session.hpp"
#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/run/stepper.hpp"

namespace vtio::runner {

/// Why a run failed.
enum class Failure : std::uint8_t { none, model, crash, timeout };

/// How a run ended.
struct RunEnd {
  ExitStatus status = ExitStatus::done;
  Failure failure = Failure::none;
  std::string message;    ///< why it ended early, and what else the user should know; may be empty
  double lastTime = 0.0;  ///< seconds
};

/// A run over borrowed parts, which must outlive it.
class VTIO_RUNNER_EXPORT FmuRun final {
 public:
  FmuRun(Stepper& stepper, const RunParts& parts, recorders::RecordingSession& recording);

  /// Steps from the start to the stop; the log is empty. A run that is to be rewound goes back once it is at its stop,
  /// the log with it, and on again.
  /// @param interrupted Asked before each step for the signal that is to end the run; 0: none.
  /// @throws RunnerError of status failed when the model fails; what was logged before stays logged.
  RunEnd run(const std::function<int()>& interrupted);

 private:
  std::optional<RunEnd> advance(const std::function<int()>& interrupted);
  void keepReturnPoint(bool isDue);
  void goBack();
  bool rewinds();

  Stepper& stepper_;
  SignalLog& log_;
  recorders::RecordingSession& recording_;
  const RunTimes& times_;
  std::uint64_t steps_ = 0;
  bool hasRewindPoint_ = false;
  bool rewound_ = false;
};

}  // namespace vtio::runner
