#include "runner/run/fmu_problem.hpp"

namespace vtio::runner {

bool FmuProblem::moveTo(double time, std::span<const double> states) {
  if (!instance_.moveTo(time, states)) return false;
  inputs_.applyContinuous(instance_, time, time > begin_ ? EventSide::before : EventSide::after);
  return true;
}

bool FmuProblem::derivatives(double time, std::span<const double> states, std::span<double> result) {
  return moveTo(time, states) && instance_.getDerivatives(result);
}

bool FmuProblem::roots(double time, std::span<const double> states, std::span<double> result) {
  return moveTo(time, states) && instance_.getIndicators(result);
}

bool FmuProblem::jacobian(double time, std::span<const double> states, std::span<double> columns) {
  return moveTo(time, states) && instance_.getJacobian(columns);
}

}  // namespace vtio::runner
