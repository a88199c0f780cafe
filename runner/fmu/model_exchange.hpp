/// @file
/// An instance that gives its derivatives to a solver. See instance.hpp.
#pragma once

#include <memory>

#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// What an FMU says when the solver has completed a step.
struct StepCompletion {
  bool eventNeeded = false;  ///< an event is to be handled
  bool terminate = false;    ///< the FMU asks to end the simulation
};

/// An FMU for Model Exchange. Between leaveEvents() and enterEvents() it is in continuous time: only there may states
/// be moved and derivatives be asked for.
class VTIO_RUNNER_EXPORT ModelExchange : public Instance {
 public:
  ~ModelExchange() override;

  /// Number of continuous states and of event indicators, once the instance is initialised.
  [[nodiscard]] virtual std::size_t stateCount() = 0;
  [[nodiscard]] virtual std::size_t indicatorCount() = 0;

  /// Takes the instance to a time in seconds and to values of its states.
  /// @return False if the FMU does not take them: another point may do.
  [[nodiscard]] virtual bool moveTo(double time, std::span<const double> states) = 0;

  /// Of the current point.
  /// @return False if the FMU has none there.
  [[nodiscard]] virtual bool getDerivatives(std::span<double> derivatives) = 0;
  [[nodiscard]] virtual bool getIndicators(std::span<double> indicators) = 0;

  /// Whether getJacobian() works: the FMU gives directional derivatives of each state's derivative.
  [[nodiscard]] virtual bool hasJacobian() = 0;

  /// Derivatives of the derivatives by the states.
  /// @param columns Row i of column j, by state j, at i + j * stateCount().
  /// @return False if the FMU has none at the current point.
  [[nodiscard]] virtual bool getJacobian(std::span<double> columns) = 0;

  virtual void getStates(std::span<double> states) = 0;

  /// Typical sizes of the states.
  virtual void getNominals(std::span<double> nominals) = 0;

  /// Tells the FMU that the current point is one of the solution.
  /// @param noSetStatePrior No state before this point will be set any more.
  [[nodiscard]] virtual StepCompletion completeStep(bool noSetStatePrior) = 0;

 protected:
  ModelExchange() = default;
};

/// Instantiates an FMU for Model Exchange.
/// @param model Must outlive the instance.
/// @throws RunnerError if the library cannot be loaded, lacks a function or refuses to be instantiated.
[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<ModelExchange> makeModelExchange(const ModelDescription& model,
                                                                                  const InstanceSetup& setup);

}  // namespace vtio::runner
