#include "runner/run/run_plan.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "results/signals/glob.hpp"
#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/input/input_table.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr double kSteps = 500.0;  // of a run whose step nobody gives

[[noreturn]] void refuseKind(const ModelDescription& model, const char* wanted) {
  std::string offered;
  if (model.find(Kind::coSimulation) != nullptr) offered = "Co-Simulation";
  if (model.find(Kind::modelExchange) != nullptr)
    offered += (offered.empty() ? "" : ", ") + std::string("Model Exchange");
  if (model.find(Kind::scheduledExecution) != nullptr) {
    offered += (offered.empty() ? "" : ", ") + std::string("Scheduled Execution");
  }
  throw RunnerError(std::string("the FMU does not offer ") + wanted + "; it offers " + offered);
}

std::optional<double> fixedStep(const ModelDescription& model) {
  const Interface* way = model.find(Kind::coSimulation);
  if (way == nullptr) return std::nullopt;
  for (const auto& [name, value] : way->attributes) {
    if (name == "fixedInternalStepSize") return parseXmlNumber(value);
  }
  return std::nullopt;
}

RunTimes settleTimes(const ModelDescription& model, const RunOptions& options) {
  const DefaultExperiment& experiment = model.experiment;
  const auto first = [](std::optional<double> given, std::optional<double> otherwise) {
    return given ? given : otherwise;
  };
  RunTimes times;
  times.start = first(options.start, experiment.start).value_or(0.0);
  times.stop = first(options.stop, experiment.stop).value_or(times.start + 1.0);
  times.step =
      first(first(options.step, experiment.step), fixedStep(model)).value_or((times.stop - times.start) / kSteps);
  times.tolerance = first(options.tolerance, experiment.tolerance);
  times.outputStep = options.outputStep;
  times.rewind = options.rewind;
  if (!std::isfinite(times.start) || !std::isfinite(times.stop) || times.stop < times.start) {
    throw RunnerError("the run cannot go from " + numberText(times.start) + " to " + numberText(times.stop));
  }
  const auto isStep = [](double step) { return std::isfinite(step) && step > 0.0; };
  if (times.stop > times.start) {
    if (!isStep(times.step)) throw RunnerError("the step " + numberText(times.step) + " is no positive number");
    if (times.start + times.step == times.start || times.stop - times.step == times.stop) {
      throw RunnerError("the step " + numberText(times.step) + " is too small to tell its times apart");
    }
  }
  if (times.outputStep && !isStep(*times.outputStep)) {
    throw RunnerError("the output step " + numberText(*times.outputStep) + " is no positive number");
  }
  if (times.tolerance && !isStep(*times.tolerance)) {
    throw RunnerError("the tolerance " + numberText(*times.tolerance) + " is no positive number");
  }
  return times;
}

void checkRewind(const RunTimes& times, const Interface& way) {
  if (!times.rewind) return;
  if (!way.flag("canGetAndSetFMUState")) {
    throw RunnerError("--rewind: the FMU cannot get and set its state");
  }
  if (*times.rewind >= times.start && *times.rewind < times.stop) return;
  throw RunnerError("--rewind: the time " + numberText(*times.rewind) + " is not from " + numberText(times.start) +
                    " to before " + numberText(times.stop));
}

std::vector<ChangeLimit> readChangeLimits(const ModelDescription& model, const Interface& way,
                                          const std::vector<std::string>& given) {
  std::vector<ChangeLimit> limits;
  if (!given.empty() && way.kind == Kind::modelExchange) {
    throw RunnerError("--max-change goes with Co-Simulation: in Model Exchange the solver chooses its steps");
  }
  const bool canRepeat = way.flag("canGetAndSetFMUState") && way.flag("canHandleVariableCommunicationStepSize");
  if (!given.empty() && !canRepeat) {
    throw RunnerError(
        "--max-change: the FMU cannot repeat a step: it needs canGetAndSetFMUState and "
        "canHandleVariableCommunicationStepSize");
  }
  for (const std::string& one : given) {
    const auto [index, text] = splitAssignment("--max-change", one, model);
    const Variable& variable = model.variables[index];
    const std::optional<double> most = parseXmlNumber(text);
    if (variable.type != VariableType::float64 || !variable.dimensions.empty()) {
      throw RunnerError("--max-change: it is no scalar Float64", "variable '" + printable(variable.name) + "'");
    }
    if (!most || !(*most > 0.0)) throw RunnerError("--max-change: '" + printable(text) + "' is no positive number");
    limits.push_back({variable.valueReference, *most});
  }
  return limits;
}

bool isWanted(const Variable& variable, const RunOptions& options, std::vector<bool>& matched) {
  if (variable.causality == Causality::independent) return false;
  if (!options.signals.empty()) {
    bool wanted = false;
    for (std::size_t i = 0; i < options.signals.size(); ++i) {
      if (!results::matchesGlob(options.signals[i], variable.name)) continue;
      matched[i] = true;
      wanted = true;
    }
    return wanted;
  }
  if (variable.causality == Causality::input || variable.causality == Causality::output) return true;
  return variable.isParameter() || variable.isTuned ? options.parameters : options.locals;
}

void choose(RunPlan& plan, const RunOptions& options) {
  std::vector<bool> matched(options.signals.size(), false);
  std::vector<std::size_t> chosen;
  for (std::size_t i = 0; i < plan.model.variables.size(); ++i) {
    const Variable& variable = plan.model.variables[i];
    if (!isWanted(variable, options, matched)) continue;
    if (variable.elements() == 0) {
      plan.notes.push_back("'" + printable(variable.name) + "' is not logged: it has no elements");
      continue;
    }
    chosen.push_back(i);
    (variable.isParameter() ? plan.parameters : plan.running).push_back(i);
  }
  for (std::size_t i = 0; i < matched.size(); ++i) {
    if (matched[i]) continue;
    throw RunnerError("--signals: no variable matches '" + printable(options.signals[i]) + "'" +
                      nearVariables(options.signals[i], plan.model));
  }
  plan.trees = makeSignalTrees(plan.model, chosen);
}

// Leaves the mark to what is read within steps in this run. With a grid of times nothing else is wanted.
void chooseIntermediate(ModelDescription& model, const Interface& way, const RunTimes& times) {
  const bool isOffered = model.version == FmiVersion::fmi3 && way.kind == Kind::coSimulation &&
                         way.flag("providesIntermediateUpdate") && !times.outputStep;
  for (Variable& variable : model.variables) {
    const bool isNumber = bytesOf(variable.type) > 0 && variable.type != VariableType::clock;
    variable.isIntermediate = variable.isIntermediate && isOffered && isNumber && variable.clocks.empty();
  }
}

bool isScalarNumber(const Variable& variable) {
  return variable.dimensions.empty() && bytesOf(variable.type) > 0 && variable.type != VariableType::clock;
}

void chooseFinals(RunPlan& plan, const std::vector<std::string>& patterns) {
  std::vector<bool> matched(patterns.size(), false);
  for (const std::size_t index : plan.running) {
    const Variable& variable = plan.model.variables[index];
    bool wanted = false;
    for (std::size_t i = 0; i < patterns.size(); ++i) {
      if (!isScalarNumber(variable) || !results::matchesGlob(patterns[i], variable.name)) continue;
      matched[i] = true;
      wanted = true;
    }
    if (wanted) plan.finals.push_back(index);
  }
  for (std::size_t i = 0; i < matched.size(); ++i) {
    if (!matched[i]) throw RunnerError("--final: no logged scalar matches '" + printable(patterns[i]) + "'");
  }
}

}  // namespace

const Interface& chooseInterface(const ModelDescription& model, const RunOptions& options) {
  const Interface* coSimulation = model.find(Kind::coSimulation);
  const Interface* modelExchange = model.find(Kind::modelExchange);
  if (options.kind == Kind::coSimulation && coSimulation == nullptr) refuseKind(model, "Co-Simulation");
  if (coSimulation != nullptr && options.kind != Kind::modelExchange) return *coSimulation;
  if (modelExchange == nullptr && options.kind == Kind::modelExchange) refuseKind(model, "Model Exchange");
  if (modelExchange == nullptr) throw RunnerError("the FMU offers Scheduled Execution only, which is not supported");
  if (!hasOdeSolver()) {
    throw RunnerError("this vtio-run was built without SUNDIALS and cannot run FMUs for Model Exchange");
  }
  return *modelExchange;
}

RunPlan planRun(ModelDescription model, const RunOptions& options) {
  RunPlan plan;
  plan.model = std::move(model);
  const Interface& way = chooseInterface(plan.model, options);
  plan.kind = way.kind;
  if (options.method && plan.kind != Kind::modelExchange) throw RunnerError("--solver goes with Model Exchange");
  plan.method = options.method.value_or(OdeMethod::bdf);
  plan.times = settleTimes(plan.model, options);
  checkRewind(plan.times, way);
  plan.assignments = readAssignments(plan.model, options.set);
  if (!options.input.empty()) markTuned(options.input, plan.model);
  plan.changeLimits = readChangeLimits(plan.model, way, options.maxChange);
  chooseIntermediate(plan.model, way, plan.times);
  choose(plan, options);
  chooseFinals(plan, options.finals);
  return plan;
}

}  // namespace vtio::runner
