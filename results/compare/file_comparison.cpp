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

// Times that were compared last; most signals of a table share them.
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

/// Reads and compares pairs whose signals are in one table of each file.
class TablePair {
 public:
  TablePair(const ResultsFile& a, const ResultsFile& b, const ComparisonSettings& settings, FileComparison& result)
      : a_(a), b_(b), settings_(settings), result_(result) {}

  /// Compares pairs that all have the same rows and, in both files, the same times, some rows after others in the same
  /// memory. @return False, and nothing is compared, if they are not like that.
  template <class Step>
  bool compareByRows(const std::vector<Pair>& pairs, Step step) {
    const RowRange rowsA = rowsOf(*pairs.front().a);
    const RowRange rowsB = rowsOf(*pairs.front().b);
    const bool haveSameRows = std::all_of(pairs.begin(), pairs.end(), [&](const Pair& pair) {
      return rowsOf(*pair.a) == rowsA && rowsOf(*pair.b) == rowsB;
    });
    const bool isEmpty = rowsA.count() == 0;
    if (!haveSameRows || isEmpty || rowsA.count() != rowsB.count() || settings_.timeTolerance != 0) return false;
    if (!haveSameTimes(pairs.front(), rowsA, rowsB)) return false;

    TableBlock blockA(a_.source(), signalsOf(pairs, &Pair::a));
    TableBlock blockB(b_.source(), signalsOf(pairs, &Pair::b));
    std::vector<SeriesComparer> comparers;
    const std::uint64_t window = rowsAtOnce(std::max(blockA.bytesPerRow(), blockB.bytesPerRow()));
    for (std::uint64_t row = 0; row < rowsA.count(); row += window) {
      const std::uint64_t count = std::min(window, rowsA.count() - row);
      step(static_cast<double>(row) / static_cast<double>(rowsA.count()));
      blockA.read(rowsA.begin + row, count);
      blockB.read(rowsB.begin + row, count);
      for (std::size_t i = 0; i < pairs.size(); ++i) {
        if (row == 0) {
          comparers.push_back(comparerOf(pairs[i], blockA.series(i), blockB.series(i)));
        } else {
          comparers[i].continueWith(blockA.series(i), blockB.series(i));
        }
      }
      compareSideBySide(comparers, count);
    }
    for (std::size_t i = 0; i < pairs.size(); ++i) result_.signals[pairs[i].result].samples = comparers[i].result();
    return true;
  }

  /// Compares pairs [begin, end) whole.
  void compare(const std::vector<Pair>& pairs, std::size_t begin, std::size_t end) {
    const std::span<const Pair> chosen(pairs.data() + begin, end - begin);
    const TableBlock blockA = read(a_, signalsOf(chosen, &Pair::a));
    const TableBlock blockB = read(b_, signalsOf(chosen, &Pair::b));
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
      SeriesComparer comparer = comparerOf(pairs[i], seriesA, seriesB);
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
  static std::vector<const SignalInfo*> signalsOf(std::span<const Pair> pairs, const SignalInfo* Pair::*side) {
    std::vector<const SignalInfo*> signals;
    signals.reserve(pairs.size());
    for (const Pair& pair : pairs) signals.push_back(pair.*side);
    return signals;
  }

  SeriesComparer comparerOf(const Pair& pair, const SeriesView& a, const SeriesView& b) const {
    return {{*pair.a, a}, {*pair.b, b}, settings_.tolerances.of(pair.a->name), settings_.timeTolerance};
  }

  // Neighbouring signals share cache lines: all of them over a few rows, then the next rows.
  static void compareSideBySide(std::vector<SeriesComparer>& comparers, std::size_t samples) {
    constexpr std::size_t kRowsAtOnce = 64;
    for (std::size_t row = 0; row < samples; row += kRowsAtOnce) {
      for (SeriesComparer& comparer : comparers) comparer.compareSamples(row, row + kRowsAtOnce);
    }
  }

  // Whether the times are equal and do not go back; where they do, comparing pair by pair reports it.
  bool haveSameTimes(const Pair& pair, RowRange rowsA, RowRange rowsB) const {
    std::vector<double> timesA(rowsA.count());
    std::vector<double> timesB(rowsB.count());
    a_.source().readTimes(pair.a->place.table, rowsA.begin, rowsA.count(), timesA.data());
    b_.source().readTimes(pair.b->place.table, rowsB.begin, rowsB.count(), timesB.data());
    return timesA == timesB && std::is_sorted(timesA.begin(), timesA.end());
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
    const bool isCompared = tables.compareByRows(group, [&](double part) {
      job.step((static_cast<double>(done) + part * static_cast<double>(group.size())) /
               static_cast<double>(pairs.size()));
    });
    for (std::size_t begin = 0, end = 0; begin < group.size() && !isCompared; begin = end) {
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
