/// @file
/// A sweep on two processors beside the same runs one by one, and reading the description of an FMU that has 100 000
/// variables beside parsing its XML alone.
///
/// The sweep counts elapsed time: two free processors are what it needs. The description counts processor time.
///
/// Option: --dir=PATH  the folder of the results, which are removed (default: the current folder).

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>
#include <sstream>
#include <string>

#include "benchmarks/file_benchmarks.hpp"
#include "benchmarks/stopwatch.hpp"
#include "runner/description/mistakes.hpp"
#include "runner/description/model_description.hpp"
#include "runner/sweep/sweep.hpp"

namespace {

namespace fs = std::filesystem;
using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using vtio::benchmarks::Stopwatch;

constexpr std::size_t kVariables = 100000;

fs::path folder_ = ".";

// Many runs of the ball, which takes a millisecond or two for 3 s: starting and saving a run are most of it.
void sweep(benchmark::State& state) {
  SweepOptions options;
  options.run.fmu = VTIO_BALL_FMU;
  options.run.output = folder_ / "bench_sweep.qat";
  options.run.finals = {"h"};
  options.grids = {"e=0.5:0.9:" + std::to_string(state.range(0))};
  options.jobs = static_cast<std::size_t>(state.range(1));
  for (auto _ : state) {
    std::ostringstream out;
    std::ostringstream messages;
    const Stopwatch watch;
    const ExitStatus end = runSweep(options, out, messages);
    state.SetIterationTime(watch.wallSeconds());
    if (end != ExitStatus::done) state.SkipWithError("a run failed");
    fs::remove(options.run.output);
    fs::remove_all(options.run.output.string() + ".d");
  }
}

// A description as tools write it: three Float64 variables of four, one with a unit and bounds.
std::string description() {
  std::string text =
      R"(<?xml version="1.0" encoding="UTF-8"?>
<fmiModelDescription fmiVersion="3.0" modelName="Large" instantiationToken="{1}" variableNamingConvention="structured">
  <CoSimulation modelIdentifier="large"/>
  <UnitDefinitions><Unit name="m/s"><BaseUnit m="1" s="-1"/></Unit></UnitDefinitions>
  <ModelVariables>
)";
  for (std::size_t i = 0; i < kVariables; ++i) {
    const std::string number = std::to_string(i);
    const std::string name = "plant.part" + std::to_string(i / 100) + ".value" + number;
    const bool isInteger = i % 4 == 3;
    text += "    <" + std::string(isInteger ? "Int32" : "Float64") + " name=\"" + name + "\" valueReference=\"" +
            number + "\" causality=\"local\" variability=\"" + (isInteger ? "discrete" : "continuous") +
            "\" description=\"Value " + number + " of the plant\"" +
            (i % 4 == 0 ? R"( unit="m/s" min="-1e3" max="1e3" nominal="10")" : "") + "/>\n";
  }
  return text + "  </ModelVariables>\n  <ModelStructure/>\n</fmiModelDescription>\n";
}

std::string bytesOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Each reads the file and frees what it made.
template <typename Read>
void readDescription(benchmark::State& state, const Read& read) {
  const fs::path file = folder_ / "bench_description.xml";
  std::ofstream(file, std::ios::binary) << description();
  for (auto _ : state) {
    const Stopwatch watch;
    if (!read(file)) state.SkipWithError("the description is refused");
    state.SetIterationTime(watch.cpuSeconds());
  }
  fs::remove(file);
}

void importDescription(benchmark::State& state) {
  readDescription(state, [](const fs::path& file) {
    Mistakes mistakes;
    return readModelDescription(bytesOf(file), mistakes).variables.size() == kVariables && mistakes.count() == 0;
  });
}

void floorParse(benchmark::State& state) {
  readDescription(state, [](const fs::path& file) {
    std::string text = bytesOf(file);
    pugi::xml_document document;
    return document.load_buffer_inplace(text.data(), text.size()).status == pugi::status_ok;
  });
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"runs", "jobs"})->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
}

BENCHMARK(sweep)->Apply(sizes)->Args({1000, 2})->Args({1000, 1});
BENCHMARK(importDescription)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(floorParse)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return vtio::benchmarks::runFileBenchmarks(argc, argv, folder_); }
