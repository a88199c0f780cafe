#include "results/commands/diff.hpp"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "results/commands/plot.hpp"
#include "results/compare/file_comparison.hpp"
#include "results/export/json.hpp"
#include "results/file/results_error.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostPlotted = 12;

Json finite(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

Json deviationRecord(const ComparedSignal& signal, const Deviation& deviation) {
  return {{"time", finite(deviation.time)},
          {"cell", signal.cells[deviation.cell]},
          {"a", deviation.a},
          {"b", deviation.b},
          {"deviation", finite(deviation.size)}};
}

Json signalJson(const ComparedSignal& signal) {
  Json changes = Json::array();
  for (const PropertyChange& change : signal.changes) {
    changes.push_back({{"what", change.what}, {"a", change.a}, {"b", change.b}});
  }
  Json record = {{"name", signal.name}, {"equal", signal.isEqual()}, {"changes", std::move(changes)}};
  record["compared"] = signal.samples ? Json(signal.samples->compared) : Json(nullptr);
  record["deviating"] = signal.samples ? Json(signal.samples->deviating) : Json(nullptr);
  const bool deviates = signal.samples && signal.samples->deviating != 0;
  record["first"] = deviates ? deviationRecord(signal, signal.samples->first) : Json(nullptr);
  record["largest"] = deviates ? deviationRecord(signal, signal.samples->largest) : Json(nullptr);
  return record;
}

void printJson(const DiffSettings& settings, const FileComparison& result, const Console& console) {
  Json all = {{"a", settings.a},         {"b", settings.b},         {"equal", result.isEqual()},
              {"onlyInA", result.onlyA}, {"onlyInB", result.onlyB}, {"signals", Json::array()}};
  for (const ComparedSignal& signal : result.signals) all["signals"].push_back(signalJson(signal));
  console.out << jsonText(all) << '\n';
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

void printText(const DiffSettings& settings, const FileComparison& result, const Console& console) {
  for (const std::string& name : result.onlyA)
    console.out << "only in " << settings.a << ": " << printable(name) << '\n';
  for (const std::string& name : result.onlyB)
    console.out << "only in " << settings.b << ": " << printable(name) << '\n';
  std::size_t different = 0;
  for (const ComparedSignal& signal : result.signals) {
    if (signal.isEqual()) continue;
    ++different;
    printSignal(signal, console);
  }
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
  for (const ComparedSignal& signal : result.signals) {
    if (!signal.isEqual() && plot.signals.size() < kMostPlotted) plot.signals.push_back(signal.name);
  }
  if (!plot.signals.empty()) plotSignals(plot, console);
}

void checkTolerance(const char* option, double value) {
  if (!(value >= 0) || std::isinf(value)) {
    throw ResultsError(std::string(option) + ": " + numberText(value) + " is no tolerance");
  }
}

}  // namespace

int diffFiles(const DiffSettings& settings, const Console& console) {
  checkTolerance("--rtol", settings.rtol);
  checkTolerance("--atol", settings.atol);
  checkTolerance("--time-tol", settings.timeTolerance);
  ComparisonSettings comparison{Tolerances({settings.rtol, settings.atol}), settings.timeTolerance};
  if (!settings.tolerances.empty()) comparison.tolerances.addFile(settings.tolerances);
  (void)pictureFormat(settings.plot, {settings.a, settings.b});  // refused before the work
  const ResultsFile a(settings.a);
  const ResultsFile b(settings.b);
  const FileComparison result = compareFiles(a, b, settings.patterns, comparison, console.job);
  if (settings.json) {
    printJson(settings, result, console);
  } else {
    printText(settings, result, console);
  }
  if (!settings.plot.empty()) plotDifferent(settings, result, console);
  return result.isEqual() ? kDone : kNo;
}

}  // namespace vtio::results
