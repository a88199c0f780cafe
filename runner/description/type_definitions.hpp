/// @file
/// The declared types of a description, from which variables take what they do not say themselves.
#pragma once

#include <string>
#include <unordered_map>

#include "runner/description/model_description.hpp"
#include "runner/description/xml_reader.hpp"

namespace vtio::runner {

/// What a declared type says.
struct DeclaredType {
  VariableType type = VariableType::float64;
  std::string unit, displayUnit, quantity, min, max, nominal;
  bool relativeQuantity = false;
  int enumeration = -1;
};

using DeclaredTypes = std::unordered_map<std::string, DeclaredType>;

/// Reads <TypeDefinitions> of either version; enumerations go into the model.
[[nodiscard]] DeclaredTypes readTypeDefinitions(const pugi::xml_node& root, XmlDocument& document,
                                                ModelDescription& model);

/// The type of an element of FMI 3 such as <Float64> or <Float64Type>, without the suffix; nothing for another name.
[[nodiscard]] std::optional<VariableType> typeOfFmi3(std::string_view elementName);

/// The type of an element of FMI 2 such as <Real>.
[[nodiscard]] std::optional<VariableType> typeOfFmi2(std::string_view elementName);

/// Fills what the element says of unit, range and the like, the rest from its declared type.
void readTypeAttributes(const XmlElement& element, const DeclaredTypes& types, Variable& variable);

/// Reads the variables into the model, in declared order.
void readVariablesOfFmi2(const pugi::xml_node& list, XmlDocument& document, const DeclaredTypes& types,
                         ModelDescription& model);
void readVariablesOfFmi3(const pugi::xml_node& list, XmlDocument& document, const DeclaredTypes& types,
                         ModelDescription& model);

/// Reads causality, variability, initial, with the defaults and combinations of the version.
void readRole(const XmlElement& element, FmiVersion version, Variable& variable);

/// Checks the model as a whole: names, references, units, dimensions, start values.
void checkModel(ModelDescription& model, Mistakes& mistakes);

}  // namespace vtio::runner
