#include "results/values/table_block.hpp"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <utility>

namespace vtio::results {
namespace {

constexpr std::byte kNoBytes{};  // where samples of no elements stand
constexpr std::size_t kBytesPerText = 32;

}  // namespace

TableBlock::TableBlock(SampleSource& source, std::vector<const SignalInfo*> signals)
    : source_(source), signals_(std::move(signals)), columns_(signals_.size()) {
  for (std::size_t i = 0; i < signals_.size(); ++i) {
    columns_[i].type = signals_[i]->type;
    columns_[i].width = signals_[i]->width();
  }
  findRuns();
}

void TableBlock::findRuns() {
  std::vector<std::size_t> order(signals_.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto key = [&](std::size_t i) {
    const ElementType type = signals_[i]->type;
    return std::tuple(type.id, type.isComplex, type.words, signals_[i]->place.firstColumn);
  };
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return key(a) < key(b); });
  for (const std::size_t i : order) {
    Column& column = columns_[i];
    if (column.type.id == ElementClass::text || column.width == 0) continue;
    const std::size_t first = signals_[i]->place.firstColumn;
    const bool isNext = column.type.words == 1 && !runs_.empty() && runs_.back().type == column.type &&
                        first <= runs_.back().first + runs_.back().width;
    if (!isNext) runs_.push_back({column.type, first, 0, {}});
    Run& run = runs_.back();
    run.width = std::max(run.width, first + column.width - run.first);
    column.run = runs_.size() - 1;
    column.offset = (first - run.first) * column.type.bytes();
  }
}

void TableBlock::readRun(Run& run) {
  run.bytes.resize(rows_.count() * run.width * run.type.bytes());
  source_.readBlock(table(), run.type, run.first, run.width, rows_.begin, rows_.count(), run.bytes.data());
}

void TableBlock::read(std::uint64_t first, std::uint64_t count) {
  rows_ = {first, first + count};
  times_.resize(count);
  if (count != 0) {
    source_.readTimes(table(), first, count, times_.data());
    for (Run& run : runs_) readRun(run);
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    column.rows = shared(rows_, rowsOf(*signals_[i]));
    if (column.type.id == ElementClass::text) {
      column.texts.clear();
      if (column.rows.count() != 0) {
        column.texts = source_.readTexts(table(), signals_[i]->place.column, column.rows.begin, column.rows.count());
      }
      if (column.texts.empty()) column.texts.emplace_back();  // an address for samples of no elements
    } else if (column.width == 0 || count == 0) {
      column.bytes = &kNoBytes;
      column.stride = 0;
    } else {
      const Run& run = runs_[column.run];
      column.bytes = run.bytes.data() + column.offset;
      column.stride = run.width * run.type.bytes();
    }
  }
}

SeriesView TableBlock::series(std::size_t signal) const {
  const Column& column = columns_[signal];
  const std::size_t skipped = column.rows.begin - rows_.begin;
  SeriesView view{times().subspan(column.rows.count() == 0 ? 0 : skipped, column.rows.count()),
                  column.type,
                  column.width,
                  nullptr,
                  column.stride,
                  nullptr};
  if (column.type.id == ElementClass::text) {
    view.texts = column.texts.data();
  } else {
    view.bytes = column.bytes + (column.rows.count() == 0 ? 0 : skipped * column.stride);
  }
  return view;
}

std::size_t TableBlock::bytesPerRow() const {
  std::size_t bytes = sizeof(double);
  for (const Run& run : runs_) bytes += run.width * run.type.bytes();
  for (const Column& column : columns_) {
    if (column.type.id == ElementClass::text) bytes += column.width * kBytesPerText;
  }
  return bytes;
}

}  // namespace vtio::results
