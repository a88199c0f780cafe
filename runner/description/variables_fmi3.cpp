#include <limits>
#include <utility>

#include "runner/description/type_definitions.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

void readDimensions(const XmlElement& element, XmlDocument& document, Variable& variable) {
  for (const pugi::xml_node& node : element.node().children("Dimension")) {
    const XmlElement dimension(node, document);
    Dimension read;
    const std::optional<std::uint64_t> size = dimension.count("start");
    read.parameter = dimension.reference("valueReference", false);
    if (size.has_value() == read.parameter.has_value()) {
      dimension.report("", "needs one of the attributes start and valueReference", true);
    }
    read.size = size.value_or(0);
    variable.dimensions.push_back(read);
  }
}

void readStart(const XmlElement& element, Variable& variable) {
  if (variable.type == VariableType::string || variable.type == VariableType::binary) {
    for (const pugi::xml_node& node : element.node().children("Start")) {
      variable.start.emplace_back(node.attribute("value").value());
    }
  } else if (element.has("start")) {
    variable.start = splitBlanks(element.node().attribute("start").value());
  }
}

std::optional<double> secondsOf(const XmlElement& element, const char* decimal, const char* counter) {
  if (const std::optional<double> seconds = element.number(decimal)) return seconds;
  const std::optional<std::uint64_t> ticks = element.count(counter);
  const std::optional<std::uint64_t> resolution = element.count("resolution");
  if (!ticks || !resolution || *resolution == 0) return std::nullopt;
  return static_cast<double>(*ticks) / static_cast<double>(*resolution);
}

ClockTimes readClock(const XmlElement& element) {
  static const std::vector<std::string_view> kNames = {"constant", "fixed",     "tunable",
                                                       "changing", "countdown", "triggered"};
  ClockTimes clock;
  if (!element.has("intervalVariability")) element.report("intervalVariability", "is missing");
  if (const auto chosen = element.choice("intervalVariability", kNames)) {
    clock.variability = static_cast<IntervalVariability>(*chosen);
  }
  clock.interval = secondsOf(element, "intervalDecimal", "intervalCounter");
  clock.shift = secondsOf(element, "shiftDecimal", "shiftCounter").value_or(0.0);
  clock.supportsFractions = element.flag("supportsFraction");
  return clock;
}

void readClocksOf(const XmlElement& element, Variable& variable) {
  for (const std::string& word : splitBlanks(element.text("clocks"))) {
    const std::optional<std::uint64_t> reference = parseXmlUnsigned(word);
    if (!reference || *reference > std::numeric_limits<std::uint32_t>::max()) {
      element.report("clocks", "'" + printable(word) + "' is no value reference");
      continue;
    }
    variable.clocks.push_back(static_cast<std::uint32_t>(*reference));
  }
}

Variable readVariable(const XmlElement& element, VariableType type, XmlDocument& document, const DeclaredTypes& types) {
  element.checkAttributes();
  Variable variable;
  variable.type = type;
  variable.line = element.line();
  variable.name = element.requiredText("name");
  variable.valueReference = element.reference("valueReference", true).value_or(0);
  variable.description = element.text("description");
  readRole(element, FmiVersion::fmi3, variable);
  readTypeAttributes(element, types, variable);
  readDimensions(element, document, variable);
  readStart(element, variable);
  variable.derivativeOf = element.reference("derivative", false);
  variable.isIntermediate = element.flag("intermediateUpdate");
  if (type == VariableType::binary) variable.maxSize = element.count("maxSize");
  if (type == VariableType::clock) {
    variable.clock = readClock(element);
    if (!variable.dimensions.empty()) element.report("", "a clock cannot be an array", true);
  }
  readClocksOf(element, variable);
  return variable;
}

void readAliases(const XmlElement& element, XmlDocument& document, std::size_t original, ModelDescription& model) {
  for (const pugi::xml_node& node : element.node().children("Alias")) {
    const XmlElement named(node, document);
    Variable alias = model.variables[original];
    alias.name = named.requiredText("name");
    alias.description = named.text("description");
    if (named.has("displayUnit")) alias.displayUnit = named.text("displayUnit");
    alias.line = named.line();
    alias.aliasOf = original;
    model.variables.push_back(std::move(alias));
  }
}

}  // namespace

void readVariablesOfFmi3(const pugi::xml_node& list, XmlDocument& document, const DeclaredTypes& types,
                         ModelDescription& model) {
  for (const pugi::xml_node& node : list.children()) {
    if (node.type() != pugi::node_element) continue;
    const XmlElement element(node, document);
    const std::optional<VariableType> type = typeOfFmi3(node.name());
    if (!type) {
      element.report("", "is no type of variable");
      continue;
    }
    model.variables.push_back(readVariable(element, *type, document, types));
    readAliases(element, document, model.variables.size() - 1, model);
  }
}

}  // namespace vtio::runner
