#include "runner/fmu/continuous_states.hpp"

namespace vtio::runner {

ContinuousStates continuousStatesOf(const ModelDescription& model) {
  ContinuousStates found;
  for (const std::size_t index : model.derivatives) {
    const Variable& derivative = model.variables[index];
    const std::size_t elements = derivative.elements();
    found.count += elements;
    found.elements.push_back(elements);
    found.derivatives.push_back(derivative.valueReference);
    if (!derivative.derivativeOf) {
      found.areAllNamed = false;
    } else if (model.version == FmiVersion::fmi3) {
      found.states.push_back(*derivative.derivativeOf);
    } else if (*derivative.derivativeOf >= 1 && *derivative.derivativeOf <= model.variables.size()) {
      found.states.push_back(model.variables[*derivative.derivativeOf - 1].valueReference);
    } else {
      found.areAllNamed = false;
    }
  }
  return found;
}

}  // namespace vtio::runner
