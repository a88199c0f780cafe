#include "runner/description/model_description.hpp"

#include <algorithm>
#include <array>
#include <unordered_map>

#include "runner/description/type_definitions.hpp"
#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr std::array<std::pair<const char*, Kind>, 3> kKinds = {{{"CoSimulation", Kind::coSimulation},
                                                                 {"ModelExchange", Kind::modelExchange},
                                                                 {"ScheduledExecution", Kind::scheduledExecution}}};

void readVersion(const XmlElement& root, ModelDescription& model) {
  model.fmiVersion = root.text("fmiVersion");
  if (model.fmiVersion == "2.0") {
    model.version = FmiVersion::fmi2;
  } else if (model.fmiVersion == "3.0" || model.fmiVersion.starts_with("3.0.")) {
    model.version = FmiVersion::fmi3;
  } else {
    throw RunnerError("FMI version '" + printable(model.fmiVersion) + "' is not supported (2.0 and 3.0 are)",
                      "modelDescription.xml, line " + std::to_string(root.line()) + ", attribute 'fmiVersion'");
  }
}

void readRootAttributes(const XmlElement& root, ModelDescription& model) {
  root.checkAttributes();
  const bool fmi2 = model.version == FmiVersion::fmi2;
  model.modelName = root.requiredText("modelName");
  model.instantiationToken = root.requiredText(fmi2 ? "guid" : "instantiationToken");
  model.description = root.text("description");
  model.generationTool = root.text("generationTool");
  model.structuredNames = root.choice("variableNamingConvention", {"flat", "structured"}).value_or(0) == 1;
  if (fmi2) model.eventIndicators = root.count("numberOfEventIndicators").value_or(0);
}

// A model identifier becomes part of a file name and of function names.
bool isIdentifier(std::string_view text) {
  const auto allowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  return !text.empty() && text.size() < 200 && std::all_of(text.begin(), text.end(), allowed);
}

void readInterfaces(const XmlElement& root, XmlDocument& document, ModelDescription& model) {
  for (const auto& [name, kind] : kKinds) {
    const pugi::xml_node node = root.node().child(name);
    if (node.empty()) continue;
    const XmlElement element(node, document);
    element.checkAttributes();
    Interface read;
    read.kind = kind;
    read.modelIdentifier = element.requiredText("modelIdentifier");
    if (!read.modelIdentifier.empty() && !isIdentifier(read.modelIdentifier)) {
      element.report("modelIdentifier", "'" + printable(read.modelIdentifier) + "' is not an identifier of C", true);
    }
    for (const pugi::xml_attribute& attribute : node.attributes()) {
      read.attributes.emplace_back(attribute.name(), attribute.value());
    }
    model.interfaces.push_back(std::move(read));
  }
  if (model.interfaces.empty()) {
    root.report("", "has none of the elements CoSimulation, ModelExchange, ScheduledExecution", true);
  }
}

void readUnitsAndCategories(const XmlElement& root, XmlDocument& document, ModelDescription& model) {
  for (const pugi::xml_node& node : root.node().child("UnitDefinitions").children("Unit")) {
    model.units.push_back(XmlElement(node, document).requiredText("name"));
  }
  for (const pugi::xml_node& node : root.node().child("LogCategories").children("Category")) {
    model.logCategories.push_back(XmlElement(node, document).requiredText("name"));
  }
}

void readExperiment(const XmlElement& root, XmlDocument& document, ModelDescription& model) {
  const pugi::xml_node node = root.node().child("DefaultExperiment");
  if (node.empty()) return;
  const XmlElement element(node, document);
  DefaultExperiment& experiment = model.experiment;
  experiment.start = element.number("startTime");
  experiment.stop = element.number("stopTime");
  experiment.tolerance = element.number("tolerance");
  experiment.step = element.number("stepSize");
  if (experiment.stop && *experiment.stop < experiment.start.value_or(0.0)) {
    element.report("stopTime", "is before the start time");
  }
}

void readDerivativesOfFmi2(const pugi::xml_node& structure, XmlDocument& document, ModelDescription& model) {
  for (const pugi::xml_node& node : structure.child("Derivatives").children("Unknown")) {
    const XmlElement element(node, document);
    const std::optional<std::uint64_t> index = element.count("index");
    if (!index || *index == 0 || *index > model.variables.size()) {
      element.report("index", "there is no variable " + element.text("index"), true);
      continue;
    }
    model.derivatives.push_back(*index - 1);
  }
}

void readStructureOfFmi3(const pugi::xml_node& structure, XmlDocument& document, ModelDescription& model) {
  std::unordered_map<std::uint32_t, std::size_t> byReference;
  for (std::size_t i = 0; i < model.variables.size(); ++i) byReference.emplace(model.variables[i].valueReference, i);
  for (const pugi::xml_node& node : structure.children()) {
    if (node.type() != pugi::node_element) continue;
    const XmlElement element(node, document);
    const std::optional<std::uint32_t> reference = element.reference("valueReference", true);
    if (!reference) continue;
    const auto found = byReference.find(*reference);
    if (found == byReference.end()) {
      element.report("valueReference", "there is no variable with the reference " + std::to_string(*reference), true);
      continue;
    }
    const std::string_view name = node.name();
    if (name == "ContinuousStateDerivative") model.derivatives.push_back(found->second);
    if (name == "EventIndicator") ++model.eventIndicators;
  }
}

}  // namespace

bool Interface::flag(std::string_view attribute) const {
  const auto same = [attribute](const auto& pair) {
    return pair.first.size() == attribute.size() &&
           std::equal(attribute.begin(), attribute.end(), pair.first.begin(),
                      [](unsigned char a, unsigned char b) { return (a | 0x20) == (b | 0x20); });
  };
  const auto found = std::find_if(attributes.begin(), attributes.end(), same);
  return found != attributes.end() && parseXmlBoolean(found->second).value_or(false);
}

const Interface* ModelDescription::find(Kind kind) const {
  const auto found =
      std::find_if(interfaces.begin(), interfaces.end(), [kind](const Interface& one) { return one.kind == kind; });
  return found != interfaces.end() ? &*found : nullptr;
}

const Variable* ModelDescription::find(std::string_view name) const {
  const auto found =
      std::find_if(variables.begin(), variables.end(), [name](const Variable& one) { return one.name == name; });
  return found != variables.end() ? &*found : nullptr;
}

ModelDescription readModelDescription(std::string xml, Mistakes& mistakes) {
  XmlDocument document(std::move(xml), mistakes);
  const XmlElement root(document.root(), document);
  if (std::string_view(root.node().name()) != "fmiModelDescription") {
    throw RunnerError("the root element is <" + printable(root.node().name()) + ">, not <fmiModelDescription>",
                      "modelDescription.xml");
  }
  ModelDescription model;
  readVersion(root, model);
  readRootAttributes(root, model);
  readInterfaces(root, document, model);
  readUnitsAndCategories(root, document, model);
  readExperiment(root, document, model);
  const DeclaredTypes types = readTypeDefinitions(root.node(), document, model);
  const pugi::xml_node list = root.node().child("ModelVariables");
  const pugi::xml_node structure = root.node().child("ModelStructure");
  if (structure.empty()) root.report("", "has no element ModelStructure");
  if (model.version == FmiVersion::fmi2) {
    readVariablesOfFmi2(list, document, types, model);
    readDerivativesOfFmi2(structure, document, model);
  } else {
    readVariablesOfFmi3(list, document, types, model);
    readStructureOfFmi3(structure, document, model);
  }
  checkModel(model, mistakes);
  return model;
}

}  // namespace vtio::runner
