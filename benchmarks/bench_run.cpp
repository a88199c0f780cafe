/// @file
/// What a step of an example FMU costs when vtio-run's library makes it: without logging, beside a loop written by hand
/// that calls the same functions of the FMU; and with all outputs logged, beside the same run without logging.
///
/// The ball falls and bounces all the time. A model of 100 outputs, which costs nothing itself, shows what a logged
/// scalar costs where a step logs many. Counts processor time.

#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/stopwatch.hpp"
#include "runner/description/mistakes.hpp"
#include "runner/fmi/fmi3.h"
#include "runner/fmu/fmu_file.hpp"
#include "runner/fmu/shared_library.hpp"
#include "runner/run/co_simulation_stepper.hpp"
#include "runner/run/fmu_run.hpp"
#include "runner/run/run_plan.hpp"
#include "tests/runner/fake_instance.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using vtio::benchmarks::Stopwatch;

constexpr double kStep = 1e-5;
constexpr int kSteps = 100000;

struct Example {
  const char* archive;
  const char* library;
  std::vector<std::uint32_t> outputs;
};

const Example& example(const benchmark::State& state) {
  static const Example ball{VTIO_BALL_FMU, VTIO_BALL_LIBRARY, {1, 2}};
  static const Example oscillator{VTIO_OSCILLATOR_FMU, VTIO_OSCILLATOR_LIBRARY, {1, 2}};
  return state.range(0) == 0 ? ball : oscillator;
}

std::unique_ptr<CoSimulation> instantiate(const ModelDescription& model, const Example& chosen) {
  InstanceSetup setup;
  setup.library = chosen.library;
  setup.resources = std::filesystem::temp_directory_path();
  return makeCoSimulation(model, setup);
}

// What a program that needs no more than the FMU's steps would do.
void loopByHand(benchmark::State& state) {
  const Example& chosen = example(state);
  const FmuFile fmu(chosen.archive);
  const SharedLibrary library(chosen.library);
  Fmi3InstantiateCoSimulation* make = nullptr;
  Fmi3EnterInitializationMode* enter = nullptr;
  Fmi3ExitInitializationMode* leave = nullptr;
  Fmi3DoStep* doStep = nullptr;
  Fmi3FreeInstance* release = nullptr;
  library.require(make, "fmi3InstantiateCoSimulation");
  library.require(enter, "fmi3EnterInitializationMode");
  library.require(leave, "fmi3ExitInitializationMode");
  library.require(doStep, "fmi3DoStep");
  library.require(release, "fmi3FreeInstance");
  for (auto _ : state) {
    void* instance = make(
        "instance", fmu.model().instantiationToken.c_str(), "/", false, false, false, true, nullptr, 0, nullptr,
        [](void*, int, const char*, const char*) {}, nullptr);
    enter(instance, false, 0.0, 0.0, true, kSteps * kStep);
    leave(instance);
    const Stopwatch watch;
    for (int i = 0; i < kSteps; ++i) {
      bool event = false;
      bool terminate = false;
      bool early = false;
      double last = 0.0;
      const int status = doStep(instance, i * kStep, kStep, true, &event, &terminate, &early, &last);
      if (status != FMI3_OK || terminate) state.SkipWithError("the FMU failed");
    }
    state.SetIterationTime(watch.cpuSeconds());
    release(instance);
  }
  state.SetItemsProcessed(state.iterations() * kSteps);
}

template <typename Make>
void runModel(benchmark::State& state, const ModelDescription& model, bool isLogged, int steps, const Make& make) {
  RunOptions options;
  options.stop = steps * kStep;
  options.step = kStep;
  RunPlan plan = planRun(model, options);
  if (!isLogged) {
    plan.running.clear();
    plan.trees.clear();
  }
  for (auto _ : state) {
    vtio::core::client::Catalogue catalogue;
    vtio::recorders::RecordingSession recording(catalogue);
    ValueStore running(plan.model, plan.running);
    ValueStore parameters(plan.model, plan.parameters);
    SignalLog log(catalogue, recording, plan.model, plan.trees, running, parameters, {});
    InputTable inputs;
    const std::unique_ptr<CoSimulation> instance = make(plan.model);
    instance->enterInitialization({0.0, *options.stop, std::nullopt});
    instance->exitInitialization();
    const RunParts parts{running, log, inputs, plan};
    CoSimulationStepper stepper(*instance, *plan.model.find(Kind::coSimulation), parts);
    FmuRun run(stepper, parts, recording);
    const Stopwatch watch;
    const RunEnd end = run.run([] { return 0; });
    state.SetIterationTime(watch.cpuSeconds());
    if (end.lastTime != *options.stop) state.SkipWithError("the run ended early");
  }
  state.SetItemsProcessed(state.iterations() * steps);
}

void runExample(benchmark::State& state, bool isLogged) {
  const Example& chosen = example(state);
  const FmuFile fmu(chosen.archive);
  if (planRun(fmu.model(), {}).running.size() != chosen.outputs.size()) {
    state.SkipWithError("the FMU has other outputs");
  }
  runModel(state, fmu.model(), isLogged, kSteps,
           [&](const ModelDescription& model) { return instantiate(model, chosen); });
}

constexpr int kManyOutputs = 100;
constexpr int kStepsOfMany = kSteps / kManyOutputs;  // as many scalars as steps of the others

class ManyOutputs final : public runner_test::FakeInstance<CoSimulation> {
 public:
  void get(VariableType, std::span<const std::uint32_t>, void* values, std::size_t count) override {
    std::memcpy(values, values_.data(), count * sizeof(double));
  }
  StepOutcome doStep(double time, double, bool) override {
    values_[0] = time;
    return {};
  }

 private:
  std::vector<double> values_ = std::vector<double>(kManyOutputs);
};

void runManyOutputs(benchmark::State& state, bool isLogged) {
  std::string text = R"(<fmiModelDescription fmiVersion="3.0" modelName="Many" instantiationToken="t">
    <CoSimulation modelIdentifier="many" canHandleVariableCommunicationStepSize="true"/><ModelVariables>)";
  for (int i = 0; i < kManyOutputs; ++i) {
    const std::string number = std::to_string(i);
    text += "<Float64 name=\"y" + number + "\" valueReference=\"" + number + "\" causality=\"output\"/>";
  }
  Mistakes mistakes;
  const ModelDescription model =
      readModelDescription(text + "</ModelVariables><ModelStructure/></fmiModelDescription>", mistakes);
  runModel(state, model, isLogged, kStepsOfMany,
           [](const ModelDescription&) { return std::make_unique<ManyOutputs>(); });
}

void runWithoutLog(benchmark::State& state) { runExample(state, false); }
void runWithLog(benchmark::State& state) { runExample(state, true); }

void examples(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("model")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(loopByHand)->Apply(examples);
BENCHMARK(runWithoutLog)->Apply(examples);
BENCHMARK(runWithLog)->Apply(examples);

void manyWithoutLog(benchmark::State& state) { runManyOutputs(state, false); }
void manyWithLog(benchmark::State& state) { runManyOutputs(state, true); }

BENCHMARK(manyWithoutLog)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(manyWithLog)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
