#include "runner/run/run_fmu.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <optional>
#include <ostream>
#include <system_error>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"
#include "results/values/shown_value.hpp"
#include "runner/archive/temporary_folder.hpp"
#include "runner/build/build_library.hpp"
#include "runner/fmu/fmu_file.hpp"
#include "runner/isolation/isolated_instance.hpp"
#include "runner/run/co_simulation_stepper.hpp"
#include "runner/run/interrupt.hpp"
#include "runner/run/model_exchange_stepper.hpp"
#include "runner/run/run_plan.hpp"
#include "runner/run/run_progress.hpp"
#include "runner/run/run_record.hpp"
#include "runner/run/selection_file.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;

constexpr double kLongestTimeout = 1e9;  // milliseconds

// The libraries of this machine and the resources, unpacked.
class Unpacked {
 public:
  Unpacked(const FmuFile& fmu, const Interface& way, const RunOptions& options) {
    if (options.build) {
      library_ = options.library.empty() ? buildLibrary(fmu, way, folder_.path()) : options.library;
    } else {
      extractBinary(fmu, way);
    }
    fmu.archive().extract("resources/", folder_.path());
    fs::create_directories(resources());
  }

  [[nodiscard]] const fs::path& library() const { return library_; }
  [[nodiscard]] fs::path resources() const { return folder_.path() / "resources"; }

 private:
  void extractBinary(const FmuFile& fmu, const Interface& way) {
    const std::string binary = fmu.binaryFor(way);
    if (binary.empty()) {
      throw RunnerError("no binary '" + way.modelIdentifier +
                        ".so' for this machine; vtio-run check says more, --build compiles sources");
    }
    fmu.archive().extract(binary.substr(0, binary.rfind('/') + 1), folder_.path());
    library_ = folder_.path() / binary;
  }

  TemporaryFolder folder_;
  fs::path library_;
};

// The FMU's messages: those of the chosen categories go out, the last one is kept for the error that may follow.
class Messages {
 public:
  Messages(const RunOptions& options, std::ostream& out) : categories_(options.logCategories), out_(out) {}

  void operator()(std::string_view category, std::string_view message) {
    last_ = printable(message, 500);
    const auto chosen = [category](const std::string& one) { return one == "*" || one == category; };
    if (std::any_of(categories_.begin(), categories_.end(), chosen)) {
      out_ << "[" << printable(category) << "] " << printable(message, 4000) << "\n";
    }
  }

  [[nodiscard]] const std::string& last() const { return last_; }

 private:
  const std::vector<std::string>& categories_;
  std::ostream& out_;
  std::string last_;
};

void setStructure(Instance& instance, const RunPlan& plan) {
  bool inside = false;
  for (const Assignment& assignment : plan.assignments) {
    const Variable& variable = plan.model.variables[assignment.variable];
    if (variable.causality != Causality::structuralParameter) continue;
    if (!inside) instance.enterConfiguration();
    inside = true;
    setValues(instance, variable, assignment.values);
  }
  if (inside) instance.exitConfiguration();
}

void setStartValues(Instance& instance, const RunPlan& plan) {
  for (const Assignment& assignment : plan.assignments) {
    const Variable& variable = plan.model.variables[assignment.variable];
    if (variable.causality != Causality::structuralParameter) setValues(instance, variable, assignment.values);
  }
}

void initialize(Instance& instance, const RunPlan& plan, InputTable& inputs) {
  setStructure(instance, plan);
  setStartValues(instance, plan);
  instance.enterInitialization({plan.times.start, plan.times.stop, plan.times.tolerance});
  inputs.apply(instance, plan.times.start, EventSide::after);
  instance.exitInitialization();
}

// Adds what is not a signal to the results.
void putRecord(const RunPlan& plan, const RunEnd& end, const fs::path& file) {
  QatFile* results = qatOpen(file.c_str(), "u");
  if (results == nullptr)
    throw RunnerError(ExitStatus::failed, std::string("cannot save: ") + qatLastError(), file.string());
  const vtu::qxArrayWrapper record = runRecord(plan, end);
  const int put = qatPutVariable(results, "fmu", record.get());
  const std::string reason = put != 0 ? qatLastError() : "";
  if (qatClose(results) != 0 || put != 0)
    throw RunnerError(ExitStatus::failed, "cannot save: " + reason, file.string());
}

std::string firstLeaf(const SignalNode& node) {
  return node.isLeaf() ? node.name : node.name + "." + firstLeaf(node.children.front());
}

void report(const RunPlan& plan, const RunEnd& end, const fs::path& file, std::ostream& out) {
  out << plan.model.modelName << ": " << plan.running.size() << " variables";
  if (!plan.parameters.empty()) out << " and " << plan.parameters.size() << " parameters";
  out << " logged from " << numberText(plan.times.start) << " to " << numberText(end.lastTime) << " s\n";
  if (!plan.trees.empty()) {
    out << "qat plot " << file.string() << " '" << printable(firstLeaf(plan.trees.front().root)) << "'\n";
  }
  out << file.string() << "\n";
}

// What is not the model's failure is thrown again.
RunEnd endOf(const RunnerError& error, double lastTime, const std::string& where) {
  if (error.status() != ExitStatus::failed) throw;
  Failure failure = Failure::model;
  if (const auto* gone = dynamic_cast<const ProcessGone*>(&error)) {
    failure = gone->timedOut() ? Failure::timeout : Failure::crash;
  }
  return {ExitStatus::failed, failure, error.what() + where, lastTime};
}

// All that lives from the instantiation to the results file.
class Session {
 public:
  Session(const RunPlan& plan, const RunOptions& options)
      : plan_(plan), running_(plan.model, plan.running), parameters_(plan.model, plan.parameters) {
    if (!options.selection.empty()) {
      catalogue_.setModelLoggingInfo(readSelection(options.selection, plan.model, plan.trees).get());
    }
    if (!options.intervals.empty()) {
      catalogue_.disabledLoggingIntervals() = smartlog::LoggingInterval::within(options.intervals);
    }
    if (options.stream) recording_.streamTo(options.output.string());
    log_ = std::make_unique<SignalLog>(catalogue_, recording_, plan.model, plan.trees, running_, parameters_,
                                       LogLimits{options.decimation, options.maxPoints});
    if (!options.input.empty()) inputs_ = InputTable(options.input, plan.model);
  }

  RunEnd run(const Unpacked& unpacked, const Interface& way, Messages& messages, const RunOptions& options) {
    const auto sink = [&messages](std::string_view category, std::string_view text) { messages(category, text); };
    const InstanceSetup setup{unpacked.library(), unpacked.resources(), sink, !options.logCategories.empty(),
                              running_.intermediate()};
    RunEnd end;
    try {
      if (way.kind == Kind::modelExchange) {
        const std::unique_ptr<ModelExchange> instance = makeModelExchangeFor(setup, options);
        end = simulate<ModelExchangeStepper>(*instance, way, options);
      } else {
        const std::unique_ptr<CoSimulation> instance = makeCoSimulationFor(setup, options);
        end = simulate<CoSimulationStepper>(*instance, way, options);
      }
    } catch (const RunnerError& error) {
      end = endOf(error, plan_.times.start, "");
    }
    if (end.status == ExitStatus::failed && !messages.last().empty()) end.message += " (" + messages.last() + ")";
    return end;
  }

  void save(const RunOptions& options) {
    if (!options.stream) return recording_.save(options.output.string());
    catalogue_.closeSharedResources();
    const std::string failure = recording_.streamFailure();
    if (!failure.empty()) throw RunnerError(ExitStatus::failed, failure, options.output.string());
  }

  [[nodiscard]] std::vector<double> finalValues() const {
    std::vector<double> values;
    values.reserve(plan_.finals.size());
    for (const std::size_t index : plan_.finals) {
      values.push_back(results::numberAt(storedClassOf(plan_.model.variables[index].type), running_.numbers(index)));
    }
    return values;
  }

 private:
  [[nodiscard]] static std::chrono::milliseconds patienceOf(const RunOptions& options) {
    const double milliseconds = std::min(std::ceil(options.stepTimeout * 1000.0), kLongestTimeout);
    return std::chrono::milliseconds(static_cast<long long>(milliseconds));
  }

  [[nodiscard]] std::unique_ptr<CoSimulation> makeCoSimulationFor(const InstanceSetup& setup,
                                                                  const RunOptions& options) const {
    return options.isolate ? makeIsolatedCoSimulation(plan_.model, setup, patienceOf(options))
                           : makeCoSimulation(plan_.model, setup);
  }

  [[nodiscard]] std::unique_ptr<ModelExchange> makeModelExchangeFor(const InstanceSetup& setup,
                                                                    const RunOptions& options) const {
    return options.isolate ? makeIsolatedModelExchange(plan_.model, setup, patienceOf(options))
                           : makeModelExchange(plan_.model, setup);
  }

  template <typename SomeStepper, typename SomeInstance>
  RunEnd simulate(SomeInstance& instance, const Interface& way, const RunOptions& options) {
    initialize(instance, plan_, inputs_);
    parameters_.readAll(instance);
    const RunParts parts{running_, *log_, inputs_, plan_};
    SomeStepper stepper(instance, way, parts);
    RunEnd end = follow(stepper, parts, options);
    if (end.status == ExitStatus::failed) return end;
    try {
      instance.terminate();
    } catch (const RunnerError& error) {
      return endOf(error, end.lastTime, "");
    }
    return end;
  }

  RunEnd follow(Stepper& stepper, const RunParts& parts, const RunOptions& options) {
    RunProgress progress(plan_.times, options.showsProgress);
    const auto interrupted = [&] {
      if (options.showsProgress) progress.show(stepper.time());
      return InterruptGuard::received();
    };
    try {
      return FmuRun(stepper, parts, recording_).run(interrupted);
    } catch (const RunnerError& error) {
      return endOf(error, stepper.time(), " at the time " + numberText(stepper.time()));
    }
  }

  const RunPlan& plan_;
  core::client::Catalogue catalogue_;
  recorders::RecordingSession recording_{catalogue_};
  ValueStore running_, parameters_;
  InputTable inputs_;
  std::unique_ptr<SignalLog> log_;
};

}  // namespace

void checkOutput(const RunOptions& options) {
  const fs::path& output = options.output;
  const std::string name = "'" + printable(output.string()) + "'";
  std::error_code ignored;
  if (output.empty()) throw RunnerError("the name of the results file is empty");
  if (fs::is_directory(output, ignored)) throw RunnerError("the results file " + name + " is a folder");
  const fs::path folder = output.parent_path();
  if (!folder.empty() && !fs::is_directory(folder, ignored)) {
    throw RunnerError("the folder '" + printable(folder.string()) + "' of the results does not exist");
  }
  for (const fs::path& read : {options.fmu, options.input, options.selection}) {
    if (!read.empty() && fs::equivalent(output, read, ignored)) {
      throw RunnerError("the results file " + name + " would replace a file that the run reads");
    }
  }
}

const Interface& interfaceForRun(const FmuFile& fmu, const RunOptions& options) {
  if (const Mistake* mistake = fmu.mistakes().firstThatPreventsRun()) {
    throw RunnerError(mistake->text(), "modelDescription.xml");
  }
  return chooseInterface(fmu.model(), options);
}

ExitStatus runFmu(const RunOptions& options, std::ostream& out, std::ostream& messages) {
  return runForOutcome(options, out, messages).end.status;
}

RunOutcome runForOutcome(const RunOptions& options, std::ostream& out, std::ostream& messages) {
  const InterruptGuard guard;
  checkOutput(options);
  const FmuFile fmu(options.fmu);
  const Interface& way = interfaceForRun(fmu, options);
  const RunPlan plan = planRun(fmu.model(), options);
  // Before a file is streamed, which the process that removes the folder would hold.
  const Unpacked unpacked(fmu, way, options);
  std::optional<Session> session(std::in_place, plan, options);
  Messages received(options, messages);
  for (const std::string& note : plan.notes) messages << "vtio-run: " << options.fmu.string() << ": " << note << "\n";
  RunEnd end = session->run(unpacked, way, received, options);
  if (!end.message.empty()) messages << "vtio-run: " << options.fmu.string() << ": " << end.message << "\n";
  std::vector<double> finals = session->finalValues();
  session->save(options);
  session.reset();  // with it goes the lock of a streamed file
  putRecord(plan, end, options.output);
  report(plan, end, options.output, out);
  return {std::move(end), std::move(finals)};
}

}  // namespace vtio::runner
