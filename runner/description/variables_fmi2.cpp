#include <unordered_map>
#include <utility>

#include "runner/description/type_definitions.hpp"

namespace vtio::runner {
namespace {

// Enumerations and integers are read by the same function of FMI 2: their value references are of one kind.
std::uint64_t keyOf(const Variable& variable) {
  const VariableType type = variable.type == VariableType::enumeration ? VariableType::int32 : variable.type;
  return (static_cast<std::uint64_t>(type) << 32) | variable.valueReference;
}

Variable readVariable(const XmlElement& element, XmlDocument& document, const DeclaredTypes& types) {
  element.checkAttributes();
  Variable variable;
  variable.line = element.line();
  variable.name = element.requiredText("name");
  variable.valueReference = element.reference("valueReference", true).value_or(0);
  variable.description = element.text("description");
  const pugi::xml_node typed =
      element.node().find_child([](const pugi::xml_node& child) { return typeOfFmi2(child.name()).has_value(); });
  if (typed.empty()) {
    element.report("", "has no type inside: Real, Integer, Boolean, String or Enumeration", true);
    return variable;
  }
  const XmlElement type(typed, document);
  type.checkAttributes();
  variable.type = typeOfFmi2(typed.name()).value_or(VariableType::float64);
  readRole(element, FmiVersion::fmi2, variable);
  readTypeAttributes(type, types, variable);
  if (type.has("start")) variable.start.push_back(type.text("start"));
  variable.derivativeOf = type.reference("derivative", false);
  return variable;
}

}  // namespace

void readVariablesOfFmi2(const pugi::xml_node& list, XmlDocument& document, const DeclaredTypes& types,
                         ModelDescription& model) {
  std::unordered_map<std::uint64_t, std::size_t> firstWith;
  for (const pugi::xml_node& node : list.children()) {
    if (node.type() != pugi::node_element) continue;
    const XmlElement element(node, document);
    if (std::string_view(node.name()) != "ScalarVariable") {
      element.report("", "is no <ScalarVariable>");
      continue;
    }
    Variable variable = readVariable(element, document, types);
    const auto [first, isFirst] = firstWith.emplace(keyOf(variable), model.variables.size());
    if (!isFirst) variable.aliasOf = first->second;
    model.variables.push_back(std::move(variable));
  }
}

}  // namespace vtio::runner
