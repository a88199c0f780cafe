#include "recorders/table/recorded_table.hpp"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

namespace vtio::recorders {
namespace {

template <std::size_t kBytes>
void copyRowsOf(const std::byte* from, std::size_t rowBytes, std::uint64_t count, std::byte* out, std::size_t stride) {
  for (std::uint64_t i = 0; i < count; ++i, from += rowBytes, out += stride) std::memcpy(out, from, kBytes);
}

// Copies values of the usual sizes without a function call each.
void copyRows(const std::byte* from, std::size_t rowBytes, std::uint64_t count, std::size_t bytes, std::byte* out,
              std::size_t stride) {
  switch (bytes) {
    case 1:
      return copyRowsOf<1>(from, rowBytes, count, out, stride);
    case 4:
      return copyRowsOf<4>(from, rowBytes, count, out, stride);
    case 8:
      return copyRowsOf<8>(from, rowBytes, count, out, stride);
    default:
      for (std::uint64_t i = 0; i < count; ++i, from += rowBytes, out += stride) std::memcpy(out, from, bytes);
  }
}

// Calls use(tile, row in the tile, rows) for each tile that holds some of the rows.
template <typename Use>
void forEachTile(const TileList* list, std::uint64_t row, std::uint64_t count, const Use& use) {
  if (count == 0) return;
  for (std::size_t i = list->find(row); count != 0; ++i) {
    const Tile& tile = *list->tiles[i];
    const bool isLast = i + 1 == list->tiles.size();
    const std::uint64_t here = isLast ? count : std::min(count, list->tiles[i + 1]->firstRow - row);
    use(tile, row - tile.firstRow, here);
    row += here;
    count -= here;
  }
}

}  // namespace

RecordedTable::RecordedTable(Ref<TileList> tiles, std::uint64_t end, OlderRows older)
    : tiles_(std::move(tiles)),
      older_(std::move(older)),
      begin_(tiles_ && !older_.rows ? tiles_->tiles.front()->firstRow : 0),
      end_(end) {}

// How many of the rows are in the file and not in the tiles.
std::uint64_t RecordedTable::olderRows(std::uint64_t row, std::uint64_t count) const {
  if (!older_.rows) return 0;
  const std::uint64_t inTiles = tiles_->tiles.front()->firstRow;
  return row < inTiles ? std::min(count, inTiles - row) : 0;
}

void RecordedTable::readTimes(std::uint64_t first, std::uint64_t count, double* out) const {
  if (const std::uint64_t older = olderRows(first, count); older != 0) {
    older_.rows->readTimes(first, older, out);
    first += older;
    count -= older;
    out += older;
  }
  forEachTile(tiles_.get(), begin_ + first, count, [&out](const Tile& tile, std::uint64_t row, std::uint64_t rows) {
    out = std::copy_n(tile.times() + row, rows, out);
  });
}

void RecordedTable::readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                             std::byte* out, std::size_t stride) const {
  if (const std::uint64_t older = olderRows(first, count); older != 0) {
    older_.rows->readRows(first, older, offset, bytes, out, stride);
    first += older;
    count -= older;
    out += older * stride;
  }
  forEachTile(tiles_.get(), begin_ + first, count, [&](const Tile& tile, std::uint64_t row, std::uint64_t rows) {
    copyRows(tile.row(row) + offset, tile.rowBytes, rows, bytes, out, stride);
    out += rows * stride;
  });
}

void RecordedTable::readText(vtu::TextCell cell, std::string& utf8) const { utf8 = TextStore::read(cell); }

JoinedTable::JoinedTable(std::vector<Part> parts) : parts_(std::move(parts)) {
  for (const Part& part : parts_) rows_ += part.count;
}

std::size_t JoinedTable::addColumns(std::size_t bytes, std::vector<std::uint32_t> offsets) {
  if (bytes == 0) return 0;
  const std::unique_lock lock(mutex_);
  if (const auto known = known_.find(offsets); known != known_.end()) return known->second;
  const std::size_t offset = columns_.empty() ? 0 : columns_.back().offset + columns_.back().bytes;
  known_.emplace(offsets, offset);
  columns_.push_back({offset, bytes, std::move(offsets)});
  return offset;
}

// Calls use(part number, first row in its table, rows, rows before).
template <typename Use>
void JoinedTable::forEachPart(std::uint64_t first, std::uint64_t count, const Use& use) const {
  std::uint64_t done = 0;
  for (std::size_t p = 0; p < parts_.size() && done < count; ++p) {
    if (first >= parts_[p].count) {
      first -= parts_[p].count;
      continue;
    }
    const std::uint64_t here = std::min(count - done, parts_[p].count - first);
    use(p, parts_[p].first + first, here, done);
    done += here;
    first = 0;
  }
}

void JoinedTable::readTimes(std::uint64_t first, std::uint64_t count, double* out) const {
  forEachPart(first, count, [&](std::size_t p, std::uint64_t row, std::uint64_t rows, std::uint64_t before) {
    parts_[p].table->readTimes(row, rows, out + before);
  });
}

void JoinedTable::readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                           std::byte* out, std::size_t stride) const {
  if (bytes == 0) return;
  const std::shared_lock lock(mutex_);
  auto column = std::upper_bound(columns_.begin(), columns_.end(), offset,
                                 [](std::size_t o, const Columns& c) { return o < c.offset; });
  for (--column; bytes != 0 && column != columns_.end(); ++column) {
    const std::size_t within = offset - column->offset;
    const std::size_t here = std::min(bytes, column->bytes - within);
    forEachPart(first, count, [&](std::size_t p, std::uint64_t row, std::uint64_t rows, std::uint64_t before) {
      parts_[p].table->readRows(row, rows, column->offsets[p] + within, here, out + before * stride, stride);
    });
    offset += here;
    bytes -= here;
    out += here;
  }
}

void JoinedTable::readText(vtu::TextCell cell, std::string& utf8) const { utf8 = TextStore::read(cell); }

}  // namespace vtio::recorders
