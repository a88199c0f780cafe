#include "runner/run/fmu_run.hpp"

#include <csignal>

#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr std::uint64_t kStepsAtRisk = 1000;  // made again if one of them turns out to need the state before it

}  // namespace

Stepper::~Stepper() = default;

FmuRun::FmuRun(Stepper& stepper, const RunParts& parts, recorders::RecordingSession& recording)
    : stepper_(stepper), log_(parts.log), recording_(recording), times_(parts.plan.times) {}

RunEnd FmuRun::run(const std::function<int()>& interrupted) {
  stepper_.begin();
  log_.logParameters(stepper_.time());
  std::optional<RunEnd> early;
  do {
    early = advance(interrupted);
  } while ((!early || early->status == ExitStatus::done) && rewinds());
  RunEnd end = early.value_or(RunEnd{ExitStatus::done, Failure::none, "", stepper_.time()});
  if (stepper_.hasEnded()) end.message = "the FMU ended the simulation at the time " + numberText(stepper_.time());
  const std::string remark = stepper_.remark();
  if (!remark.empty()) end.message += (end.message.empty() ? "" : "; ") + remark;
  return end;
}

// Steps to the stop, or to where the FMU ends the simulation; says how the run ended if it ended elsewhere.
std::optional<RunEnd> FmuRun::advance(const std::function<int()>& interrupted) {
  if (stepper_.time() >= times_.stop || stepper_.hasEnded()) return std::nullopt;
  while (true) {
    const bool isDue = steps_++ % kStepsAtRisk == 0;
    if (isDue || times_.rewind) keepReturnPoint(isDue);
    if (const int number = interrupted(); number != 0) {
      const bool isInterrupt = number == SIGINT;
      return RunEnd{
          isInterrupt ? ExitStatus::interrupted : ExitStatus::terminated, Failure::none,
          std::string(isInterrupt ? "interrupted" : "terminated") + " at the time " + numberText(stepper_.time()),
          stepper_.time()};
    }
    const StepResult result = stepper_.step();
    if (result == StepResult::done) continue;
    if (result == StepResult::arrived) return std::nullopt;
    if (result == StepResult::goBack) goBack();
    if (result == StepResult::noneFits) {
      return RunEnd{ExitStatus::done, Failure::none,
                    "the FMU cannot vary its steps: the run ends at " + numberText(stepper_.time()), stepper_.time()};
    }
  }
}

// The point to which a run is to be rewound stays; others give way to the next one.
void FmuRun::keepReturnPoint(bool isDue) {
  if (hasRewindPoint_) return;
  const bool isRewindPoint = stepper_.isAtRewindPoint();
  if (!isRewindPoint && !(isDue && stepper_.needsReturnPoints())) return;
  stepper_.save();
  recording_.clearSnapshots();
  recording_.captureSnapshot(false);
  hasRewindPoint_ = isRewindPoint;
}

void FmuRun::goBack() {
  stepper_.restore();
  recording_.rollBack();
}

// False if there is nothing to go back to, or no more.
bool FmuRun::rewinds() {
  if (!hasRewindPoint_ || rewound_) return false;
  rewound_ = true;
  goBack();
  return true;
}

}  // namespace vtio::runner
