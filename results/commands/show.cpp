#include "results/commands/show.hpp"

#include <algorithm>
#include <ostream>
#include <span>
#include <vector>

#include "results/export/json.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/terminal/chart.hpp"
#include "results/terminal/text_table.hpp"
#include "results/values/number_text.hpp"
#include "results/values/shown_value.hpp"
#include "results/values/statistics.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kFew = 10;

/// The rows that are shown: [begin, headEnd) and [tailBegin, end).
struct ShownRows {
  RowRange head;
  RowRange tail;

  std::uint64_t leftOut() const { return tail.begin - head.end; }
};

ShownRows chooseRows(const ShowSettings& settings, RowRange rows) {
  const bool isShort = !settings.json && rows.count() > 2 * kFew;
  std::uint64_t head = settings.head.value_or(0);
  std::uint64_t tail = settings.tail.value_or(0);
  if (!settings.head && !settings.tail) {
    head = isShort ? kFew : rows.count();
    tail = isShort ? kFew : 0;
  }
  head = std::min(head, rows.count());
  tail = std::min(tail, rows.count() - head);
  return {{rows.begin, rows.begin + head}, {rows.end - tail, rows.end}};
}

Series readShown(const ResultsFile& file, const SignalInfo& signal, const ShownRows& rows) {
  Series series = readRows(file, signal, rows.head);
  const Series tail = readRows(file, signal, rows.tail);
  series.times.insert(series.times.end(), tail.times.begin(), tail.times.end());
  series.bytes.insert(series.bytes.end(), tail.bytes.begin(), tail.bytes.end());
  series.texts.insert(series.texts.end(), tail.texts.begin(), tail.texts.end());
  return series;
}

void printFacts(const Axis& axis, const SignalInfo& signal, const Statistics& statistics, const Console& console) {
  const auto fact = [&](const char* what, const std::string& text) {
    if (!text.empty()) console.out << console.style.dim(what) << ' ' << printable(text) << '\n';
  };
  const std::string unit = signal.unit.empty() ? "" : " " + signal.unit;
  const std::string seconds = axis.unit.empty() ? "" : " " + axis.unit;
  console.out << console.style.bold(printable(signal.name)) << '\n';
  std::string type = signal.typeName + (signal.type.isComplex ? " complex" : "");
  if (!signal.dimensions.empty()) type += " " + dimensionsText(signal.dimensions);
  fact("type         ", type);
  fact("unit         ", signal.unit);
  fact("interpolation", signal.interpolation);
  std::string path;
  for (const std::string& level : signal.blockPath) path += (path.empty() ? "" : "|") + level;
  if (!path.empty()) fact("block path   ", path + ":" + std::to_string(signal.port));
  fact("samples      ", std::to_string(statistics.samples));
  if (signal.place.count != 0) {
    fact("span         ", numberText(signal.first) + " to " + numberText(signal.last) + seconds);
  }
  if (statistics.samples > 1) fact("largest gap  ", numberText(statistics.largestGap) + seconds);
  if (statistics.numbers != 0) {
    fact("min          ", numberText(statistics.min) + unit);
    fact("max          ", numberText(statistics.max) + unit);
    fact("mean         ", numberText(statistics.mean) + unit);
  }
  if (statistics.numbers != 0 || statistics.nans != 0) fact("NaNs         ", std::to_string(statistics.nans));
}

void printSparkline(const ResultsFile& file, const SignalInfo& signal, RowRange rows, const Console& console) {
  constexpr std::uint64_t kMostRead = 100'000;  // a glance is enough
  const std::uint64_t shown = std::min<std::uint64_t>(rows.count(), kMostRead);
  if (!console.style.isTerminal || shown == 0 || signal.type.id == ElementClass::text || signal.width() == 0) return;
  const Series series = readRows(file, signal, {rows.end - shown, rows.end});
  const ShownValues values(signal);
  std::vector<double> numbers;
  for (std::size_t i = 0; i < series.times.size(); ++i) numbers.push_back(values.number(series.view().sample(i), 0));
  const std::size_t width = std::clamp<std::size_t>(console.style.width, 10, 80) - 2;
  console.out << console.style.series(0, sparkline(numbers, width)) << '\n';
}

void printValues(const ResultsFile& file, const SignalInfo& signal, const Series& series, const ShownRows& rows,
                 const Console& console) {
  const std::string unit = signal.unit.empty() ? "" : " [" + signal.unit + "]";
  std::vector<TextTable::Column> columns = {{file.axis().title(), TextTable::Align::right}};
  const auto align = isNumber(signal.type.id) && !signal.labels ? TextTable::Align::right : TextTable::Align::left;
  std::vector<std::string> names = cellNames(signal);
  for (const std::string& name : names) {
    // Of the elements only the indices: the name is above.
    const std::string index = name.substr(signal.name.size());
    columns.push_back({(index.empty() ? "value" : index) + unit, align});
  }
  TextTable table(std::move(columns));
  const ShownValues values(signal);
  for (std::size_t i = 0; i < series.times.size(); ++i) {
    if (i == rows.head.count() && rows.leftOut() != 0 && i != 0) {
      std::vector<std::string> gap(names.size() + 1, "…");
      table.add(std::move(gap));
    }
    std::vector<std::string> cells = {numberText(series.times[i])};
    for (std::size_t cell = 0; cell < names.size(); ++cell) {
      std::string text;
      appendPlain(text, values(series.view().sample(i), cell));
      cells.push_back(std::move(text));
    }
    table.add(std::move(cells));
  }
  table.print(console.out, console.style);
}

// The signal of that name, or the one that matches it as a pattern.
const SignalInfo& oneSignal(const ResultsFile& file, const std::string& name) {
  if (file.lookUp(name) != nullptr || name.find_first_of("*?") == std::string::npos) return file.find(name);
  const auto matching = file.select(std::span(&name, 1));
  if (matching.size() == 1) return *matching.front();
  throw ResultsError(file.path(), "'" + name + "' matches " + std::to_string(matching.size()) + " signals, '" +
                                      matching[0]->name + "' and '" + matching[1]->name +
                                      "' among them; show takes one");
}

}  // namespace

int showSignal(const ShowSettings& settings, const Console& console) {
  const TimeRange range = settings.time.range();
  const ChosenFile chosen = openChosen(settings.file, settings.runs, std::span(&settings.signal, 1));
  const ResultsFile& file = chosen.file;
  const SignalInfo& signal = oneSignal(file, chosen.isSelection ? "*" : settings.signal);
  const RowRange rows = rowsIn(file.source(), signal.place.table, rowsOf(signal), range);
  const ShownRows shown = chooseRows(settings, rows);
  const Series series = readShown(file, signal, shown);
  if (settings.json) {
    std::string text;
    appendJsonSignal(text, signal, series.view(), false);
    console.out << text << '\n';
    return kDone;
  }
  printFacts(file.axis(), signal, statisticsOf(file, signal, range), console);
  printSparkline(file, signal, rows, console);
  console.out << '\n';
  printValues(file, signal, series, shown, console);
  return kDone;
}

}  // namespace vtio::results
