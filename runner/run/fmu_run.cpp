#include "runner/run/fmu_run.hpp"

#include <csignal>

#include "runner/text/printable.hpp"

namespace vtio::runner {

Stepper::~Stepper() = default;

FmuRun::FmuRun(Stepper& stepper, const RunParts& parts, recorders::RecordingSession& recording)
    : stepper_(stepper), log_(parts.log), recording_(recording), times_(parts.plan.times) {}

RunEnd FmuRun::run(const EventOutcome& first, const std::function<int()>& interrupted) {
  stepper_.begin(first);
  log_.logParameters(stepper_.time());
  std::optional<RunEnd> early;
  do {
    early = advance(interrupted);
  } while ((!early || early->status == ExitStatus::done) && goBack());
  RunEnd end = early.value_or(RunEnd{ExitStatus::done, Failure::none, "", stepper_.time()});
  if (stepper_.hasEnded()) end.message = "the FMU ended the simulation at the time " + numberText(stepper_.time());
  const std::string remark = stepper_.remark();
  if (!remark.empty()) end.message += (end.message.empty() ? "" : "; ") + remark;
  return end;
}

// Steps to the stop, or to where the FMU ends the simulation; says how the run ended if it ended elsewhere.
std::optional<RunEnd> FmuRun::advance(const std::function<int()>& interrupted) {
  while (stepper_.time() < times_.stop && !stepper_.hasEnded()) {
    if (!saved_ && stepper_.isAtRewindPoint()) {
      stepper_.save();
      recording_.captureSnapshot(false);
      saved_ = true;
    }
    if (const int number = interrupted(); number != 0) {
      const bool isInterrupt = number == SIGINT;
      return RunEnd{
          isInterrupt ? ExitStatus::interrupted : ExitStatus::terminated, Failure::none,
          std::string(isInterrupt ? "interrupted" : "terminated") + " at the time " + numberText(stepper_.time()),
          stepper_.time()};
    }
    if (!stepper_.step()) {
      return RunEnd{ExitStatus::done, Failure::none,
                    "the FMU cannot vary its steps: the run ends at " + numberText(stepper_.time()), stepper_.time()};
    }
  }
  return std::nullopt;
}

// False if there is nothing to go back to, or no more.
bool FmuRun::goBack() {
  if (!saved_ || rewound_) return false;
  rewound_ = true;
  stepper_.restore();
  recording_.rollBack();
  return true;
}

}  // namespace vtio::runner
