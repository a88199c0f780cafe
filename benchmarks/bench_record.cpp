/// @file
/// What recording double signals in memory costs, from 1 to 100 000 of them, compared to appending each value to a
/// preallocated vector per signal behind one virtual call. Reports the bytes of memory that one sample takes. Then:
/// making signals, and snapshots.
///
/// The result depends on addresses, so there are two layouts: signals made one after another, and signals
/// with something else in between. Each run begins with memory that the program has not touched yet, as a simulation
/// does: the first access to a page is part of recording, and of its floor.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "benchmarks/heap_use.hpp"
#include "benchmarks/logged_model.hpp"
#include "benchmarks/no_op_client.hpp"
#include "benchmarks/stopwatch.hpp"
#include "recorders/recording_session.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

using vtio::benchmarks::heapBytesInUse;
using vtio::benchmarks::LoggedModel;
using vtio::benchmarks::LoggedSignal;
using vtio::benchmarks::Stopwatch;

constexpr double kStep = 0.001;

/// How many signals, how many steps, and what else a program allocates between its signals: nothing in layout 0, in
/// layout 1 blocks of irregular sizes.
class Job final {
 public:
  /// Gives back to the system what earlier runs have touched.
  explicit Job(const benchmark::State& state)
      : signals_(static_cast<unsigned>(state.range(0))),
        steps_(static_cast<unsigned>(state.range(1))),
        scatters_(state.range(2) != 0) {
    malloc_trim(0);
  }

  [[nodiscard]] unsigned signals() const { return signals_; }
  [[nodiscard]] unsigned steps() const { return steps_; }
  [[nodiscard]] double samples() const { return double{1} * signals_ * steps_; }

  void betweenSignals() {
    if (!scatters_) return;
    random_ = random_ * 1664525U + 1013904223U;
    others_.push_back(std::make_unique<char[]>(16U + (random_ >> 20U)));
  }

  /// Calls step(time, values) with other values each time, and reports the processor time of all of it.
  template <typename Step>
  void run(benchmark::State& state, const Step& step) const {
    std::vector<double> values(signals_);
    const Stopwatch watch;
    for (unsigned i = 0; i < steps_; ++i) {
      for (double& value : values) value += 0.5;
      step(i * kStep, values);
    }
    state.SetIterationTime(watch.cpuSeconds());
  }

 private:
  unsigned signals_;
  unsigned steps_;
  bool scatters_;
  std::uint32_t random_ = 1;
  std::vector<std::unique_ptr<char[]>> others_;
};

void floorAppend(benchmark::State& state) {
  for (auto _ : state) {
    Job job(state);
    LoggedModel model;
    std::vector<vtio::core::client::Client*> lists;
    for (unsigned i = 0; i < job.signals(); ++i) {
      job.betweenSignals();
      const LoggedSignal& signal = model.addScalar(1);
      auto list = vtio::benchmarks::makeVectorClient(*signal.descriptor, job.steps());
      lists.push_back(list.get());
      model.catalogue().addClient(std::move(list), u"logsout");
      signal.accessor->addClient(*lists.back());
    }
    job.run(state, [&](double time, const std::vector<double>& values) {
      const double* value = values.data();
      for (vtio::core::client::Client* list : lists) list->update(&time, value++);
    });
    benchmark::DoNotOptimize(lists.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));
}

/// A model whose signals are all recorded.
struct RecordedModel {
  explicit RecordedModel(Job& job) : session(model.catalogue()) {
    for (unsigned i = 0; i < job.signals(); ++i) {
      job.betweenSignals();
      const LoggedSignal& signal = model.addScalar(1);
      recorders.push_back(session.attach(*signal.descriptor, *signal.accessor));
    }
  }

  /// Did every recorder get every sample?
  [[nodiscard]] bool complete(std::uint64_t samples) const {
    for (const vtio::recorders::MemoryRecorder* recorder : recorders) {
      if (recorder == nullptr || recorder->heldSamples() != samples) return false;
    }
    return true;
  }

  LoggedModel model;
  vtio::recorders::RecordingSession session;
  std::vector<vtio::recorders::MemoryRecorder*> recorders;
};

/// @param update Called with the number of a signal, the signal, the time and the address of its value.
template <typename Update>
void record(benchmark::State& state, const Update& update) {
  double bytes = 0;
  for (auto _ : state) {
    Job job(state);
    const auto recorded = std::make_unique<RecordedModel>(job);
    const std::size_t before = heapBytesInUse();
    job.run(state, [&](double time, const std::vector<double>& values) {
      unsigned i = 0;
      for (const LoggedSignal& signal : recorded->model.signals()) {
        update(i, signal, time, &values[i]);
        ++i;
      }
    });
    bytes = static_cast<double>(heapBytesInUse() - before) / job.samples();
    if (!recorded->complete(job.steps())) {
      state.SkipWithError("samples are missing");
      return;
    }
  }
  state.counters["bytes_per_sample"] = bytes;
  state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));
}

void recordEntry(benchmark::State& state) {
  record(state, [](unsigned, const LoggedSignal& signal, double time, const double* value) {
    mdlref_simtarget::zetVtioUpdateAccessor(signal.handle, 0, time, value);
  });
}

void recordAccessor(benchmark::State& state) {
  record(state, [](unsigned, const LoggedSignal& signal, double time, const double* value) {
    signal.accessor->update(&time, value, 0);
  });
}

/// Every signal at times of its own.
void recordApart(benchmark::State& state) {
  record(state, [](unsigned i, const LoggedSignal& signal, double time, const double* value) {
    mdlref_simtarget::zetVtioUpdateAccessor(signal.handle, 0, time + 1e-9 * i, value);
  });
}

/// Making signals: description, accessor and recorder, and the heap that one takes.
void create(benchmark::State& state) {
  double bytes = 0;
  for (auto _ : state) {
    Job job(state);
    const std::size_t before = heapBytesInUse();
    const Stopwatch watch;
    const auto recorded = std::make_unique<RecordedModel>(job);
    state.SetIterationTime(watch.cpuSeconds());
    bytes = static_cast<double>(heapBytesInUse() - before) / job.signals();
  }
  state.counters["bytes_per_signal"] = bytes;
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Taking a snapshot in each step and going back to it in every tenth, the steps not counted.
void snapshots(benchmark::State& state) {
  for (auto _ : state) {
    Job job(state);
    RecordedModel recorded(job);
    double seconds = 0;
    for (unsigned i = 0; i < job.steps(); ++i) {
      const double value = i;
      for (const LoggedSignal& signal : recorded.model.signals()) {
        mdlref_simtarget::zetVtioUpdateAccessor(signal.handle, 0, i * kStep, &value);
      }
      const Stopwatch watch;
      recorded.session.captureSnapshot(false);
      recorded.session.limitSnapshots(5);
      if (i % 10 == 9) recorded.session.rollBack();
      seconds += watch.cpuSeconds();
    }
    state.SetIterationTime(seconds);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));
}

void everySize(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "steps", "layout"})->UseManualTime()->Unit(benchmark::kMillisecond);
  for (const auto& [signals, steps] : {std::pair{1, 1'000'000}, {100, 100'000}, {1000, 10'000}, {10'000, 1000}}) {
    job->Args({signals, steps, 0});
  }
  job->Args({1000, 10'000, 1})->Args({10'000, 1000, 1})->Args({100'000, 100, 0});
}

void signalsAlone(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "steps", "layout"})->UseManualTime()->Unit(benchmark::kMillisecond);
  job->Args({1000, 1, 0})->Args({10'000, 1, 0})->Args({100'000, 1, 0});
}

BENCHMARK(floorAppend)->Apply(everySize);
BENCHMARK(recordEntry)->Apply(everySize);
BENCHMARK(recordAccessor)->Apply(everySize);
BENCHMARK(recordApart)
    ->ArgNames({"signals", "steps", "layout"})
    ->Args({1000, 10'000, 0})
    ->Args({10'000, 1000, 0})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(create)->Apply(signalsAlone);
BENCHMARK(snapshots)
    ->ArgNames({"signals", "steps", "layout"})
    ->Args({1000, 100, 0})
    ->Args({10'000, 100, 0})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
