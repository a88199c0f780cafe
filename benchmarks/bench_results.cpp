/// @file
/// What the results library costs beside the least work that gives the same: listing, one signal, CSV, SQLite,
/// comparing, reducing. Files go to the folder given by --dir=PATH.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/file_benchmarks.hpp"
#include "platform/qat_parts.hpp"
#include "results/commands/diff.hpp"
#include "results/commands/export_signals.hpp"
#include "results/commands/ls.hpp"
#include "results/file/results_file.hpp"
#include "results/values/reduction.hpp"
#include "results/values/series.hpp"
#include "tests/results/example_file.hpp"

namespace {

namespace fs = std::filesystem;
using namespace vtio::results;

fs::path folder = ".";

/// Files of doubles, made when they are first asked for and removed at the end.
class Files final {
 public:
  ~Files() {
    for (const auto& [size, path] : paths_) fs::remove(path);
  }

  const std::string& of(const benchmark::State& state) {
    const auto size = std::pair(state.range(0), state.range(1));
    std::string& path = paths_[size];
    if (path.empty()) {
      path = (folder / ("results." + std::to_string(size.first) + "." + std::to_string(size.second) + ".qat")).string();
      vtio::tests::writeManySignals(path, static_cast<std::size_t>(size.first), static_cast<std::size_t>(size.second));
    }
    return path;
  }

 private:
  std::map<std::pair<std::int64_t, std::int64_t>, std::string> paths_;
};

Files files;

void listCommand(benchmark::State& state) {
  LsSettings settings;
  settings.file = files.of(state);
  for (auto _ : state) {
    std::ostringstream out;
    if (listSignals(settings, Console{out, {}, {}}) != kDone) state.SkipWithError("not done");
    benchmark::DoNotOptimize(out.str());
  }
}

/// A raw read of the first `bytes` of the file.
void floorRead(benchmark::State& state, std::size_t bytes) {
  const std::string& path = files.of(state);
  std::vector<char> data(std::min<std::size_t>(bytes, fs::file_size(path)));
  for (auto _ : state) {
    const int file = ::open(path.c_str(), O_RDONLY);
    if (::read(file, data.data(), data.size()) != static_cast<ssize_t>(data.size())) state.SkipWithError("cannot read");
    ::close(file);
  }
}

/// All of the file: a small one consists of what is listed.
void floorListCommand(benchmark::State& state) { floorRead(state, fs::file_size(files.of(state))); }

void oneSignal(benchmark::State& state) {
  const std::string name = "s" + std::to_string(state.range(0) / 2);
  for (auto _ : state) {
    const ResultsFile file(files.of(state));
    const Series series = readSeries(file, file.find(name));
    if (series.times.size() != static_cast<std::size_t>(state.range(1))) state.SkipWithError("not all samples");
  }
}

void floorOneSignal(benchmark::State& state) {
  floorRead(state, static_cast<std::size_t>(state.range(1)) * 2 * sizeof(double));
}

void exportCsv(benchmark::State& state) {
  ExportSettings settings;
  settings.file = files.of(state);
  settings.output = (folder / "results.csv").string();
  for (auto _ : state) {
    std::ostringstream out;
    if (exportSignals(settings, Console{out, {}, {}}) != kDone) state.SkipWithError("not done");
  }
  fs::remove(settings.output);
}

/// All samples of a file by signal, in memory.
std::vector<std::vector<double>> columnsOf(const std::string& path) {
  const ResultsFile file(path);
  std::vector<std::vector<double>> columns;
  for (const SignalInfo& signal : file.signals()) {
    const Series series = readSeries(file, signal);
    const auto* values = reinterpret_cast<const double*>(series.bytes.data());
    columns.emplace_back(values, values + series.times.size());
  }
  return columns;
}

/// The same values, in memory already, as text into one buffer that is used again and again.
void floorDigits(benchmark::State& state) {
  const std::vector<std::vector<double>> columns = columnsOf(files.of(state));
  std::vector<char> buffer(columns.size() * 32);
  for (auto _ : state) {
    for (std::size_t row = 0; row < columns.front().size(); ++row) {
      char* at = buffer.data();
      for (const auto& column : columns) {
        at = std::to_chars(at, buffer.data() + buffer.size(), column[row]).ptr;
        *at++ = ',';
      }
      benchmark::ClobberMemory();
    }
  }
}

void exportSqlite(benchmark::State& state) {
  ExportSettings settings;
  settings.file = files.of(state);
  settings.output = (folder / "results.sqlite").string();
  for (auto _ : state) {
    std::ostringstream out;
    if (exportSignals(settings, Console{out, {}, {}}) != kDone) state.SkipWithError("not done");
  }
  fs::remove(settings.output);
}

/// A table of doubles, empty.
std::string insertInto(sqlite3* database, std::size_t columns) {
  std::string create = "CREATE TABLE t (c0 REAL";
  std::string insert = "INSERT INTO t VALUES (?";
  for (std::size_t i = 1; i < columns; ++i) {
    create += ", c" + std::to_string(i) + " REAL";
    insert += ", ?";
  }
  const std::string all = "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; " + create + "); BEGIN";
  return sqlite3_exec(database, all.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK ? insert + ")" : "";
}

/// The same values, in memory already, put into one table by one prepared statement, row after row, in one transaction.
void floorInsert(benchmark::State& state) {
  const std::vector<std::vector<double>> columns = columnsOf(files.of(state));
  const std::string path = (folder / "floor.sqlite").string();
  for (auto _ : state) {
    fs::remove(path);
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_open(path.c_str(), &database) != SQLITE_OK) state.SkipWithError("cannot open");
    const std::string insert = insertInto(database, columns.size() + 1);
    bool isDone = sqlite3_prepare_v2(database, insert.c_str(), -1, &statement, nullptr) == SQLITE_OK;
    for (std::size_t row = 0; isDone && row < columns.front().size(); ++row) {
      sqlite3_bind_double(statement, 1, static_cast<double>(row) * 0.001);
      int place = 1;
      for (const auto& column : columns) sqlite3_bind_double(statement, ++place, column[row]);
      isDone = sqlite3_step(statement) == SQLITE_DONE && sqlite3_reset(statement) == SQLITE_OK;
    }
    sqlite3_finalize(statement);
    if (!isDone || sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) {
      state.SkipWithError("not done");
    }
    sqlite3_close(database);
  }
  fs::remove(path);
}

void diffEqual(benchmark::State& state) {
  DiffSettings settings;
  settings.a = files.of(state);
  settings.b = (folder / "results.copy.qat").string();
  fs::copy_file(settings.a, settings.b, fs::copy_options::overwrite_existing);
  for (auto _ : state) {
    std::ostringstream out;
    if (diffFiles(settings, Console{out, {}, {}}) != kDone) state.SkipWithError("not equal");
  }
  fs::remove(settings.b);
}

/// Reads all times and values of a file through the file service, in pieces of some megabytes.
void readAll(const std::string& path, std::uint64_t width) {
  const vtu::QatFileWrapper file(path, "r");
  const vtu::QatSamples samples(*file.get());
  const std::uint64_t rows = samples.rows(0);
  constexpr std::uint64_t kAtOnce = 4096;
  std::vector<double> times(kAtOnce);
  std::vector<double> values(kAtOnce * width);
  for (std::uint64_t row = 0; row < rows; row += kAtOnce) {
    const std::uint64_t count = std::min(kAtOnce, rows - row);
    samples.readTimes(0, row, count, times.data());
    samples.readBlock(0, "double", 0, width, row, count, values.data());
    benchmark::ClobberMemory();
  }
}

void floorReadBoth(benchmark::State& state) {
  const std::string& a = files.of(state);
  const std::string b = (folder / "results.copy.qat").string();
  fs::copy_file(a, b, fs::copy_options::overwrite_existing);
  for (auto _ : state) {
    readAll(a, static_cast<std::uint64_t>(state.range(0)));
    readAll(b, static_cast<std::uint64_t>(state.range(0)));
  }
  fs::remove(b);
}

std::vector<double> wave(std::int64_t points) {
  std::vector<double> values(static_cast<std::size_t>(points));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = std::sin(static_cast<double>(i) * 0.01);
  return values;
}

void reduce(benchmark::State& state) {
  const std::vector<double> values = wave(state.range(0));
  for (auto _ : state) {
    MinMaxReducer reducer(0, static_cast<double>(values.size()), 1200);
    for (std::size_t i = 0; i < values.size(); ++i) reducer.add(static_cast<double>(i), values[i]);
    benchmark::DoNotOptimize(reducer.finish());
  }
}

void floorMinMax(benchmark::State& state) {
  const std::vector<double> values = wave(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(std::minmax_element(values.begin(), values.end()));
}

void listed(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "samples"})->Args({10'000, 10})->Unit(benchmark::kMillisecond)->UseRealTime();
}

void large(benchmark::internal::Benchmark* job) {
  job->ArgNames({"signals", "samples"})->Args({200, 100'000})->Unit(benchmark::kMillisecond)->UseRealTime();
}

void points(benchmark::internal::Benchmark* job) {
  job->ArgNames({"points"})->Args({1'000'000})->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(floorListCommand)->Apply(listed);
BENCHMARK(listCommand)->Apply(listed);
BENCHMARK(floorOneSignal)->Apply(large);
BENCHMARK(oneSignal)->Apply(large);
BENCHMARK(floorDigits)->Apply(large)->Iterations(1);
BENCHMARK(exportCsv)->Apply(large)->Iterations(1);
BENCHMARK(floorInsert)->Apply(large)->Iterations(1);
BENCHMARK(exportSqlite)->Apply(large)->Iterations(1);
BENCHMARK(floorReadBoth)->Apply(large)->Iterations(1);
BENCHMARK(diffEqual)->Apply(large)->Iterations(1);
BENCHMARK(floorMinMax)->Apply(points);
BENCHMARK(reduce)->Apply(points);

}  // namespace

int main(int argc, char** argv) { return vtio::benchmarks::runFileBenchmarks(argc, argv, folder); }
