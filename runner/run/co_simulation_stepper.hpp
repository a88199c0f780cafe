/// @file
/// Steps an FMU through a Co-Simulation and logs it.
#pragma once

#include <optional>
#include <vector>

#include "runner/export.hpp"
#include "runner/fmu/co_simulation.hpp"
#include "runner/fmu/saved_state.hpp"
#include "runner/run/events.hpp"
#include "runner/run/step_repeater.hpp"
#include "runner/run/stepper.hpp"
#include "runner/run/time_grid.hpp"

namespace vtio::runner {

/// A step is a communication step.
class VTIO_RUNNER_EXPORT CoSimulationStepper final : public Stepper {
 public:
  /// The instance must outlive it.
  CoSimulationStepper(CoSimulation& instance, const Interface& way, const RunParts& parts);

  void begin() override;
  StepResult step() override;
  [[nodiscard]] double time() const override { return time_; }
  [[nodiscard]] bool hasEnded() const override { return ended_; }
  [[nodiscard]] bool isAtRewindPoint() const override { return times_.rewind && time_ >= *times_.rewind; }
  [[nodiscard]] bool needsReturnPoints() const override { return repeater_.needsReturnPoints(); }
  void save() override;
  void restore() override;
  [[nodiscard]] std::string remark() const override { return {}; }

 private:
  // All that a step back restores.
  struct Checkpoint {
    explicit Checkpoint(Instance& instance) : state(instance) {}
    SavedState state;
    double time = 0.0;
    std::optional<double> nextEvent;
    std::vector<Clocks::Schedule> clocks;
    ValueStore::Held held;
  };

  void sample();
  void sampleBetween();
  StepResult stepQuietly(double target);
  StepResult stepTo(double target);
  StepResult finishStep(const StepOutcome& outcome, double target);
  void handleEvents(double inputsFrom);
  void setInputs(EventSide side);
  [[nodiscard]] double nextInputEvent() const;
  void takeEvent(const EventOutcome& outcome);
  [[nodiscard]] double roundOff() const { return roundOff_; }
  [[nodiscard]] double nextTarget(double target);
  [[nodiscard]] bool isQuietUntil(double target) const;
  [[nodiscard]] bool isLogged(double time) const;
  void checkOutputStep() const;

  CoSimulation& instance_;
  RunParts parts_;
  const RunTimes& times_;
  TimeGrid grid_;
  std::optional<TimeGrid> outputGrid_;
  double roundOff_;
  double smallestStep_;
  bool variableSteps_;
  bool hasEvents_;         // an event mode
  bool readsWithinSteps_;  // intermediate values
  StepRepeater repeater_;
  Events events_;
  std::optional<Checkpoint> checkpoint_;
  double time_;
  std::optional<double> nextEvent_;   // that the FMU announced
  double nextTick_ = Clocks::kNever;  // of a clock
  double nextInputEvent_;
  int standstills_ = 0;  // steps in a row without progress
  bool ended_ = false;   // the FMU asked to end
};

}  // namespace vtio::runner
