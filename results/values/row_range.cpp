#include "results/values/row_range.hpp"

namespace vtio::results {
namespace {

// The first row in [rows.begin, rows.end) for whose time `isBehind` holds; such rows come last.
template <class Predicate>
std::uint64_t firstRow(SampleSource& source, std::uint32_t table, RowRange rows, Predicate isBehind) {
  while (rows.begin < rows.end) {
    const std::uint64_t middle = rows.begin + rows.count() / 2;
    double time = 0;
    source.readTimes(table, middle, 1, &time);
    if (isBehind(time)) {
      rows.end = middle;
    } else {
      rows.begin = middle + 1;
    }
  }
  return rows.begin;
}

}  // namespace

RowRange rowsIn(SampleSource& source, std::uint32_t table, RowRange rows, TimeRange range) {
  if (range.isAll()) return rows;
  const std::uint64_t begin = firstRow(source, table, rows, [&](double time) { return time >= range.from; });
  const std::uint64_t end = firstRow(source, table, {begin, rows.end}, [&](double time) { return time > range.to; });
  return {begin, end};
}

}  // namespace vtio::results
