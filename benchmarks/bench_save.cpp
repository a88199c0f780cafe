/// @file
/// What saving recorded signals to a Qat file costs, compared to raw write() of the same values, one call per signal,
/// on the same file system. Reports the bytes of the file that one sample takes. Files go to the folder given by
/// --dir=PATH.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/file_benchmarks.hpp"
#include "benchmarks/logged_model.hpp"
#include "benchmarks/stopwatch.hpp"
#include "platform/text.hpp"
#include "recorders/recording_session.hpp"

namespace {

namespace fs = std::filesystem;
using vtio::benchmarks::LoggedModel;
using vtio::benchmarks::LoggedSignal;
using vtio::benchmarks::Stopwatch;

fs::path folder = ".";

/// A model with all its samples recorded.
struct RecordedModel {
  RecordedModel(unsigned signals, unsigned samples) : session(model.catalogue()) {
    for (unsigned i = 0; i < signals; ++i) {
      const LoggedSignal& signal = model.addScalar(1);
      session.attach(*signal.descriptor, *signal.accessor);
    }
    for (unsigned step = 0; step < samples; ++step) {
      const double time = step * 0.001;
      double value = step;
      for (const LoggedSignal& signal : model.signals()) {
        value += 0.25;
        signal.accessor->update(&time, &value, 0);
      }
    }
  }

  LoggedModel model;
  vtio::recorders::RecordingSession session;
};

void writeAll(int file, const void* data, std::size_t size) {
  const auto* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written <= 0) {
      throw std::runtime_error(std::string("write: ") + std::strerror(errno));
    }
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
}

/// Processor time of one iteration: what is left when the disk and other programs are not counted.
void reportCpu(benchmark::State& state, double seconds) {
  state.counters["cpu_seconds"] = benchmark::Counter(seconds, benchmark::Counter::kAvgIterations);
}

void floorWrite(benchmark::State& state) {
  const auto samples = static_cast<std::size_t>(state.range(1));
  const std::vector<std::vector<double>> values(static_cast<std::size_t>(state.range(0)),
                                                std::vector<double>(samples, 1.5));
  const fs::path path = folder / "floor.bin";
  double cpuSeconds = 0;
  for (auto _ : state) {
    const Stopwatch watch;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (file < 0) {
      state.SkipWithError(("cannot create " + path.string()).c_str());
      return;
    }
    for (const std::vector<double>& signal : values) {
      writeAll(file, signal.data(), signal.size() * sizeof(double));
    }
    ::close(file);
    state.SetIterationTime(watch.wallSeconds());
    cpuSeconds += watch.cpuSeconds();
    fs::remove(path);
  }
  reportCpu(state, cpuSeconds);
}

void save(benchmark::State& state) {
  RecordedModel recorded(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
  const double samples = static_cast<double>(state.range(0)) * static_cast<double>(state.range(1));
  const fs::path path = folder / "saved.qat";
  double size = 0;
  double cpuSeconds = 0;
  for (auto _ : state) {
    const Stopwatch watch;
    recorded.model.catalogue().saveDatasetsToQatFile(vtu::to_ustring(path.string()));
    state.SetIterationTime(watch.wallSeconds());
    cpuSeconds += watch.cpuSeconds();
    size = static_cast<double>(fs::file_size(path));
    fs::remove(path);
    if (size < samples * sizeof(double)) {
      state.SkipWithError("the file is smaller than the values in it");
      return;
    }
  }
  reportCpu(state, cpuSeconds);
  state.counters["bytes_per_sample"] = size / samples;
}

void bothSizes(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "samples"})->Args({1000, 20'000})->Args({10'000, 1000});
  job->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
}

BENCHMARK(floorWrite)->Apply(bothSizes);
BENCHMARK(save)->Apply(bothSizes);

}  // namespace

int main(int argc, char** argv) { return vtio::benchmarks::runFileBenchmarks(argc, argv, folder); }
