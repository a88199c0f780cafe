#include <vector>

#include "runner/description/type_definitions.hpp"

namespace vtio::runner {
namespace {

template <typename Enum>
std::vector<std::string_view> namesFrom(std::size_t first, std::size_t count) {
  std::vector<std::string_view> names;
  for (std::size_t i = first; i < count; ++i) names.push_back(nameOf(static_cast<Enum>(i)));
  return names;
}

bool isFloat(VariableType type) { return type == VariableType::float64 || type == VariableType::float32; }

bool isParameterCausality(Causality causality) {
  return causality == Causality::parameter || causality == Causality::calculatedParameter ||
         causality == Causality::structuralParameter;
}

Variability defaultVariability(FmiVersion version, const Variable& variable) {
  if (version == FmiVersion::fmi3 && isParameterCausality(variable.causality)) return Variability::fixed;
  return isFloat(variable.type) ? Variability::continuous : Variability::discrete;
}

void checkCombination(const XmlElement& element, const Variable& variable) {
  const bool isParameter = isParameterCausality(variable.causality);
  const bool mayChange =
      variable.variability == Variability::continuous || variable.variability == Variability::discrete;
  if (isParameter && (mayChange || variable.variability == Variability::constant)) {
    element.report("variability", "a " + std::string(nameOf(variable.causality)) + " cannot be " +
                                      std::string(nameOf(variable.variability)));
  }
  if (variable.causality == Causality::input && !mayChange) {
    element.report("variability", "an input cannot be " + std::string(nameOf(variable.variability)));
  }
  if (variable.variability == Variability::continuous && !isFloat(variable.type)) {
    element.report("variability", "a variable of type " + std::string(nameOf(variable.type)) + " cannot be continuous");
  }
}

}  // namespace

void readRole(const XmlElement& element, FmiVersion version, Variable& variable) {
  const std::vector<std::string_view> causalities = namesFrom<Causality>(0, 7);
  if (const auto chosen = element.choice("causality", causalities))
    variable.causality = static_cast<Causality>(*chosen);
  variable.variability = defaultVariability(version, variable);
  const std::vector<std::string_view> variabilities = namesFrom<Variability>(0, 5);
  if (const auto chosen = element.choice("variability", variabilities)) {
    variable.variability = static_cast<Variability>(*chosen);
  }
  const std::vector<std::string_view> initials = namesFrom<Initial>(1, 4);
  if (const auto chosen = element.choice("initial", initials)) {
    variable.initial = static_cast<Initial>(*chosen + 1);
  } else if (variable.variability == Variability::constant || isParameterCausality(variable.causality)) {
    variable.initial = variable.causality == Causality::calculatedParameter ? Initial::calculated : Initial::exact;
  }
  checkCombination(element, variable);
}

}  // namespace vtio::runner
