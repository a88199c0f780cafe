#include "results/rows/table_cursor.hpp"

#include <algorithm>

#include "results/file/results_error.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kWindowBytes = std::size_t{32} << 20U;
constexpr std::uint64_t kChunkRows = 1024;  // whole chunks of a saved file, where they fit

}  // namespace

std::uint64_t rowsAtOnce(std::size_t bytesPerRow) {
  const std::uint64_t rows = std::clamp<std::uint64_t>(kWindowBytes / bytesPerRow, 64, 64 * kChunkRows);
  return rows > kChunkRows ? rows / kChunkRows * kChunkRows : rows;
}

RowRange rowsOfAny(SampleSource& source, const std::vector<const SignalInfo*>& signals, TimeRange range) {
  RowRange rows{UINT64_MAX, 0};
  for (const SignalInfo* signal : signals) {
    if (signal->place.count == 0) continue;
    rows.begin = std::min(rows.begin, rowsOf(*signal).begin);
    rows.end = std::max(rows.end, rowsOf(*signal).end);
  }
  if (rows.begin >= rows.end) return {0, 0};
  return rowsIn(source, signals.front()->place.table, rows, range);
}

void throwTimeGoesBack(const ResultsFile& file, const SignalInfo& signal, std::uint64_t row, double before,
                       double after) {
  throw ResultsError(file.path(), "signal '" + signal.name + "': time goes back from " + numberText(before) + " to " +
                                      numberText(after) + " at row " + std::to_string(row) + " of table " +
                                      std::to_string(signal.place.table));
}

TableCursor::TableCursor(const ResultsFile& file, const TableGroup& group, TimeRange range)
    : file_(file),
      block_(file.source(), group.signals),
      window_(rowsAtOnce(block_.bytesPerRow())),
      rows_(rowsOfAny(file.source(), group.signals, range)) {
  for (const SignalInfo* signal : group.signals) {
    const RowRange rows = rowsOf(*signal);
    isWhole_ = isWhole_ && rows.begin <= rows_.begin && rows.end >= rows_.end;
  }
  findInstant(rows_.begin);
}

void TableCursor::load(std::uint64_t first, std::uint64_t least) {
  block_.read(first, std::min(std::max(window_, least), rows_.end - first));
}

void TableCursor::findInstant(std::uint64_t begin) {
  instant_ = {begin, begin};
  if (begin >= rows_.end) return;
  if (begin >= block_.rows().end) load(begin, 1);
  while (++instant_.end < rows_.end) {
    if (instant_.end >= block_.rows().end) load(begin, 2 * instant_.count());
    const double before = time();
    const double after = block_.times()[instant_.end - block_.rows().begin];
    if (before == after) continue;
    if (!(before < after)) throwTimeGoesBack(file_, *block_.signals().front(), instant_.end, before, after);
    break;
  }
}

void TableCursor::advance() { findInstant(instant_.end); }

std::uint64_t TableCursor::depth() const {
  if (isWhole_) return instant_.count();
  std::uint64_t most = 0;
  for (const SignalInfo* signal : block_.signals()) most = std::max(most, shared(instant_, rowsOf(*signal)).count());
  return most;
}

SampleView TableCursor::sample(std::size_t signal, std::uint64_t k) const {
  const SignalInfo& info = *block_.signals()[signal];
  const RowRange own = isWhole_ ? instant_ : shared(instant_, rowsOf(info));
  if (k >= own.count()) return {info.type, info.width(), nullptr, nullptr};
  return block_.sample(signal, own.begin + k);
}

}  // namespace vtio::results
