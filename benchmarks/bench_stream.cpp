/// @file
/// What streaming signals into a Qat file costs, the whole path: entry function, accessor, recorder, file, close.
/// Floors: raw write() of the same bytes in pieces of 1 MiB; that and the same updates to clients that do nothing.
/// Reports the bytes of the file that one sample takes, the growth of the heap in MB, and the longest of 1000 steps
/// beside the median. Files go to the folder given by --dir=PATH.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/file_benchmarks.hpp"
#include "benchmarks/heap_use.hpp"
#include "benchmarks/logged_model.hpp"
#include "benchmarks/no_op_client.hpp"
#include "benchmarks/stopwatch.hpp"
#include "platform/text.hpp"
#include "recorders/recording_session.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

namespace fs = std::filesystem;
using vtio::benchmarks::LoggedModel;
using vtio::benchmarks::LoggedSignal;
using vtio::benchmarks::Stopwatch;
using vtio::core::client::Catalogue;

fs::path folder = ".";

/// Other values in each step, delivered through the entry function.
void step(LoggedModel& model, std::vector<double>& values, unsigned k) {
  const double time = k * 0.001;
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] += 0.25;
    mdlref_simtarget::zetVtioUpdateAccessor(model.signals()[i].handle, 0, time, &values[i]);
  }
}

/// Writes as many bytes as the samples and their times have.
void writePieces(unsigned signals, unsigned steps) {
  const std::vector<char> piece(std::size_t{1} << 20U, 'x');
  const fs::path path = folder / "floor.bin";
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  std::size_t left = (std::size_t{signals} + 1) * steps * sizeof(double);
  while (left > 0) {
    const ssize_t written = ::write(file, piece.data(), std::min(left, piece.size()));
    if (written <= 0) throw std::runtime_error("cannot write " + path.string());
    left -= static_cast<std::size_t>(written);
  }
  ::close(file);
}

void floorWritePieces(benchmark::State& state) {
  for (auto _ : state) {
    const Stopwatch watch;
    writePieces(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
    state.SetIterationTime(watch.wallSeconds());
    fs::remove(folder / "floor.bin");
  }
}

void floorNoOpAndWrite(benchmark::State& state) {
  const auto signals = static_cast<unsigned>(state.range(0)), steps = static_cast<unsigned>(state.range(1));
  for (auto _ : state) {
    LoggedModel model;
    for (unsigned i = 0; i < signals; ++i) {
      const LoggedSignal& signal = model.addScalar(1);
      auto client = vtio::benchmarks::makeNoOpClient(*signal.descriptor);
      signal.accessor->addClient(*client);
      model.catalogue().addClient(std::move(client), u"logsout");
    }
    std::vector<double> values(signals);
    const Stopwatch watch;
    for (unsigned k = 0; k < steps; ++k) step(model, values, k);
    writePieces(signals, steps);
    state.SetIterationTime(watch.wallSeconds());
    fs::remove(folder / "floor.bin");
  }
}

void stream(benchmark::State& state) {
  const auto signals = static_cast<unsigned>(state.range(0)), steps = static_cast<unsigned>(state.range(1));
  const fs::path path = folder / "streamed.qat";
  const double samples = double{1} * signals * steps;
  for (auto _ : state) {
    const std::size_t heapBefore = vtio::benchmarks::heapBytesInUse();
    std::size_t heap = 0;
    std::optional<LoggedModel> model(std::in_place);
    model->catalogue().settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
    model->catalogue().settings(Catalogue::SignalStorageParameters, vtu::to_ustring(path.string()));
    vtio::recorders::RecordingSession session(model->catalogue());
    for (unsigned i = 0; i < signals; ++i) {
      const LoggedSignal& signal = model->addScalar(1);
      session.attach(*signal.descriptor, *signal.accessor);
    }
    std::vector<double> values(signals);
    const Stopwatch watch;
    for (unsigned k = 0; k < steps; ++k) {
      step(*model, values, k);
      if (k % (steps / 16) == 0) heap = std::max(heap, vtio::benchmarks::heapBytesInUse());
    }
    model->catalogue().closeSharedResources();
    state.SetIterationTime(watch.wallSeconds());
    if (!session.streamFailure().empty()) state.SkipWithError(session.streamFailure().c_str());
    state.counters["heap_megabytes"] = static_cast<double>(heap - heapBefore) / 1e6;
    state.counters["bytes_per_sample"] = static_cast<double>(fs::file_size(path)) / samples;
    model.reset();
    fs::remove(path);
  }
}

/// One step of 1000 signals: the median, and the longest but 0.1 %.
void streamedSteps(benchmark::State& state) {
  constexpr unsigned kSignals = 1000, kSteps = 20'000;
  const fs::path path = folder / "steps.qat";
  for (auto _ : state) {
    LoggedModel model;
    model.catalogue().settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
    model.catalogue().settings(Catalogue::SignalStorageParameters, vtu::to_ustring(path.string()));
    vtio::recorders::RecordingSession session(model.catalogue());
    session.flushInterval(static_cast<double>(state.range(0)) / 1000);
    for (unsigned i = 0; i < kSignals; ++i) {
      const LoggedSignal& signal = model.addScalar(1);
      session.attach(*signal.descriptor, *signal.accessor);
    }
    std::vector<double> values(kSignals), times;
    for (unsigned k = 0; k < kSteps; ++k) {
      const Stopwatch watch;
      step(model, values, k);
      times.push_back(watch.wallSeconds());
    }
    std::sort(times.begin(), times.end());
    state.SetIterationTime(times[kSteps / 2]);
    state.counters["longest_of_1000_us"] = times[kSteps - kSteps / 1000] * 1e6;
    state.counters["longest_us"] = times.back() * 1e6;
  }
  fs::remove(path);
}

void sizes(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "steps"})->Args({1000, 20'000})->Args({10'000, 2000})->Args({1, 10'000'000});
  job->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
}

BENCHMARK(floorWritePieces)->Apply(sizes);
BENCHMARK(floorNoOpAndWrite)->Apply(sizes);
BENCHMARK(stream)->Apply(sizes);
BENCHMARK(stream)->Name("streamBesideWrite")->Apply(sizes);
BENCHMARK(streamedSteps)->ArgName("flushMs")->Arg(1000)->Arg(10)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) { return vtio::benchmarks::runFileBenchmarks(argc, argv, folder); }
