/// @file
/// What streaming signals into a Qat file costs, the whole path: entry function, accessor, recorder, file, close.
/// Floors: raw write() of the same bytes in pieces of 1 MiB; that and the same updates to clients that do nothing; a
/// program of plain HDF5 that keeps one padded dataset per signal behind one virtual call per value.
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
#include "benchmarks/plain_hdf5.hpp"
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

/// Sum of the sizes of the members of a structure of LoggedModel::addStructure(): double[3], int32, bool, float.
constexpr std::size_t kStructureBytes = 33;

/// Writes as many bytes as the samples and their times have.
void writePieces(unsigned signals, unsigned steps, std::size_t sampleBytes = sizeof(double)) {
  const std::vector<char> piece(std::size_t{1} << 20U, 'x');
  const fs::path path = folder / "floor.bin";
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  std::size_t left = (signals * sampleBytes + sizeof(double)) * steps;
  while (left > 0) {
    const ssize_t written = ::write(file, piece.data(), std::min(left, piece.size()));
    if (written <= 0) throw std::runtime_error("cannot write " + path.string());
    left -= static_cast<std::size_t>(written);
  }
  ::close(file);
}

template <std::size_t sampleBytes>
void floorWritePieces(benchmark::State& state) {
  for (auto _ : state) {
    const Stopwatch watch;
    writePieces(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)), sampleBytes);
    state.SetIterationTime(watch.wallSeconds());
    fs::remove(folder / "floor.bin");
  }
}

/// As a program writes that has nothing but HDF5: the values of each signal in chunks of 1000, and no description.
void plainHdf5(benchmark::State& state) {
  const auto signals = static_cast<unsigned>(state.range(0)), steps = static_cast<unsigned>(state.range(1));
  const fs::path path = folder / "plain.h5";
  for (auto _ : state) {
    vtio::benchmarks::PlainHdf5File file(path.string(), std::size_t{signals} + 1, 1000);
    std::vector<double> values(signals);
    const Stopwatch watch;
    for (unsigned k = 0; k < steps; ++k) {
      file.sink(signals).put(k * 0.001);
      for (unsigned i = 0; i < signals; ++i) {
        values[i] += 0.25;
        file.sink(i).put(values[i]);
      }
    }
    file.close();
    state.SetIterationTime(watch.wallSeconds());
    state.counters["bytes_per_sample"] = static_cast<double>(fs::file_size(path)) / (double{1} * signals * steps);
    fs::remove(path);
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

/// A model that streams into `path`, and the session that does it.
struct StreamingModel {
  using Add = const LoggedSignal& (LoggedModel::*)(unsigned decimation);

  StreamingModel(const fs::path& path, unsigned signals, Add add = &LoggedModel::addScalar) : session(start(path)) {
    for (unsigned i = 0; i < signals; ++i) {
      const LoggedSignal& signal = (model.*add)(1);
      session.attach(*signal.descriptor, *signal.accessor);
    }
  }

  LoggedModel model;
  vtio::recorders::RecordingSession session;

 private:
  Catalogue& start(const fs::path& path) {
    model.catalogue().settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
    model.catalogue().settings(Catalogue::SignalStorageParameters, vtu::to_ustring(path.string()));
    return model.catalogue();
  }
};

/// Closes the file, and says how long it took in all, how large the file is and whether anything failed.
void finish(benchmark::State& state, StreamingModel& streaming, const Stopwatch& watch, const fs::path& path,
            double samples) {
  streaming.model.catalogue().closeSharedResources();
  state.SetIterationTime(watch.wallSeconds());
  const std::string failure = streaming.session.streamFailure();
  if (!failure.empty()) state.SkipWithError(failure.c_str());
  state.counters["bytes_per_sample"] = static_cast<double>(fs::file_size(path)) / samples;
}

void stream(benchmark::State& state) {
  const auto signals = static_cast<unsigned>(state.range(0)), steps = static_cast<unsigned>(state.range(1));
  const fs::path path = folder / "streamed.qat";
  for (auto _ : state) {
    const std::size_t heapBefore = vtio::benchmarks::heapBytesInUse();
    std::size_t heap = 0;
    std::optional<StreamingModel> streaming(std::in_place, path, signals);
    std::vector<double> values(signals);
    const Stopwatch watch;
    for (unsigned k = 0; k < steps; ++k) {
      step(streaming->model, values, k);
      if (k % (steps / 16) == 0) heap = std::max(heap, vtio::benchmarks::heapBytesInUse());
    }
    finish(state, *streaming, watch, path, double{1} * signals * steps);
    state.counters["heap_megabytes"] = static_cast<double>(heap - heapBefore) / 1e6;
    streaming.reset();
    fs::remove(path);
  }
}

void streamStructures(benchmark::State& state) {
  const auto signals = static_cast<unsigned>(state.range(0)), steps = static_cast<unsigned>(state.range(1));
  const fs::path path = folder / "structures.qat";
  struct Structure {
    double position[3];
    std::int32_t count;
    bool on;
    float level;
  };
  for (auto _ : state) {
    std::optional<StreamingModel> streaming(std::in_place, path, signals, &LoggedModel::addStructure);
    std::vector<Structure> values(signals);
    const Stopwatch watch;
    for (unsigned k = 0; k < steps; ++k) {
      for (unsigned i = 0; i < signals; ++i) {
        values[i] = {{k * 0.25, k * 0.5, i * 0.75}, static_cast<std::int32_t>(k + i), (k & 1U) != 0, 0.5F};
        mdlref_simtarget::zetVtioUpdateAccessor(streaming->model.signals()[i].handle, 0, k * 0.001, &values[i]);
      }
    }
    finish(state, *streaming, watch, path, double{1} * signals * steps);
    streaming.reset();
    fs::remove(path);
  }
}

/// Samples that fit no table: after the layout each signal goes on at times of its own. With `apart` 0 all keep the
/// times of the table. Counts the steps and the flush after them.
void streamStrays(benchmark::State& state) {
  constexpr unsigned kSignals = 100, kStepsBefore = 1000, kSteps = 20'000;
  const double apart = state.range(0) == 0 ? 0.0 : 1e-6;
  const fs::path path = folder / "strays.qat";
  for (auto _ : state) {
    std::optional<StreamingModel> streaming(std::in_place, path, kSignals);
    streaming->session.flushInterval(1000);
    std::vector<double> values(kSignals);
    for (unsigned k = 0; k < kStepsBefore; ++k) step(streaming->model, values, k);
    streaming->session.flush();  // lays the file out
    const Stopwatch watch;
    for (unsigned k = kStepsBefore; k < kStepsBefore + kSteps; ++k) {
      for (unsigned i = 0; i < kSignals; ++i) {
        values[i] += 0.25;
        mdlref_simtarget::zetVtioUpdateAccessor(streaming->model.signals()[i].handle, 0, k * 0.001 + i * apart,
                                                &values[i]);
      }
    }
    streaming->session.flush();
    state.SetIterationTime(watch.wallSeconds());
    const std::string failure = streaming->session.streamFailure();
    if (!failure.empty()) state.SkipWithError(failure.c_str());
    const Stopwatch closing;
    streaming->model.catalogue().closeSharedResources();
    state.counters["close_ms"] = closing.wallSeconds() * 1e3;
    streaming.reset();
    fs::remove(path);
  }
}

/// One step of 1000 signals: the median, and the longest but 0.1 %.
void streamedSteps(benchmark::State& state) {
  constexpr unsigned kSignals = 1000, kSteps = 20'000;
  const fs::path path = folder / "steps.qat";
  for (auto _ : state) {
    StreamingModel streaming(path, kSignals);
    streaming.session.flushInterval(static_cast<double>(state.range(0)) / 1000);
    std::vector<double> values(kSignals), times;
    for (unsigned k = 0; k < kSteps; ++k) {
      const Stopwatch watch;
      step(streaming.model, values, k);
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

BENCHMARK(floorWritePieces<sizeof(double)>)->Name("floorWritePieces")->Apply(sizes);
BENCHMARK(floorNoOpAndWrite)->Apply(sizes);
BENCHMARK(plainHdf5)->Apply(sizes);
BENCHMARK(stream)->Apply(sizes);
BENCHMARK(stream)->Name("streamBesideWrite")->Apply(sizes);

void structures(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "steps"})->Args({200, 20'000});
  job->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
}

BENCHMARK(floorWritePieces<kStructureBytes>)->Name("floorWriteStructures")->Apply(structures);
BENCHMARK(streamStructures)->Apply(structures);

BENCHMARK(streamStrays)
    ->ArgName("apart")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

// Every flush interval in milliseconds; the last one is longer than the run.
BENCHMARK(streamedSteps)
    ->ArgName("flushMs")
    ->Arg(10)
    ->Arg(1000)
    ->Arg(1'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1);

}  // namespace

int main(int argc, char** argv) { return vtio::benchmarks::runFileBenchmarks(argc, argv, folder); }
