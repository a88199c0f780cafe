#include "runner/run/assignments.hpp"

#include <algorithm>
#include <cstring>

#include "results/signals/near_names.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

[[noreturn]] void refuse(const Variable& variable, const std::string& what) {
  throw RunnerError("--set: " + what, "variable '" + printable(variable.name) + "'");
}

void checkSettable(const Variable& variable) {
  if (variable.variability == Variability::constant) refuse(variable, "a constant cannot be set");
  if (variable.causality == Causality::calculatedParameter || variable.initial == Initial::calculated) {
    refuse(variable, "a calculated variable cannot be set");
  }
  if (variable.causality == Causality::independent) refuse(variable, "the time cannot be set");
  const bool has = variable.causality == Causality::parameter || variable.causality == Causality::input ||
                   variable.causality == Causality::structuralParameter || variable.initial != Initial::none;
  if (!has) refuse(variable, "a variable that the model calculates cannot be set");
  if (variable.type == VariableType::clock) refuse(variable, "a clock cannot be set");
}

// Start values that are too few or too many for the new size are none any more.
void resize(ModelDescription& model, Variable& size, const Values& values) {
  std::uint64_t elements = 0;
  std::memcpy(&elements, values.numbers.data(), sizeof elements);
  size.start = {std::to_string(elements)};
  for (Variable& variable : model.variables) {
    std::uint64_t total = 1;
    for (Dimension& dimension : variable.dimensions) {
      if (dimension.parameter == size.valueReference) dimension.size = elements;
      if (__builtin_mul_overflow(total, dimension.size, &total) || total > (std::uint64_t{1} << 27)) {
        refuse(size, std::to_string(elements) + " makes the array '" + printable(variable.name) + "' too large");
      }
    }
    if (variable.start.size() > 1 && variable.start.size() != total) variable.start.clear();
  }
}

}  // namespace

std::string nearVariables(const std::string& name, const ModelDescription& model) {
  std::vector<std::string> names;
  names.reserve(model.variables.size());
  for (const Variable& variable : model.variables) names.push_back(printable(variable.name));
  return results::didYouMean(name, names);
}

std::pair<std::size_t, std::string> splitAssignment(const std::string& option, const std::string& given,
                                                    const ModelDescription& model) {
  if (given.find('=') == std::string::npos)
    throw RunnerError(option + " needs NAME=VALUE, not '" + printable(given) + "'");
  for (std::size_t at = given.rfind('='); at != std::string::npos;
       at = at > 0 ? given.rfind('=', at - 1) : std::string::npos) {
    if (const Variable* variable = model.find(std::string_view(given).substr(0, at))) {
      return {static_cast<std::size_t>(variable - model.variables.data()), given.substr(at + 1)};
    }
    if (at == 0) break;
  }
  const std::string name = given.substr(0, given.find('='));
  throw RunnerError(option + ": there is no variable '" + printable(name) + "'" + nearVariables(name, model));
}

std::vector<Assignment> readAssignments(ModelDescription& model, const std::vector<std::string>& given) {
  std::vector<std::pair<std::size_t, std::string>> split;
  std::vector<Assignment> assignments;
  split.reserve(given.size());
  for (const std::string& one : given) split.push_back(splitAssignment("--set", one, model));
  // Sizes first: the values of arrays are counted against them.
  std::stable_partition(split.begin(), split.end(), [&model](const auto& one) {
    return model.variables[one.first].causality == Causality::structuralParameter;
  });
  for (const auto& [index, value] : split) {
    Variable& variable = model.variables[index];
    checkSettable(variable);
    try {
      assignments.push_back({index, parseValues(value, variable, model)});
    } catch (const RunnerError& error) {
      throw RunnerError(std::string("--set: ") + error.what());
    }
    if (variable.causality == Causality::structuralParameter && variable.type == VariableType::uint64 &&
        variable.dimensions.empty()) {
      resize(model, variable, assignments.back().values);
    }
  }
  return assignments;
}

}  // namespace vtio::runner
