#include "runner/run/run_record.hpp"

#include <algorithm>
#include <string>

#include "runner/text/arrays.hpp"

namespace vtio::runner {
namespace {

const char* statusText(ExitStatus status) {
  switch (status) {
    case ExitStatus::done:
      return "done";
    case ExitStatus::interrupted:
    case ExitStatus::terminated:
      return "interrupted";
    default:
      return "failed";
  }
}

vtu::qxArrayWrapper variableRecord(const ModelDescription& model, const Variable& variable) {
  vtu::qxStructWrapper record({"Name", "ValueReference", "Type", "Causality", "Variability", "Initial", "Unit",
                               "DisplayUnit", "Quantity", "RelativeQuantity", "Min", "Max", "Nominal", "Start",
                               "Description", "AliasOf"});
  std::string start;
  for (const std::string& value : variable.start) start += (start.empty() ? "" : " ") + value;
  record.set("Name", textArray(variable.name));
  record.set("ValueReference", numberArray(variable.valueReference));
  record.set("Type", textArray(nameOf(variable.type)));
  record.set("Causality", textArray(nameOf(variable.causality)));
  record.set("Variability", textArray(nameOf(variable.variability)));
  record.set("Initial", textArray(nameOf(variable.initial)));
  record.set("Unit", textArray(variable.unit));
  record.set("DisplayUnit", textArray(variable.displayUnit));
  record.set("Quantity", textArray(variable.quantity));
  record.set("RelativeQuantity", vtu::qxArrayWrapper(qxCreateLogicalScalar(variable.relativeQuantity)));
  record.set("Min", textArray(variable.min));
  record.set("Max", textArray(variable.max));
  record.set("Nominal", textArray(variable.nominal));
  record.set("Start", textArray(start));
  record.set("Description", textArray(variable.description));
  record.set("AliasOf", textArray(variable.aliasOf ? model.variables[*variable.aliasOf].name : std::string()));
  return record;
}

vtu::qxArrayWrapper variableRecords(const RunPlan& plan) {
  std::vector<std::size_t> logged = plan.running;
  logged.insert(logged.end(), plan.parameters.begin(), plan.parameters.end());
  std::sort(logged.begin(), logged.end());
  vtu::qxCellArrayWrapper records(logged.size(), 1);
  for (std::size_t i = 0; i < logged.size(); ++i) {
    records.set(i, variableRecord(plan.model, plan.model.variables[logged[i]]));
  }
  return records;
}

}  // namespace

vtu::qxArrayWrapper runRecord(const RunPlan& plan, const RunEnd& end) {
  vtu::qxStructWrapper record({"ModelName", "FmiVersion", "GenerationTool", "Kind", "Start", "Stop", "Step", "Status",
                               "Message", "LastTime", "Variables"});
  record.set("ModelName", textArray(plan.model.modelName));
  record.set("FmiVersion", textArray(plan.model.fmiVersion));
  record.set("GenerationTool", textArray(plan.model.generationTool));
  record.set("Kind", textArray(plan.kind == Kind::modelExchange ? "me" : "cs"));
  record.set("Start", numberArray(plan.times.start));
  record.set("Stop", numberArray(plan.times.stop));
  record.set("Step", numberArray(plan.times.step));
  record.set("Status", textArray(statusText(end.status)));
  record.set("Message", textArray(end.message));
  record.set("LastTime", numberArray(end.lastTime));
  record.set("Variables", variableRecords(plan));
  return record;
}

}  // namespace vtio::runner
