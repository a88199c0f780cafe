#include "runner/fmu/continuous_states.hpp"

#include <optional>

namespace vtio::runner {
namespace {

// The value reference of the state of which a variable is the derivative.
std::optional<std::uint32_t> stateOf(const ModelDescription& model, const Variable& derivative) {
  if (!derivative.derivativeOf || model.version == FmiVersion::fmi3) return derivative.derivativeOf;
  const std::uint32_t index = *derivative.derivativeOf;
  if (index < 1 || index > model.variables.size()) return std::nullopt;
  return model.variables[index - 1].valueReference;
}

}  // namespace

ContinuousStates continuousStatesOf(const ModelDescription& model) {
  ContinuousStates found;
  for (const std::size_t index : model.derivatives) {
    const Variable& derivative = model.variables[index];
    const std::size_t elements = derivative.elements();
    found.count += elements;
    found.elements.push_back(elements);
    found.derivatives.push_back(derivative.valueReference);
    const std::optional<std::uint32_t> state = stateOf(model, derivative);
    if (state) found.states.push_back(*state);
    found.areAllNamed = found.areAllNamed && state.has_value();
  }
  return found;
}

}  // namespace vtio::runner
