#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "runner/commands/commands.hpp"
#include "runner/description/xml_reader.hpp"

namespace vtio::runner {
namespace {

using Json = nlohmann::ordered_json;

Json orNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }
Json orNull(const std::optional<double>& number) { return number ? Json(*number) : Json(nullptr); }

// Flags and counts as what they are, all else as text.
Json attributeValue(const std::string& text) {
  if (text == "true" || text == "false") return text == "true";
  if (const std::optional<std::uint64_t> count = parseXmlUnsigned(text)) return *count;
  if (const std::optional<double> number = parseXmlNumber(text)) return *number;
  return text;
}

const char* shortName(Kind kind) {
  switch (kind) {
    case Kind::coSimulation:
      return "cs";
    case Kind::modelExchange:
      return "me";
    default:
      return "se";
  }
}

Json startOf(const Variable& variable) {
  if (variable.start.empty()) return nullptr;
  if (variable.start.size() == 1 && variable.dimensions.empty()) return variable.start[0];
  return variable.start;
}

Json dimensionsOf(const Variable& variable) {
  Json dimensions = Json::array();
  for (const Dimension& dimension : variable.dimensions) dimensions.push_back(dimension.size);
  return dimensions;
}

Json describe(const Variable& variable) {
  return {{"name", variable.name},
          {"valueReference", variable.valueReference},
          {"type", nameOf(variable.type)},
          {"causality", nameOf(variable.causality)},
          {"variability", nameOf(variable.variability)},
          {"initial", orNull(std::string(nameOf(variable.initial)))},
          {"unit", orNull(variable.unit)},
          {"dimensions", dimensionsOf(variable)},
          {"start", startOf(variable)},
          {"description", orNull(variable.description)}};
}

}  // namespace

void printInfoAsJson(const FmuFile& fmu, const ModelDescription& model, std::ostream& out) {
  Json kinds = Json::array();
  Json capabilities = Json::object();
  for (const Interface& way : model.interfaces) {
    kinds.push_back(shortName(way.kind));
    Json& attributes = capabilities[shortName(way.kind)] = Json::object();
    for (const auto& [name, value] : way.attributes) attributes[name] = attributeValue(value);
  }
  Json variables = Json::array();
  for (const Variable& variable : model.variables) variables.push_back(describe(variable));
  const DefaultExperiment& experiment = model.experiment;
  const Json info = {{"file", fmu.path().string()},
                     {"fmiVersion", model.fmiVersion},
                     {"modelName", model.modelName},
                     {"description", orNull(model.description)},
                     {"kinds", std::move(kinds)},
                     {"platforms", fmu.platforms()},
                     {"capabilities", std::move(capabilities)},
                     {"defaultExperiment",
                      {{"start", orNull(experiment.start)},
                       {"stop", orNull(experiment.stop)},
                       {"tolerance", orNull(experiment.tolerance)},
                       {"step", orNull(experiment.step)}}},
                     {"variables", std::move(variables)}};
  out << info.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

}  // namespace vtio::runner
