#include "results/compare/file_comparison.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "results/compare/property_changes.hpp"
#include "results/file/results_error.hpp"
#include "results/rows/table_cursor.hpp"
#include "results/signals/near_names.hpp"
#include "results/values/table_block.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kBatchBytes = std::uint64_t{128} << 20U;  // of both files

struct Pair {
  const SignalInfo* a;
  const SignalInfo* b;
  std::size_t result;  // place in FileComparison::signals
};

bool canBeCompared(const SignalInfo& a, const SignalInfo& b) {
  const bool bothTexts = (a.type.id == ElementClass::text) == (b.type.id == ElementClass::text);
  return bothTexts && a.dimensions == b.dimensions && a.type.isComplex == b.type.isComplex;
}

// Times that were looked at last; most signals of a table share them.
using CheckedTimes = std::span<const double>;

void checkTimes(const ResultsFile& file, const SignalInfo& signal, const SeriesView& series, CheckedTimes& checked) {
  if (series.times.data() == checked.data() && series.size() == checked.size()) return;
  for (std::size_t i = 1; i < series.size(); ++i) {
    if (series.times[i - 1] <= series.times[i]) continue;
    throwTimeGoesBack(file, signal, signal.place.begin + i, series.times[i - 1], series.times[i]);
  }
  checked = series.times;
}

std::uint64_t bytesOf(const Pair& pair) {
  const auto bytes = [](const SignalInfo& signal) {
    return signal.place.count * (signal.width() * std::max<std::size_t>(signal.type.bytes(), 1));
  };
  return bytes(*pair.a) + bytes(*pair.b);
}

/// Reads and compares pairs whose signals stand in one table of each file.
class TablePair {
 public:
  TablePair(const ResultsFile& a, const ResultsFile& b, const ComparisonSettings& settings, FileComparison& result)
      : a_(a), b_(b), settings_(settings), result_(result) {}

  /// Compares pairs [begin, end) whole.
  void compare(const std::vector<Pair>& pairs, std::size_t begin, std::size_t end) {
    std::vector<const SignalInfo*> inA;
    std::vector<const SignalInfo*> inB;
    for (std::size_t i = begin; i < end; ++i) {
      inA.push_back(pairs[i].a);
      inB.push_back(pairs[i].b);
    }
    const TableBlock blockA = read(a_, inA);
    const TableBlock blockB = read(b_, inB);
    CheckedTimes checkedA;
    CheckedTimes checkedB;
    std::vector<SeriesComparer> sameTimes;
    std::vector<std::size_t> places;  // of these
    std::size_t longest = 0;
    for (std::size_t i = begin; i < end; ++i) {
      const SeriesView seriesA = blockA.series(i - begin);
      const SeriesView seriesB = blockB.series(i - begin);
      checkTimes(a_, *pairs[i].a, seriesA, checkedA);
      checkTimes(b_, *pairs[i].b, seriesB, checkedB);
      SeriesComparer comparer({*pairs[i].a, seriesA}, {*pairs[i].b, seriesB}, settings_.tolerances.of(pairs[i].a->name),
                              settings_.timeTolerance);
      if (comparer.haveSameTimes()) {
        places.push_back(pairs[i].result);
        sameTimes.push_back(std::move(comparer));
        longest = std::max(longest, seriesA.size());
        continue;
      }
      comparer.compareAll();
      result_.signals[pairs[i].result].samples = comparer.result();
    }
    compareSideBySide(sameTimes, longest);
    for (std::size_t i = 0; i < places.size(); ++i) result_.signals[places[i]].samples = sameTimes[i].result();
  }

 private:
  // Neighbouring signals share cache lines: all of them over a few rows, then the next rows.
  static void compareSideBySide(std::vector<SeriesComparer>& comparers, std::size_t samples) {
    constexpr std::size_t kRowsAtOnce = 64;
    for (std::size_t row = 0; row < samples; row += kRowsAtOnce) {
      for (SeriesComparer& comparer : comparers) comparer.compareSamples(row, row + kRowsAtOnce);
    }
  }

  static TableBlock read(const ResultsFile& file, const std::vector<const SignalInfo*>& signals) {
    TableBlock block(file.source(), signals);
    const RowRange rows = rowsOfAny(file.source(), signals, {});
    block.read(rows.begin, rows.count());
    return block;
  }

  const ResultsFile& a_;
  const ResultsFile& b_;
  const ComparisonSettings& settings_;
  FileComparison& result_;
};

// Signals of either file that match; a pattern must match in one of them.
void checkPatterns(const ResultsFile& a, const ResultsFile& b, std::span<const std::string> patterns) {
  for (const std::string& pattern : patterns) {
    if (b.selectAny(std::span(&pattern, 1)).empty()) static_cast<void>(a.select(std::span(&pattern, 1)));
  }
}

// By tables of both files, in the order of their columns in A.
std::vector<std::vector<Pair>> groupPairs(const std::vector<Pair>& pairs) {
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<Pair>> groups;
  for (const Pair& pair : pairs) groups[{pair.a->place.table, pair.b->place.table}].push_back(pair);
  std::vector<std::vector<Pair>> result;
  for (auto& [tables, group] : groups) {
    std::stable_sort(group.begin(), group.end(), [](const Pair& x, const Pair& y) {
      return std::pair(x.a->type.id, x.a->place.firstColumn) < std::pair(y.a->type.id, y.a->place.firstColumn);
    });
    result.push_back(std::move(group));
  }
  return result;
}

std::vector<Pair> matchSignals(const ResultsFile& a, const ResultsFile& b, std::span<const std::string> patterns,
                               double timeTolerance, FileComparison& result) {
  std::vector<Pair> pairs;
  for (const SignalInfo* signal : a.selectAny(patterns)) {
    const SignalInfo* other = b.lookUp(signal->name);
    if (other == nullptr) {
      result.onlyA.push_back(signal->name);
      continue;
    }
    ComparedSignal compared{signal->name, propertyChanges(*signal, *other, timeTolerance), {}, cellNames(*signal)};
    if (canBeCompared(*signal, *other)) pairs.push_back({signal, other, result.signals.size()});
    result.signals.push_back(std::move(compared));
  }
  for (const SignalInfo* signal : b.selectAny(patterns)) {
    if (a.lookUp(signal->name) == nullptr) result.onlyB.push_back(signal->name);
  }
  return pairs;
}

}  // namespace

bool FileComparison::isEqual() const {
  return onlyA.empty() && onlyB.empty() &&
         std::all_of(signals.begin(), signals.end(), [](const ComparedSignal& signal) { return signal.isEqual(); });
}

FileComparison compareFiles(const ResultsFile& a, const ResultsFile& b, std::span<const std::string> patterns,
                            const ComparisonSettings& settings, const Job& job) {
  checkPatterns(a, b, patterns);
  FileComparison result;
  const std::vector<Pair> pairs = matchSignals(a, b, patterns, settings.timeTolerance, result);
  TablePair tables(a, b, settings, result);
  std::size_t done = 0;
  for (const std::vector<Pair>& group : groupPairs(pairs)) {
    for (std::size_t begin = 0, end = 0; begin < group.size(); begin = end) {
      job.step(static_cast<double>(done + begin) / static_cast<double>(pairs.size()));
      std::uint64_t bytes = 0;
      do bytes += bytesOf(group[end++]);
      while (end < group.size() && bytes + bytesOf(group[end]) <= kBatchBytes);
      tables.compare(group, begin, end);
    }
    done += group.size();
  }
  return result;
}

}  // namespace vtio::results
