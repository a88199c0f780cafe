/// @file
/// An instance that solves itself from one communication point to the next. See instance.hpp.
#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// What came out of a communication step.
struct StepOutcome {
  static constexpr double kWholeStep = std::numeric_limits<double>::infinity();

  bool discarded = false;        ///< nothing happened that counts
  bool eventNeeded = false;      ///< an event is to be handled
  bool terminate = false;        ///< the FMU asks to end the simulation
  double lastTime = kWholeStep;  ///< in seconds, up to which the step went if it ended early
};

/// What was read within a step, up to its end: InstanceSetup::intermediate at each of these times.
struct IntermediateSamples {
  std::vector<double> times;      ///< in seconds, not descending
  std::vector<std::byte> values;  ///< of each time all batches, one behind the other

  void clear() {
    times.clear();
    values.clear();
  }
};

/// An FMU for Co-Simulation.
class VTIO_RUNNER_EXPORT CoSimulation : public Instance {
 public:
  ~CoSimulation() override;

  /// Runs the FMU from time to time + step, both in seconds.
  /// @param noSetStatePrior No state before this time will be set any more.
  [[nodiscard]] virtual StepOutcome doStep(double time, double step, bool noSetStatePrior) = 0;

  /// What was read within the last step; valid until the next one.
  [[nodiscard]] virtual const IntermediateSamples& intermediate() const;

 protected:
  CoSimulation() = default;
};

/// Instantiates an FMU for Co-Simulation.
/// @param model Must outlive the instance.
/// @throws RunnerError if the library cannot be loaded, lacks a function or refuses to be instantiated.
[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<CoSimulation> makeCoSimulation(const ModelDescription& model,
                                                                                const InstanceSetup& setup);

}  // namespace vtio::runner
