#include "results/sweep/run_files.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kMostRuns = 256;
constexpr std::size_t kMostParametersInNames = 3;

/// Tables of several files, numbered anew.
class RunFilesSource final : public SampleSource {
 public:
  std::size_t add(ResultsFile file) {
    files_.push_back(std::move(file));
    return files_.size() - 1;
  }

  [[nodiscard]] const ResultsFile& file(std::size_t index) const { return files_[index]; }

  /// The number here of a table of a file.
  std::uint32_t tableOf(std::size_t file, std::uint32_t table) {
    const auto [known, isNew] = numbers_.emplace(std::pair(file, table), static_cast<std::uint32_t>(tables_.size()));
    if (isNew) tables_.emplace_back(file, table);
    return known->second;
  }

  void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) override {
    source(table).readTimes(tables_[table].second, first, count, out);
  }
  void readBlock(std::uint32_t table, ElementType type, std::size_t firstColumn, std::size_t width,
                 std::uint64_t firstRow, std::uint64_t count, std::byte* out) override {
    source(table).readBlock(tables_[table].second, type, firstColumn, width, firstRow, count, out);
  }
  std::vector<std::string> readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                     std::uint64_t count) override {
    return source(table).readTexts(tables_[table].second, column, firstRow, count);
  }

 private:
  [[nodiscard]] SampleSource& source(std::uint32_t table) const { return files_[tables_[table].first].source(); }

  std::vector<ResultsFile> files_;
  std::vector<std::pair<std::size_t, std::uint32_t>> tables_;  // file, its number there
  std::map<std::pair<std::size_t, std::uint32_t>, std::uint32_t> numbers_;
};

bool hasResults(const RunTable& table, std::size_t run) { return std::filesystem::exists(table.fileOf(run)); }

// What is added to the name of a signal of each run.
std::vector<std::string> endings(const RunTable& table, const std::vector<std::size_t>& runs, RunNames names) {
  std::vector<std::string> result;
  const auto parameters = std::count_if(table.columns().begin(), table.columns().end(),
                                        [](const auto& one) { return one.role == RunColumn::Role::parameter; });
  std::set<std::string> different;
  for (const std::size_t run : runs) different.insert(table.parametersOf(run));
  const bool byParameters = names == RunNames::parameters && different.size() == runs.size() && parameters > 0 &&
                            static_cast<std::size_t>(parameters) <= kMostParametersInNames;
  result.reserve(runs.size());
  for (const std::size_t run : runs) {
    result.push_back(byParameters ? " (" + table.parametersOf(run) + ")" : "@" + std::to_string(run));
  }
  return result;
}

std::vector<std::size_t> runsWithResults(const RunTable& table, std::span<const std::size_t> runs) {
  std::vector<std::size_t> found;
  for (const std::size_t run : runs) {
    if (hasResults(table, run)) found.push_back(run);
  }
  if (found.empty()) throw ResultsError(table.path(), "none of the chosen runs left results");
  if (found.size() > kMostRuns) {
    throw ResultsError(table.path(), std::to_string(found.size()) + " runs are too many to open at once; choose " +
                                         std::to_string(kMostRuns) + " or fewer with --runs");
  }
  return found;
}

}  // namespace

ResultsFile openRuns(const RunTable& table, std::span<const std::size_t> runs, std::span<const std::string> patterns,
                     RunNames names) {
  const std::vector<std::size_t> found = runsWithResults(table, runs);
  const std::vector<std::string> behind = endings(table, found, names);
  auto source = std::make_unique<RunFilesSource>();
  for (const std::size_t run : found) source->add(ResultsFile(table.fileOf(run)));
  std::vector<SignalInfo> signals;
  std::set<std::pair<std::size_t, const SignalInfo*>> taken;
  const auto take = [&](std::span<const std::string> pattern) {
    for (std::size_t i = 0; i < found.size(); ++i) {
      for (const SignalInfo* signal : source->file(i).select(pattern)) {
        if (!taken.emplace(i, signal).second) continue;
        SignalInfo copy = *signal;
        copy.name += behind[i];
        copy.place.table = source->tableOf(i, copy.place.table);
        signals.push_back(std::move(copy));
      }
    }
  };
  if (patterns.empty()) take({});
  for (std::size_t i = 0; i < patterns.size(); ++i) take(patterns.subspan(i, 1));
  return ResultsFile(table.path(), std::move(signals), std::move(source));
}

std::string fileOfRun(const RunTable& table, std::uint64_t run) {
  if (run >= table.runs()) {
    throw ResultsError(table.path(), "no run " + std::to_string(run) + ": the sweep has runs 0 to " +
                                         std::to_string(table.runs() - 1));
  }
  if (!hasResults(table, run)) {
    throw ResultsError(table.path(),
                       "run " + std::to_string(run) + " is " + table.find("status").text(run) + " and left no results");
  }
  return table.fileOf(run);
}

ChosenFile openChosen(const std::string& path, const RunChoice& choice, std::span<const std::string> patterns,
                      RunNames names) {
  if (!RunTable::isSweep(path)) {
    if (choice.isGiven()) throw ResultsError(path, "is no sweep: --run and --runs choose runs of a sweep");
    return {ResultsFile(path), false};
  }
  const RunTable table(path);
  if (choice.run && !choice.conditions.empty()) throw ResultsError("--run and --runs exclude each other");
  if (choice.run) return {ResultsFile(fileOfRun(table, *choice.run)), false};
  if (choice.conditions.empty()) return {table.asResults(), false};
  return {openRuns(table, table.select(choice.conditions), patterns, names), true};
}

}  // namespace vtio::results
