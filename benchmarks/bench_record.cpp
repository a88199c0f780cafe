/// @file
/// What recording 1000 double signals for 2000 steps in memory costs, beside appending (time, value) to a preallocated
/// vector per signal. Reports the bytes of memory that one sample takes.

#include <benchmark/benchmark.h>

#include <memory>
#include <utility>
#include <vector>

#include "benchmarks/heap_use.hpp"
#include "benchmarks/logged_model.hpp"
#include "benchmarks/stopwatch.hpp"
#include "recorders/recording_session.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

using vtio::benchmarks::heapBytesInUse;
using vtio::benchmarks::LoggedModel;
using vtio::benchmarks::LoggedSignal;
using vtio::benchmarks::Stopwatch;

constexpr unsigned kSignals = 1000;
constexpr unsigned kSteps = 2000;
constexpr double kSamples = double{kSignals} * kSteps;
constexpr double kStep = 0.001;

/// Calls step(time, values) kSteps times with other values each time, and reports the processor time of all of it.
template <typename Step>
void runSteps(benchmark::State& state, const Step& step) {
  std::vector<double> values(kSignals);
  const Stopwatch watch;
  for (unsigned i = 0; i < kSteps; ++i) {
    for (double& value : values) {
      value += 0.5;
    }
    step(i * kStep, values);
  }
  state.SetIterationTime(watch.cpuSeconds());
}

void floorAppend(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::vector<std::pair<double, double>>> history(kSignals);
    for (auto& signal : history) {
      signal.reserve(kSteps);
    }
    runSteps(state, [&](double time, const std::vector<double>& values) {
      for (unsigned i = 0; i < kSignals; ++i) {
        history[i].emplace_back(time, values[i]);
      }
    });
    benchmark::DoNotOptimize(history.data());
  }
}

/// A model whose signals are all recorded.
struct RecordedModel {
  RecordedModel() : session(model.catalogue()) {
    for (unsigned i = 0; i < kSignals; ++i) {
      const LoggedSignal& signal = model.addScalar(1);
      recorders.push_back(session.attach(*signal.descriptor, *signal.accessor));
    }
  }

  /// Did every recorder get every sample?
  [[nodiscard]] bool complete() const {
    for (const vtio::recorders::MemoryRecorder* recorder : recorders) {
      if (recorder == nullptr || recorder->heldSamples() != kSteps) {
        return false;
      }
    }
    return true;
  }

  LoggedModel model;
  vtio::recorders::RecordingSession session;
  std::vector<vtio::recorders::MemoryRecorder*> recorders;
};

/// @param update Called with a signal, the time and the address of its value.
template <typename Update>
void record(benchmark::State& state, const Update& update) {
  std::size_t bytes = 0;
  for (auto _ : state) {
    const auto recorded = std::make_unique<RecordedModel>();
    const std::size_t before = heapBytesInUse();
    runSteps(state, [&](double time, const std::vector<double>& values) {
      const double* value = values.data();
      for (const LoggedSignal& signal : recorded->model.signals()) {
        update(signal, time, value++);
      }
    });
    bytes = heapBytesInUse() - before;
    if (!recorded->complete()) {
      state.SkipWithError("samples are missing");
      return;
    }
  }
  state.counters["bytes_per_sample"] = static_cast<double>(bytes) / kSamples;
}

void recordEntry(benchmark::State& state) {
  record(state, [](const LoggedSignal& signal, double time, const double* value) {
    mdlref_simtarget::zetVtioUpdateAccessor(signal.handle, 0, time, value);
  });
}

void recordAccessor(benchmark::State& state) {
  record(state, [](const LoggedSignal& signal, double time, const double* value) {
    signal.accessor->update(&time, value, 0);
  });
}

BENCHMARK(floorAppend)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(recordEntry)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(recordAccessor)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
