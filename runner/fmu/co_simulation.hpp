/// @file
/// An instance that solves itself from one communication point to the next. See instance.hpp.
#pragma once

#include <memory>

#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// What came out of a communication step.
struct StepOutcome {
  bool discarded = false;    ///< nothing happened that counts
  bool eventNeeded = false;  ///< an event is to be handled
  bool terminate = false;    ///< the FMU asks to end the simulation
  double lastTime = 0.0;     ///< up to which time the step went; may be early, in seconds
};

/// An FMU for Co-Simulation.
class VTIO_RUNNER_EXPORT CoSimulation : public Instance {
 public:
  ~CoSimulation() override;

  /// Runs the FMU from time to time + step, both in seconds.
  /// @param noSetStatePrior No state before this time will be set any more.
  [[nodiscard]] virtual StepOutcome doStep(double time, double step, bool noSetStatePrior) = 0;

 protected:
  CoSimulation() = default;
};

/// Instantiates an FMU for Co-Simulation.
/// @param model Must outlive the instance.
/// @throws RunnerError if the library cannot be loaded, lacks a function or refuses to be instantiated.
[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<CoSimulation> makeCoSimulation(const ModelDescription& model,
                                                                                const InstanceSetup& setup);

}  // namespace vtio::runner
