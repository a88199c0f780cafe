/// @file
/// What reading parts of a Qat file costs beyond opening it: listing the signals, and reading one of many, each
/// beside raw reads of as many bytes from a file on the same file system. Files go to the folder given by --dir=PATH.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/file_benchmarks.hpp"
#include "benchmarks/stopwatch.hpp"
#include "platform/qat_parts.hpp"
#include "platform/sample_table.hpp"
#include "platform/text.hpp"

namespace {

namespace fs = std::filesystem;
using vtio::benchmarks::Stopwatch;

fs::path folder = ".";

/// A table of doubles that nobody keeps: the value of a column in a row is the row's number.
class CountedRows final : public vtu::SampleTable {
 public:
  explicit CountedRows(std::uint64_t rows) : rows_(rows) {}

  [[nodiscard]] std::uint64_t rows() const override { return rows_; }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    for (std::uint64_t i = 0; i < count; ++i) out[i] = 0.001 * static_cast<double>(first + i);
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    for (std::uint64_t i = 0; i < count; ++i, out += stride) {
      const auto value = static_cast<double>(first + i);
      for (std::size_t at = 0; at < bytes; at += sizeof value) std::memcpy(out + at, &value, sizeof value);
    }
  }

 private:
  std::uint64_t rows_;
};

std::string nameOf(std::uint64_t signal) { return "subsystem/block.signal " + std::to_string(signal); }

/// Files with as many signals and samples, made when they are first asked for and removed at the end.
class Files final {
 public:
  ~Files() {
    for (const auto& [size, path] : paths_) fs::remove(path);
  }

  const std::string& of(std::uint64_t signals, std::uint64_t samples) {
    std::string& path = paths_[{signals, samples}];
    if (path.empty()) {
      path = (folder / ("read." + std::to_string(signals) + "." + std::to_string(samples) + ".qat")).string();
      write(path, signals, samples);
    }
    return path;
  }

 private:
  static void write(const std::string& path, std::uint64_t signals, std::uint64_t samples) {
    const auto table = std::make_shared<CountedRows>(samples);
    vtu::qxCellArrayWrapper elements(1, signals);
    for (std::uint64_t i = 0; i < signals; ++i) {
      vtu::SampleColumn column;
      column.name = vtu::to_ustring(nameOf(i));
      column.offset = i * sizeof(double);
      column.count = samples;
      vtu::qxStructWrapper element({"Time", "Data"});
      element.set("Time", vtu::sampledTimes(table, 0, samples));
      element.set("Data", vtu::sampledArray(table, column));
      elements.set(i, std::move(element));
    }
    vtu::QatFileWrapper file(path, "w");
    if (file.put("signals", elements.get()) != 0 || file.close() != 0) throw std::runtime_error(qatLastError());
  }

  std::map<std::pair<std::uint64_t, std::uint64_t>, std::string> paths_;
};

Files files;

/// Measures `work` on an open file; opening it does not count.
template <typename Work>
void onOpenFile(benchmark::State& state, Work&& work) {
  const std::string& path =
      files.of(static_cast<std::uint64_t>(state.range(0)), static_cast<std::uint64_t>(state.range(1)));
  for (auto _ : state) {
    const vtu::QatFileWrapper file(path, "r");
    if (!file) return state.SkipWithError(qatLastError());
    const Stopwatch watch;
    if (!work(*file.get())) return state.SkipWithError("not what was written");
    state.SetIterationTime(watch.wallSeconds());
  }
}

void list(benchmark::State& state) {
  onOpenFile(state, [&state](QatFile& file) {
    const vtu::QatSamples samples(file);
    std::size_t found = 0;
    for (const std::uint32_t table : samples.tables()) found += samples.columns(table).size();
    return found == static_cast<std::size_t>(state.range(0));
  });
}

/// Times and values of the signal in the middle, found by its name.
void readSignal(benchmark::State& state) {
  const std::string wanted = nameOf(static_cast<std::uint64_t>(state.range(0)) / 2);
  onOpenFile(state, [&wanted](QatFile& file) {
    const vtu::QatSamples samples(file);
    const auto& columns = samples.columns(0);
    std::uint32_t column = 0;
    while (column < columns.size() && columns[column].name != wanted) ++column;
    std::vector<double> times(samples.rows(0)), values(samples.rows(0));
    samples.readTimes(0, 0, times.size(), times.data());
    samples.readColumn(0, column, 0, values.size(), values.data());
    return values.back() == static_cast<double>(values.size() - 1);
  });
}

/// Raw reads of the bytes that the work on the same numbers needs at least.
void floorOf(benchmark::State& state, std::size_t bytes) {
  const std::string path = (folder / "floor.bin").string();
  std::vector<char> data(bytes, 'x');
  const int writer = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  const bool written = ::write(writer, data.data(), bytes) == static_cast<ssize_t>(bytes);
  ::close(writer);
  for (auto _ : state) {
    const int file = ::open(path.c_str(), O_RDONLY);
    const Stopwatch watch;
    if (!written || ::read(file, data.data(), bytes) != static_cast<ssize_t>(bytes)) state.SkipWithError("cannot read");
    state.SetIterationTime(watch.wallSeconds());
    ::close(file);
  }
  fs::remove(path);
}

void floorList(benchmark::State& state) { floorOf(state, static_cast<std::size_t>(state.range(0)) * 64); }

void floorRead(benchmark::State& state) {
  floorOf(state, static_cast<std::size_t>(state.range(1)) * 2 * sizeof(double));
}

void listed(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "samples"})->Args({10'000, 1000})->Args({100'000, 10});
  job->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

void readSizes(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "samples"})->Args({10'000, 1000})->Args({1000, 100'000});
  job->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

BENCHMARK(floorList)->Apply(listed);
BENCHMARK(list)->Apply(listed);
BENCHMARK(floorRead)->Apply(readSizes);
BENCHMARK(readSignal)->Apply(readSizes);

}  // namespace

int main(int argc, char** argv) { return vtio::benchmarks::runFileBenchmarks(argc, argv, folder); }
