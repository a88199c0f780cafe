#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "runner/description/start_values.hpp"
#include "runner/description/type_definitions.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 30;  // of one variable

class ModelChecks {
 public:
  ModelChecks(ModelDescription& model, Mistakes& mistakes) : model_(model), mistakes_(mistakes) {}

  void run() {
    checkNames();
    if (model_.version == FmiVersion::fmi3) checkReferences();
    checkUnits();
    for (Variable& variable : model_.variables) {
      if (!settleDimensions(variable)) continue;
      checkStart(variable);
      checkRange(variable);
    }
  }

 private:
  void report(const Variable& variable, const char* attribute, const std::string& what, bool preventsRun) {
    mistakes_.add({variable.line, "", attribute, "variable '" + printable(variable.name) + "': " + what, preventsRun});
  }

  void checkNames() {
    std::unordered_map<std::string_view, int> lines;
    for (const Variable& variable : model_.variables) {
      if (variable.name.empty()) continue;
      const auto [first, isNew] = lines.emplace(variable.name, variable.line);
      if (!isNew) report(variable, "name", "the name stands also in line " + std::to_string(first->second), true);
    }
  }

  // FMI 3: one variable per reference, aliases aside.
  void checkReferences() {
    for (std::size_t i = 0; i < model_.variables.size(); ++i) {
      const Variable& variable = model_.variables[i];
      if (variable.aliasOf) continue;
      const auto [first, isNew] = byReference_.emplace(variable.valueReference, i);
      if (isNew) continue;
      report(variable, "valueReference",
             std::to_string(variable.valueReference) + " is also that of '" +
                 printable(model_.variables[first->second].name) + "'",
             true);
    }
  }

  void checkUnits() {
    const std::unordered_set<std::string_view> known(model_.units.begin(), model_.units.end());
    for (const Variable& variable : model_.variables) {
      if (!variable.unit.empty() && !known.contains(variable.unit)) {
        report(variable, "unit", "the unit '" + printable(variable.unit) + "' is not defined", false);
      }
    }
  }

  // Sizes that structural parameters hold are taken from their start values.
  bool settleDimensions(Variable& variable) {
    std::uint64_t bytes = std::max<std::uint64_t>(bytesOf(variable.type), 1);
    for (Dimension& dimension : variable.dimensions) {
      if (dimension.parameter && !settleSize(variable, dimension)) return false;
      if (__builtin_mul_overflow(bytes, dimension.size, &bytes) || bytes > kMostBytes) {
        report(variable, "", "the array is larger than " + std::to_string(kMostBytes) + " bytes", true);
        return false;
      }
    }
    return true;
  }

  bool settleSize(const Variable& variable, Dimension& dimension) {
    const auto found = byReference_.find(*dimension.parameter);
    const Variable* size = found != byReference_.end() ? &model_.variables[found->second] : nullptr;
    const bool fits = size != nullptr && size->causality == Causality::structuralParameter &&
                      size->type == VariableType::uint64 && size->dimensions.empty();
    if (!fits) {
      report(variable, "",
             "its dimension is no structural parameter of type UInt64 (reference " +
                 std::to_string(*dimension.parameter) + ")",
             true);
      return false;
    }
    const std::optional<std::uint64_t> value =
        size->start.size() == 1 ? parseXmlUnsigned(size->start[0]) : std::nullopt;
    if (!value) {
      report(*size, "start", "a structural parameter needs a whole number", true);
      return false;
    }
    dimension.size = *value;
    return true;
  }

  void checkStart(const Variable& variable) {
    if (variable.aliasOf) return;
    const std::uint64_t elements = variable.elements();
    if (variable.start.size() > 1 && variable.start.size() != elements) {
      report(variable, "start",
             std::to_string(variable.start.size()) + " values for " + std::to_string(elements) +
                 (elements == 1 ? " element" : " elements"),
             true);
    }
    for (const std::string& text : variable.start) {
      if (isValue(text, variable.type)) continue;
      report(variable, "start", "'" + printable(text) + "' is no value of type " + std::string(nameOf(variable.type)),
             false);
      return;
    }
    const bool needed = variable.causality == Causality::parameter || variable.causality == Causality::input ||
                        variable.causality == Causality::structuralParameter;
    if (needed && variable.start.empty() && variable.type != VariableType::clock) {
      report(variable, "start", "is missing", false);
    }
  }

  void checkRange(const Variable& variable) {
    const std::optional<double> least = parseXmlNumber(variable.min);
    const std::optional<double> most = parseXmlNumber(variable.max);
    if (!variable.min.empty() && !least)
      report(variable, "min", "'" + printable(variable.min) + "' is not a number", false);
    if (!variable.max.empty() && !most)
      report(variable, "max", "'" + printable(variable.max) + "' is not a number", false);
    if (least && most && *least > *most) report(variable, "min", "is above max", false);
  }

  ModelDescription& model_;
  Mistakes& mistakes_;
  std::unordered_map<std::uint32_t, std::size_t> byReference_;
};

}  // namespace

void checkModel(ModelDescription& model, Mistakes& mistakes) { ModelChecks(model, mistakes).run(); }

}  // namespace vtio::runner
