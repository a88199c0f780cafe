// What a table builder gives to a file.
#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>
#include <utility>

#include "recorders/table/stored_row.hpp"

#include "recorders/table/table_builder.hpp"

namespace vtio::recorders {

std::vector<std::vector<std::uint32_t>> TableBuilder::together(std::span<const std::uint32_t> among) {
  settle();
  std::map<std::vector<std::tuple<const Table*, std::uint64_t, std::uint64_t>>, std::size_t> known;
  std::vector<std::vector<std::uint32_t>> groups, alone;
  for (const std::uint32_t i : among) {
    const Position& p = positions_[i];
    const PositionState& state = states_[i];
    if (p.layout == nullptr || p.maxPoints != 0 || p.isStray || state.isEmpty()) continue;
    if (!state.table || p.cursor->next < state.table->number) {
      if (state.before + (state.table ? p.cursor->next - state.begin : 0) == 0) continue;
      alone.push_back({i});
      continue;
    }
    auto key = decltype(known)::key_type{{state.table.get(), state.begin, 0}};
    for (const Run* run = state.closed.get(); run != nullptr; run = run->older.get()) {
      key.emplace_back(run->table.get(), run->first, run->count);
    }
    const auto [group, isNew] = known.try_emplace(std::move(key), groups.size());
    if (isNew) groups.emplace_back();
    groups[group->second].push_back(i);
  }
  groups.insert(groups.end(), alone.begin(), alone.end());
  return groups;
}

Ref<Table> TableBuilder::gather(std::span<const std::uint32_t> positions, std::span<const std::uint32_t> offsets,
                                std::uint32_t rowBytes) {
  latest_.reset();
  const PositionState& one = states_[positions.front()];
  const Cursor& cursor = *positions_[positions.front()].cursor;
  const bool isUpToDate = one.table && cursor.next >= one.table->number;
  const std::uint64_t recorded = one.before + (one.table ? cursor.next - one.begin : 0);
  const double now = isUpToDate ? one.table->rowTime() : 0;
  const std::uint64_t rows = recorded + (isUpToDate && cursor.next == one.table->number ? 1 : 0);
  Ref<Tile> tile = Tile::make(0, static_cast<std::uint32_t>(rows), rowBytes);
  std::memset(tile->row(0), 0, rows * rowBytes);
  std::uint64_t row = 0;
  for (const Piece& piece : kept(positions.front())) {
    const auto source = piece.table->rowsOf(piece.table->state(), piece.table->number + 1);
    source->readTimes(piece.first - source->begin(), piece.count, tile->times() + row);
    row += piece.count;
  }
  if (row < rows) tile->times()[row] = now;
  for (std::size_t i = 0; i < positions.size(); ++i) copyRows(positions[i], offsets[i], *tile);
  Ref<Table> table(new Table(std::move(tile), rows, false));
  tables_.push_back(table);
  table->place = tables_.size() - 1;
  for (std::size_t i = 0; i < positions.size(); ++i) moveTo(table, positions[i], offsets[i]);
  return table;
}

void TableBuilder::copyRows(std::uint32_t position, std::uint32_t offset, Tile& tile) {
  const Position& p = positions_[position];
  if (p.hasTexts && !tile.texts) tile.texts = Ref<TextStore>(new TextStore());
  std::uint64_t row = 0;
  for (const Piece& piece : kept(position)) {
    const auto source = piece.table->rowsOf(piece.table->state(), piece.table->number + 1);
    source->readRows(piece.first - source->begin(), piece.count, piece.offset, p.bytes, tile.row(row) + offset,
                     tile.rowBytes);
    for (std::uint64_t k = 0; p.hasTexts && k < piece.count; ++k) {
      moveTexts(*p.layout, tile.row(row + k) + offset, *tile.texts);
    }
    row += piece.count;
  }
}

void TableBuilder::moveTo(const Ref<Table>& table, std::uint32_t position, std::uint32_t offset) {
  Cursor& cursor = *positions_[position].cursor;
  PositionState& state = states_.change(position);
  const bool hasCurrent = !state.table || cursor.next != state.table->number;
  if (state.table) detach(position, state);
  state.closed = {};
  state.before = 0;
  attach(position, state, table, offset, 0);
  if (!hasCurrent) return;
  ++cursor.next;
  ++table->written;
}

bool TableBuilder::makeStray(std::uint32_t position) {
  Position& p = positions_[position];
  StraySink* strays = straySink();
  if (strays == nullptr || p.maxPoints != 0 || p.isStray || p.source != position) return false;
  const PositionState& state = states_[position];
  const Run* run = state.closed.get();
  const bool isInTable = !state.table && run != nullptr && !run->older && run->first == 0 && run->table->isStreamed() &&
                         !run->table->isGivenUp();
  p.isStray = true;  // from here on samples() asks the file
  const auto inFile = strays->take(position, isInTable ? std::optional(run->count) : std::nullopt);
  if (!inFile) {
    positions_[position].isStray = false;
    return false;
  }
  latest_.reset();
  if (!isInTable) addRowsAsStrays(position, *inFile, *strays);
  return true;
}

// @param inFile The first samples, which are rows of the file already.
void TableBuilder::addRowsAsStrays(std::uint32_t position, std::uint64_t inFile, StraySink& strays) {
  const Position& p = positions_[position];
  constexpr std::uint64_t kRows = 256;
  std::vector<double> times(kRows);
  std::vector<std::byte> values(kRows * p.bytes + 1);
  std::uint64_t before = 0;  // samples of the pieces before
  for (const Piece& piece : kept(position)) {
    const auto source = piece.table->rowsOf(piece.table->state(), piece.table->number + 1);
    const std::uint64_t inPiece = std::min(piece.count, inFile - std::min(inFile, before));
    before += piece.count;
    for (std::uint64_t done = inPiece; done < piece.count;) {
      const std::uint64_t here = std::min(kRows, piece.count - done), first = piece.first - source->begin() + done;
      source->readTimes(first, here, times.data());
      source->readRows(first, here, piece.offset, p.bytes, values.data(), p.bytes);
      for (std::uint64_t row = 0; row < here; ++row) strays.add(position, times[row], values.data() + row * p.bytes);
      done += here;
    }
  }
  forgetRows(position);
  states_.change(position).before = inFile;
}

void TableBuilder::forgetRows(std::uint32_t position) {
  PositionState& state = states_.change(position);
  if (state.table) detach(position, state);
  state = PositionState();
  positions_[position].cursor->next = 0;
  latest_.reset();
}

void TableBuilder::addStray(std::uint32_t position, double time, const void* data) {
  const Position& p = positions_[position];
  const auto* delivered = static_cast<const std::byte*>(data);
  if (p.cursor->bytes != 0) return strayed(position)->add(position, time, delivered);
  strayRow_.resize(std::max<std::size_t>(strayRow_.size(), p.bytes));
  strayTexts_.truncate({});
  if (!p.runs.empty()) {
    storeRuns(p.runs, delivered, strayRow_.data());
  } else {
    storeSample(*p.layout, delivered, strayRow_.data(), p.hasTexts ? &strayTexts_ : nullptr, scratch_);
  }
  strayed(position)->add(position, time, strayRow_.data());
}

void TableBuilder::setStreamed(std::uint32_t number, Ref<Table> table) {
  if (streamed_.size() <= number) streamed_.resize(number + 1);
  if (streamed_[number]) streamed_[number]->replace();
  streamed_[number] = std::move(table);
}

void TableBuilder::spill(bool all) {
  settle();
  if (sink_ == nullptr) return;
  for (const Ref<Table>& table : streamed_) {
    if (!table) continue;
    const bool isComplete = table->written == table->state().attached;
    table->spill(*sink_, table->number + (all || isComplete ? 1 : 0));
  }
}

std::uint64_t TableBuilder::endOfRun(std::uint32_t position, const Table& table, std::uint64_t begin) const {
  position = positions_[position].source;
  const PositionState& state = states_[position];
  if (state.table.get() == &table && state.begin == begin) return positions_[position].cursor->next;
  for (const Run* run = state.closed.get(); run != nullptr; run = run->older.get()) {
    if (run->table.get() == &table && run->first == begin) return run->first + run->count;
  }
  return begin;
}

bool TableBuilder::hasOthers(std::uint32_t position) {
  settle();
  if (positions_[position].layout == nullptr || positions_[position].source != position) return false;
  if (strayed(position) != nullptr) return true;
  const PositionState& state = states_[position];
  if (!state.table && !state.closed) return false;
  if (state.table && state.closed) return true;
  const Table& table = state.table ? *state.table : *state.closed->table;
  return !table.isStreamed() || (state.closed && state.closed->older);
}

}  // namespace vtio::recorders
