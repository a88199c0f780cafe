#include <iomanip>
#include <ostream>
#include <sstream>
#include <vector>

#include "runner/commands/commands.hpp"
#include "runner/description/variable_name.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

std::string kindText(const Interface& way) {
  switch (way.kind) {
    case Kind::coSimulation:
      return "Co-Simulation";
    case Kind::modelExchange:
      return "Model Exchange";
    default:
      return "Scheduled Execution";
  }
}

void line(std::ostream& out, const char* label, const std::string& value) {
  if (!value.empty()) out << std::left << std::setw(14) << label << printable(value, 2000) << "\n";
}

std::string experimentText(const DefaultExperiment& experiment) {
  std::ostringstream text;
  const auto add = [&text](const char* name, const std::optional<double>& value) {
    if (value) text << (text.tellp() > 0 ? ", " : "") << name << " " << *value;
  };
  add("start", experiment.start);
  add("stop", experiment.stop);
  add("step", experiment.step);
  add("tolerance", experiment.tolerance);
  return text.str();
}

std::string typeText(const Variable& variable, const ModelDescription& model) {
  std::string text(nameOf(variable.type));
  if (variable.enumeration >= 0) text = model.enumerations[static_cast<std::size_t>(variable.enumeration)].name;
  for (std::size_t i = 0; i < variable.dimensions.size(); ++i) {
    text += (i == 0 ? "[" : ", ") + std::to_string(variable.dimensions[i].size);
  }
  return variable.dimensions.empty() ? text : text + "]";
}

std::string startText(const Variable& variable) {
  std::string text;
  for (const std::string& value : variable.start) text += (text.empty() ? "" : " ") + value;
  return variable.start.empty() ? "" : "= " + printable(text, 40);
}

// Prints the levels of a name that the variable before it does not share, each indented.
class Tree {
 public:
  Tree(const ModelDescription& model, std::ostream& out) : model_(model), out_(out) {}

  void print(const Variable& variable) {
    std::vector<std::string> parts = partsOf(variable.name);
    std::size_t shared = 0;
    while (shared + 1 < parts.size() && shared + 1 < before_.size() && parts[shared] == before_[shared]) ++shared;
    for (std::size_t level = shared; level + 1 < parts.size(); ++level) {
      out_ << std::string(2 * level + 2, ' ') << printable(parts[level]) << "\n";
    }
    printLeaf(std::string(2 * parts.size(), ' ') + printable(parts.back()), variable);
    before_ = std::move(parts);
  }

 private:
  std::vector<std::string> partsOf(const std::string& name) const {
    std::vector<std::string> parts;
    if (!model_.structuredNames) return {name};
    for (const NamePart& part : splitName(name)) parts.emplace_back(part.text);
    return parts;
  }

  void printLeaf(const std::string& indented, const Variable& variable) {
    out_ << std::left << std::setw(32) << indented << " " << std::setw(14) << typeText(variable, model_) << " "
         << std::setw(10) << variable.unit << " " << std::setw(20) << nameOf(variable.causality) << " " << std::setw(11)
         << nameOf(variable.variability) << " " << startText(variable);
    if (variable.aliasOf) out_ << " alias of " << printable(model_.variables[*variable.aliasOf].name);
    if (!variable.description.empty()) out_ << "  " << printable(variable.description, 60);
    out_ << "\n";
  }

  const ModelDescription& model_;
  std::ostream& out_;
  std::vector<std::string> before_;
};

}  // namespace

void printInfo(const FmuFile& fmu, const ModelDescription& model, std::ostream& out) {
  line(out, "Model", model.modelName);
  line(out, "Description", model.description);
  line(out, "FMI version", model.fmiVersion);
  line(out, "Made by", model.generationTool);
  for (const Interface& way : model.interfaces) {
    std::string flags;
    for (const auto& [name, value] : way.attributes) {
      if (value == "true") flags += (flags.empty() ? ": " : ", ") + name;
    }
    line(out, "Kind", kindText(way) + flags);
  }
  std::string platforms;
  for (const std::string& platform : fmu.platforms()) platforms += (platforms.empty() ? "" : ", ") + platform;
  line(out, "Platforms", platforms);
  line(out, "Experiment", experimentText(model.experiment));
  if (fmu.mistakes().count() > 0) {
    line(out, "Mistakes", std::to_string(fmu.mistakes().count()) + " (vtio-run check lists them)");
  }
  out << "Variables (" << model.variables.size() << ")\n";
  Tree tree(model, out);
  for (const Variable& variable : model.variables) tree.print(variable);
}

}  // namespace vtio::runner
