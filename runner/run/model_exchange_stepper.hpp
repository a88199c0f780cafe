/// @file
/// Solves the equations of an FMU for Model Exchange, handles its events and logs it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runner/export.hpp"
#include "runner/fmu/model_exchange.hpp"
#include "runner/fmu/saved_state.hpp"
#include "runner/run/chatter.hpp"
#include "runner/run/events.hpp"
#include "runner/run/fmu_problem.hpp"
#include "runner/run/stepper.hpp"
#include "runner/run/time_grid.hpp"
#include "runner/solver/ode_solver.hpp"

namespace vtio::runner {

/// A step is one of the solver, which is at most as long as the communication step. What is logged between two of its
/// points is interpolated as accurately as the solution is.
class VTIO_RUNNER_EXPORT ModelExchangeStepper final : public Stepper {
 public:
  /// The instance, initialised, must outlive it.
  ModelExchangeStepper(ModelExchange& instance, const Interface& way, const RunParts& parts);

  void begin() override;
  StepResult step() override;
  [[nodiscard]] double time() const override { return time_; }
  [[nodiscard]] bool hasEnded() const override { return ended_; }
  [[nodiscard]] bool isAtRewindPoint() const override { return rewindPoint_ && time_ >= *rewindPoint_; }
  [[nodiscard]] bool needsReturnPoints() const override { return false; }
  void save() override;
  void restore() override;
  [[nodiscard]] std::string remark() const override { return chatter_.remark(); }

 private:
  // All that a step back restores.
  struct Checkpoint {
    Checkpoint(Instance& instance, const Chatter& counted) : state(instance), chatter(counted) {}
    SavedState state;
    double time = 0.0;
    std::optional<double> nextEvent;
    std::vector<double> states;
    std::vector<Clocks::Schedule> clocks;
    ValueStore::Held held;
    Chatter chatter;
  };

  [[nodiscard]] double nextLimit() const;
  [[nodiscard]] bool isLogged(double time) const;
  void advance(double limit);
  void sampleBetween(double from, double to);
  void arrive(bool atStateEvent);
  void handleEvents();
  void takeEvent(const EventOutcome& outcome);
  void sample(double time);
  void moveTo(double time, std::span<const double> states);
  void readTolerances();
  void restartSolver();

  ModelExchange& instance_;
  RunParts parts_;
  const RunTimes& times_;
  TimeGrid loggedGrid_;
  std::optional<double> rewindPoint_;
  double tolerance_;
  bool mayGoBack_;
  FmuProblem problem_;
  std::unique_ptr<OdeSolver> solver_;
  std::vector<double> states_, between_, absoluteTolerances_;
  Events events_;
  std::optional<Checkpoint> checkpoint_;
  Chatter chatter_;
  double time_;
  double nextInputEvent_;
  std::optional<double> nextEvent_;  // that the FMU announced
  int tinySteps_ = 0;                // in a row
  bool ended_ = false;               // the FMU asked to end
};

}  // namespace vtio::runner
