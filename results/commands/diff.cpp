#include "results/commands/diff.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <ostream>
#include <utility>

#include "results/commands/plot.hpp"
#include "results/compare/file_comparison.hpp"
#include "results/export/json.hpp"
#include "results/file/results_error.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostPlotted = 12;

Json deviationRecord(const ComparedSignal& signal, const Deviation& deviation) {
  return {{"time", finiteOrNull(deviation.time)},
          {"cell", signal.cells[deviation.cell]},
          {"a", deviation.a},
          {"b", deviation.b},
          {"deviation", finiteOrNull(deviation.size)}};
}

Json changesJson(const std::vector<PropertyChange>& changes) {
  Json list = Json::array();
  for (const PropertyChange& change : changes) {
    list.push_back({{"what", change.what}, {"a", change.a}, {"b", change.b}});
  }
  return list;
}

Json signalJson(const ComparedSignal& signal) {
  Json record = {{"name", signal.name}, {"equal", signal.isEqual()}, {"changes", changesJson(signal.changes)}};
  record["compared"] = signal.samples ? Json(signal.samples->compared) : Json(nullptr);
  record["deviating"] = signal.samples ? Json(signal.samples->deviating) : Json(nullptr);
  const bool deviates = signal.samples && signal.samples->deviating != 0;
  record["first"] = deviates ? deviationRecord(signal, signal.samples->first) : Json(nullptr);
  record["largest"] = deviates ? deviationRecord(signal, signal.samples->largest) : Json(nullptr);
  return record;
}

Json comparisonJson(Json record, const FileComparison& result) {
  record["onlyInA"] = result.onlyA;
  record["onlyInB"] = result.onlyB;
  record["signals"] = Json::array();
  for (const ComparedSignal& signal : result.signals) record["signals"].push_back(signalJson(signal));
  return record;
}

std::string deviationText(const ComparedSignal& signal, const Deviation& deviation) {
  const std::string cell = signal.cells[deviation.cell].substr(signal.name.size());
  return (cell.empty() ? "" : cell + " ") + deviation.a + " and " + deviation.b + " at " + numberText(deviation.time) +
         " s" + (std::isfinite(deviation.size) ? " (" + numberText(deviation.size) + " apart)" : "");
}

void printSignal(const ComparedSignal& signal, const Console& console) {
  console.out << console.style.bold(printable(signal.name)) << '\n';
  const auto line = [&](const std::string& text) { console.out << "  " << printable(text) << '\n'; };
  for (const PropertyChange& change : signal.changes) {
    line(change.what + ": '" + change.a + "' became '" + change.b + "'");
  }
  if (!signal.samples) line("the values cannot be compared");
  if (!signal.samples || signal.samples->deviating == 0) return;
  line(std::to_string(signal.samples->deviating) + " of " + std::to_string(signal.samples->compared) +
       " values deviate");
  line("first: " + deviationText(signal, signal.samples->first));
  line("largest: " + deviationText(signal, signal.samples->largest));
}

void printDifferences(const ComparedNames& names, const FileComparison& result, const Console& console) {
  for (const std::string& name : result.onlyA) console.out << "only in " << names.a << ": " << printable(name) << '\n';
  for (const std::string& name : result.onlyB) console.out << "only in " << names.b << ": " << printable(name) << '\n';
  for (const ComparedSignal& signal : result.signals) {
    if (!signal.isEqual()) printSignal(signal, console);
  }
}

void printText(const ComparedNames& names, const FileComparison& result, const Console& console) {
  printDifferences(names, result, console);
  const auto different = static_cast<std::size_t>(
      std::count_if(result.signals.begin(), result.signals.end(), [](const auto& one) { return !one.isEqual(); }));
  const std::size_t equal = result.signals.size() - different;
  const std::string summary = std::to_string(equal) + " equal, " + std::to_string(different) + " different, " +
                              std::to_string(result.onlyA.size() + result.onlyB.size()) + " in one file only";
  console.out << (result.isEqual() ? console.style.green(summary) : console.style.red(summary)) << '\n';
}

void plotDifferent(const DiffSettings& settings, const FileComparison& result, const Console& console) {
  PlotSettings plot;
  plot.file = settings.a;
  plot.compare = settings.b;
  plot.output = settings.plot;
  plot.page = settings.page;
  for (const ComparedSignal& signal : result.signals) {
    if (!signal.isEqual() && plot.signals.size() < kMostPlotted) plot.signals.push_back(signal.name);
  }
  if (!plot.signals.empty()) plotSignals(plot, console);
}

/// Two sweeps, run by run.
class SweepDiff {
 public:
  SweepDiff(const DiffSettings& settings, const ComparisonSettings& comparison, const Console& console)
      : settings_(settings), comparison_(comparison), console_(console), a_(settings.a), b_(settings.b) {}

  int run() {
    if (!settings_.plot.empty()) throw ResultsError("--plot is for two runs; choose them with --run");
    const std::vector<std::size_t> runs = a_.select(settings_.runs.conditions);
    if (settings_.runs.conditions.empty() && a_.runs() != b_.runs()) {
      note({"number of runs", std::to_string(a_.runs()), std::to_string(b_.runs())});
    }
    for (const std::size_t run : runs) {
      console_.job.step(static_cast<double>(equal_ + different_) / static_cast<double>(runs.size()));
      if (run < b_.runs()) compareRun(run);
    }
    if (settings_.json) {
      const Json all = {
          {"a", settings_.a}, {"b", settings_.b}, {"equal", isEqual()}, {"changes", changes_}, {"runs", runs_}};
      console_.out << jsonText(all) << '\n';
    } else {
      const std::string summary = std::to_string(equal_) + " runs equal, " + std::to_string(different_) + " different";
      console_.out << (isEqual() ? console_.style.green(summary) : console_.style.red(summary)) << '\n';
    }
    return isEqual() ? kDone : kNo;
  }

 private:
  [[nodiscard]] bool isEqual() const { return different_ == 0 && changes_.empty(); }

  void note(const PropertyChange& change) {
    changes_.push_back(changesJson({change})[0]);
    if (!settings_.json) console_.out << change.what << ": " << change.a << " became " << change.b << '\n';
  }

  // What differs between the rows of the tables; how long a run took is not compared.
  [[nodiscard]] std::vector<PropertyChange> changesOf(std::size_t run) const {
    std::vector<PropertyChange> changes;
    if (a_.parametersOf(run) != b_.parametersOf(run)) {
      changes.push_back({"parameters", a_.parametersOf(run), b_.parametersOf(run)});
    }
    const std::string before = a_.find("status").text(run);
    const std::string after = b_.find("status").text(run);
    if (before != after) changes.push_back({"status", before, after});
    return changes;
  }

  void compareRun(std::size_t run) {
    std::vector<PropertyChange> changes = changesOf(run);
    const bool hasA = std::filesystem::exists(a_.fileOf(run));
    const bool hasB = std::filesystem::exists(b_.fileOf(run));
    if (hasA != hasB) changes.push_back({"results", hasA ? "there" : "none", hasB ? "there" : "none"});
    FileComparison result;
    if (hasA && hasB) {
      result = compareFiles(ResultsFile(a_.fileOf(run)), ResultsFile(b_.fileOf(run)), settings_.patterns, comparison_,
                            {{}, console_.job.interrupted});
    }
    const bool same = changes.empty() && result.isEqual();
    ++(same ? equal_ : different_);
    if (settings_.json) {
      runs_.push_back(comparisonJson({{"run", run}, {"equal", same}, {"changes", changesJson(changes)}}, result));
    } else if (!same) {
      console_.out << console_.style.bold("run " + std::to_string(run) + ", " + printable(a_.parametersOf(run)))
                   << '\n';
      for (const PropertyChange& change : changes) {
        console_.out << "  " << printable(change.what + ": '" + change.a + "' became '" + change.b + "'") << '\n';
      }
      printDifferences({settings_.a, settings_.b}, result, console_);
    }
  }

  const DiffSettings& settings_;
  const ComparisonSettings& comparison_;
  const Console& console_;
  RunTable a_;
  RunTable b_;
  std::size_t equal_ = 0;
  std::size_t different_ = 0;
  Json changes_ = Json::array();
  Json runs_ = Json::array();
};

// The files that are compared: of sweeps those of the chosen run.
DiffSettings chosenFiles(DiffSettings settings) {
  if (!settings.runs.run) {
    throw ResultsError("a sweep is compared with a sweep; choose one of its runs with --run");
  }
  if (!settings.runs.conditions.empty()) throw ResultsError("--run and --runs exclude each other");
  for (std::string* file : {&settings.a, &settings.b}) {
    if (RunTable::isSweep(*file)) *file = fileOfRun(RunTable(*file), *settings.runs.run);
  }
  return settings;
}

void checkTolerance(const char* option, double value) {
  if (!(value >= 0) || std::isinf(value)) {
    throw ResultsError(std::string(option) + ": " + numberText(value) + " is no tolerance");
  }
}

}  // namespace

void printComparison(const ComparedNames& names, const FileComparison& result, bool json, const Console& console) {
  if (!json) return printText(names, result, console);
  const Json all = comparisonJson({{"a", names.a}, {"b", names.b}, {"equal", result.isEqual()}}, result);
  console.out << jsonText(all) << '\n';
}

int diffFiles(const DiffSettings& given, const Console& console) {
  DiffSettings settings = given;
  checkTolerance("--rtol", settings.rtol);
  checkTolerance("--atol", settings.atol);
  checkTolerance("--time-tol", settings.timeTolerance);
  ComparisonSettings comparison{Tolerances({settings.rtol, settings.atol}), settings.timeTolerance};
  if (!settings.tolerances.empty()) comparison.tolerances.addFile(settings.tolerances);
  const bool hasSweep = RunTable::isSweep(settings.a) || RunTable::isSweep(settings.b);
  if (!hasSweep && settings.runs.isGiven()) throw ResultsError("--run and --runs choose runs of a sweep");
  if (hasSweep && !settings.runs.run && RunTable::isSweep(settings.a) && RunTable::isSweep(settings.b)) {
    return SweepDiff(settings, comparison, console).run();
  }
  if (hasSweep) settings = chosenFiles(std::move(settings));
  (void)pictureFormat(settings.plot, {settings.a, settings.b});  // refused before the work
  const ResultsFile a(settings.a);
  const ResultsFile b(settings.b);
  const FileComparison result = compareFiles(a, b, settings.patterns, comparison, console.job);
  printComparison({settings.a, settings.b}, result, settings.json, console);
  if (!settings.plot.empty()) plotDifferent(settings, result, console);
  return result.isEqual() ? kDone : kNo;
}

}  // namespace vtio::results
