/// @file
/// What recording 1000 double signals for 2000 steps in memory costs, beside appending (time, value) to a preallocated
/// vector per signal. Reports the bytes of memory that one sample takes.
///
/// What is measured depends on where things lie, so each benchmark runs in two layouts: signals made one after another, and
/// signals with something else in between. Each run begins with memory that the program has not touched yet, as a
/// simulation does: what the first touch of a page costs is part of recording, and of its floor.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>
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

/// What else a program allocates between its signals: nothing in layout 0, in layout 1 blocks of irregular sizes.
class Surroundings final {
 public:
  /// Gives back to the system what earlier runs have touched.
  explicit Surroundings(const benchmark::State& state) : scatters_(state.range(0) != 0) { malloc_trim(0); }

  void next() {
    if (!scatters_) return;
    random_ = random_ * 1664525U + 1013904223U;
    others_.push_back(std::make_unique<char[]>(16U + (random_ >> 20U)));
  }

 private:
  bool scatters_;
  std::uint32_t random_ = 1;
  std::vector<std::unique_ptr<char[]>> others_;
};

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
    Surroundings surroundings(state);
    std::vector<std::vector<std::pair<double, double>>> history(kSignals);
    for (auto& signal : history) {
      surroundings.next();
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
  explicit RecordedModel(Surroundings& surroundings) : session(model.catalogue()) {
    for (unsigned i = 0; i < kSignals; ++i) {
      surroundings.next();
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
    Surroundings surroundings(state);
    const auto recorded = std::make_unique<RecordedModel>(surroundings);
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

BENCHMARK(floorAppend)->ArgName("layout")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(recordEntry)->ArgName("layout")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(recordAccessor)->ArgName("layout")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
