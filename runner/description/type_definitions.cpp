#include "runner/description/type_definitions.hpp"

#include <array>
#include <utility>

namespace vtio::runner {
namespace {

void readItems(const pugi::xml_node& list, XmlDocument& document, Enumeration& enumeration) {
  for (const pugi::xml_node& node : list.children("Item")) {
    const XmlElement item(node, document);
    const std::string name = item.requiredText("name");
    const std::optional<std::int64_t> value = parseXmlInteger(item.text("value"));
    if (!value) {
      item.report("value", item.has("value") ? "'" + item.text("value") + "' is not a whole number" : "is missing");
      continue;
    }
    enumeration.items.emplace_back(name, *value);
  }
}

void readType(const XmlElement& named, const XmlElement& typed, std::optional<VariableType> type, XmlDocument& document,
              ModelDescription& model, DeclaredTypes& types) {
  if (!type) return typed.report("", "is no type");
  DeclaredType declared;
  declared.type = *type;
  const std::string name = named.requiredText("name");
  if (declared.type == VariableType::enumeration) {
    declared.enumeration = static_cast<int>(model.enumerations.size());
    model.enumerations.push_back({name, {}});
    readItems(typed.node(), document, model.enumerations.back());
  }
  declared.unit = typed.text("unit");
  declared.displayUnit = typed.text("displayUnit");
  declared.quantity = typed.text("quantity");
  declared.min = typed.text("min");
  declared.max = typed.text("max");
  declared.nominal = typed.text("nominal");
  declared.relativeQuantity = typed.flag("relativeQuantity");
  if (!types.emplace(name, std::move(declared)).second) named.report("name", "'" + name + "' is declared twice");
}

}  // namespace

std::optional<VariableType> typeOfFmi3(std::string_view elementName) {
  for (std::size_t i = 0; i < kVariableTypes; ++i) {
    const auto type = static_cast<VariableType>(i);
    if (nameOf(type) == elementName) return type;
  }
  return std::nullopt;
}

std::optional<VariableType> typeOfFmi2(std::string_view elementName) {
  static constexpr std::array<std::pair<std::string_view, VariableType>, 5> kNames = {
      {{"Real", VariableType::float64},
       {"Integer", VariableType::int32},
       {"Boolean", VariableType::boolean},
       {"String", VariableType::string},
       {"Enumeration", VariableType::enumeration}}};
  for (const auto& [name, type] : kNames) {
    if (name == elementName) return type;
  }
  return std::nullopt;
}

DeclaredTypes readTypeDefinitions(const pugi::xml_node& root, XmlDocument& document, ModelDescription& model) {
  DeclaredTypes types;
  for (const pugi::xml_node& node : root.child("TypeDefinitions").children()) {
    if (node.type() != pugi::node_element) continue;
    const XmlElement named(node, document);
    std::string_view elementName = node.name();
    if (model.version == FmiVersion::fmi3) {
      const bool hasSuffix = elementName.ends_with("Type");
      if (hasSuffix) elementName.remove_suffix(4);
      readType(named, named, hasSuffix ? typeOfFmi3(elementName) : std::nullopt, document, model, types);
      continue;
    }
    const pugi::xml_node typed =
        node.find_child([](const pugi::xml_node& child) { return typeOfFmi2(child.name()).has_value(); });
    if (typed.empty()) {
      named.report("", "has no type inside");
      continue;
    }
    readType(named, XmlElement(typed, document), typeOfFmi2(typed.name()), document, model, types);
  }
  return types;
}

void readTypeAttributes(const XmlElement& element, const DeclaredTypes& types, Variable& variable) {
  variable.declaredType = element.text("declaredType");
  const DeclaredType none;
  const DeclaredType* declared = &none;
  if (!variable.declaredType.empty()) {
    const auto found = types.find(variable.declaredType);
    if (found == types.end()) {
      element.report("declaredType", "no type '" + variable.declaredType + "' is defined",
                     variable.type == VariableType::enumeration);
    } else if (found->second.type != variable.type) {
      element.report(
          "declaredType",
          "'" + variable.declaredType + "' is a type for " + std::string(nameOf(found->second.type)) + " variables",
          true);
    } else {
      declared = &found->second;
    }
  } else if (variable.type == VariableType::enumeration) {
    element.report("declaredType", "is missing", true);
  }
  const auto own = [&element](const char* name, const std::string& inherited) {
    return element.has(name) ? element.text(name) : inherited;
  };
  variable.unit = own("unit", declared->unit);
  variable.displayUnit = own("displayUnit", declared->displayUnit);
  variable.quantity = own("quantity", declared->quantity);
  variable.min = own("min", declared->min);
  variable.max = own("max", declared->max);
  variable.nominal = own("nominal", declared->nominal);
  variable.relativeQuantity = element.flag("relativeQuantity", declared->relativeQuantity);
  variable.enumeration = declared->enumeration;
}

}  // namespace vtio::runner
