// Finds the row of the table for a sample.
#include "recorders/table/table_builder.hpp"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "recorders/table/stored_row.hpp"

namespace vtio::recorders {
namespace {

constexpr std::size_t kMostRowBytes = std::numeric_limits<std::uint32_t>::max();

}  // namespace

Cursor* TableBuilder::takeCursors(std::size_t count) {
  constexpr std::size_t kSmallestBlock = 4;
  constexpr std::size_t kLargestBlock = 256;
  if (cursorsLeft_ < count) {
    lastBlock_ = std::max(count, std::clamp(2 * lastBlock_, kSmallestBlock, kLargestBlock));
    cursors_.push_back(std::make_unique<Cursor[]>(lastBlock_));
    cursorsLeft_ = lastBlock_;
  }
  Cursor* taken = cursors_.back().get() + (lastBlock_ - cursorsLeft_);
  cursorsLeft_ -= count;
  return taken;
}

TableBuilder::Added TableBuilder::add(std::span<const LayoutPosition> layout, std::uint64_t maxPoints) {
  settle();
  latest_.reset();
  for (const LayoutPosition& position : layout) {
    if (storedBytes(position) > kMostRowBytes) {
      throw std::length_error("A sample of " + std::to_string(storedBytes(position)) + " bytes is too large");
    }
  }
  const auto first = static_cast<std::uint32_t>(positions_.size());
  Cursor* cursors = takeCursors(layout.size());
  while (states_.size() < first + layout.size()) states_.add();
  for (std::size_t i = 0; i < layout.size(); ++i) {
    const auto bytes = static_cast<std::uint32_t>(storedBytes(layout[i]));
    cursors[i].table = &nowhere_;
    if (isStoredAsDelivered(layout[i])) cursors[i].bytes = bytes;
    const auto number = static_cast<std::uint32_t>(positions_.size());
    positions_.push_back({&layout[i], &cursors[i], maxPoints, bytes, number, hasTexts(layout[i]), false, false,
                          rowOfAll_, sampleRuns(layout[i])});
    rowOfAll_ += bytes;
  }
  return {first, cursors};
}

void TableBuilder::remove(std::uint32_t first, std::size_t count) {
  settle();
  latest_.reset();
  for (std::uint32_t i = first; i < first + count; ++i) {
    PositionState& state = states_.change(i);
    if (state.table) detach(i, state);
    state = PositionState();
    positions_[i].layout = nullptr;
    if (StraySink* strays = strayed(i)) strays->forget(i);
    positions_[i].isStray = false;
  }
}

void TableBuilder::append(std::uint32_t position, double time, const void* data) {
  const Position& p = positions_[position];
  Cursor& cursor = *p.cursor;
  if (p.isStray || !cursor.standsAt(time)) findRow(position, time);
  if (p.isStray && sink_ != nullptr) return addStray(position, time, data);
  Table& table = tableOf(cursor);
  std::byte* out = table.bytes + cursor.offset;
  if (cursor.bytes != 0) {
    std::memcpy(out, data, cursor.bytes);
  } else if (!p.runs.empty()) {
    storeRuns(p.runs, static_cast<const std::byte*>(data), out);
  } else {
    storeSample(*p.layout, static_cast<const std::byte*>(data), out, p.hasTexts ? &table.texts() : nullptr, scratch_);
  }
  ++cursor.next;
  ++table.written;
}

// Makes the position's next row the current one of its table, and that one open.
void TableBuilder::findRow(std::uint32_t position, double time) {
  settle();
  if (sink_ != nullptr && (isAttached(*positions_[position].cursor) || !sameTime(time, strayTime_))) {
    strayTime_ = time;
    sink_->rowBegins();
  }
  latest_.reset();
  if (strayed(position) != nullptr) return;
  const Cursor& cursor = *positions_[position].cursor;
  if (isAttached(cursor)) {
    Table& table = tableOf(cursor);
    if (cursor.next == table.number && table.isAt(time)) return table.openRow();
    if (cursor.next >= table.number && isOfMinority(table)) moveMinority(table);
    if (strayed(position) != nullptr) return;  // it was one of the minority
    Table& now = tableOf(cursor);
    if (cursor.next == now.number + 1 && beginRow(now, time, position)) return;
    close(position);
  }
  comeBack(position, time);
}

void TableBuilder::comeBack(std::uint32_t position, double time) {
  if (!reopen(position, time) && !makeStray(position)) join(position, time);
}

// Continues in the table that the position left, in the same columns, unless it missed too much there.
bool TableBuilder::reopen(std::uint32_t position, double time) {
  const Ref<Run> run = states_[position].closed;
  if (!run || run->table->state().ended || run->table->maxPoints() != 0) return false;
  Table& table = *run->table;
  const std::uint64_t end = run->first + run->count;
  const bool isHere = table.isAt(time);
  const std::uint64_t missed = table.number + (isHere ? 0 : 1) - end;
  if (missed > (table.isStreamed() ? 0 : run->count / kGap)) return false;
  PositionState& state = states_.change(position);
  if (isHere) {
    table.openRow();
  } else if (!beginRow(table, time, position)) {
    return false;
  }
  if (missed == 0) {
    state.closed = run->older;
    state.before -= run->count;
  }
  attach(position, state, run->table, run->offset, missed == 0 ? run->first : table.number);
  return true;
}

void TableBuilder::join(std::uint32_t position, double time) {
  const Position& p = positions_[position];
  PositionState& state = states_.change(position);
  Ref<Table> table;
  if (state.shortRuns < kMostShortRuns) {
    Ref<Table>& grows = growing_[p.maxPoints];
    const auto fits = [&](Table& t) {
      return t.state().grows && t.isAt(time) && !t.state().ended &&
             t.state().rowBytes + std::uint64_t{p.bytes} <= kMostRowBytes;
    };
    if (!grows || !fits(*grows)) grows = Ref<Table>(new Table(time, p.maxPoints, true));
    table = grows;
  } else {
    table = Ref<Table>(new Table(time, p.maxPoints, false));
  }
  const std::uint32_t offset = table->addColumns(p.bytes);
  if (table->state().attached == 0) {
    tables_.push_back(table);
    table->place = tables_.size() - 1;
  }
  if (state.closed && p.maxPoints != 0) table->state().hasArchives = true;
  attach(position, state, std::move(table), offset, 0);
}

// False if the table ends instead, and the positions that are left get a new one.
bool TableBuilder::beginRow(Table& table, double time, std::uint32_t position) {
  if (table.state().ended) return false;
  if (table.isFull()) {
    if (table.written < table.state().attached) closeStragglers(table);
    if (table.isStreamed()) {
      if (sink_ != nullptr) table.spill(*sink_, table.number + 1);
    } else if (table.state().attachedBytes * 20 < std::uint64_t{table.state().rowBytes} * 19) {
      table.state().ended = true;
      return false;
    }
    if (table.state().hasArchives) dropArchives(table);
    if (sink_ != nullptr && !table.isStreamed()) sink_->keeps(table.lastTileBytes());
    table.addTile();
  }
  table.beginRow(time, position);
  return true;
}

// Opens a run whose next sample is written to the current row.
void TableBuilder::attach(std::uint32_t position, PositionState& state, Ref<Table> table, std::uint32_t offset,
                          std::uint64_t begin) {
  const Position& p = positions_[position];
  ++table->state().attached;
  ++table->state().previous;
  p.cursor->next = table->number;
  table->state().attachedBytes += p.bytes;
  p.cursor->table = table.get();
  p.cursor->offset = offset;
  state.begin = begin;
  state.offset = offset;
  state.table = std::move(table);
}

// Ends the open run of a position.
void TableBuilder::close(std::uint32_t position) {
  const Position& p = positions_[position];
  PositionState& state = states_.change(position);
  const std::uint64_t count = p.cursor->next - state.begin;
  if (count != 0) {
    Ref<Run> run;
    if (p.maxPoints != 0) {
      run = archive(position, kept(position), nullptr);
    } else {
      run = Ref<Run>(new Run());
      run->table = state.table;
      run->offset = state.offset;
      run->first = state.begin;
      run->count = count;
      run->older = state.closed;
    }
    state.closed = std::move(run);
    state.before += count;
  }
  state.shortRuns = count >= std::max(kGap, p.maxPoints) ? 0 : state.shortRuns + 1;
  detach(position, state);
}

void TableBuilder::detach(std::uint32_t position, PositionState& state) {
  const Position& p = positions_[position];
  const Ref<Table> table = std::move(state.table);
  if (p.cursor->next == table->number + 1) --table->written;
  if (p.cursor->next >= table->number && table->state().previous != 0) --table->state().previous;
  --table->state().attached;
  table->state().attachedBytes -= p.bytes;
  p.cursor->table = &nowhere_;
  if (table->state().attached == 0) finish(*table);
}

// No position is attached to the table any more. Tables with a limit have no runs that refer to them: see close().
void TableBuilder::finish(Table& table) {
  const Ref<Table> kept(&table);
  table.state().ended = true;
  if (table.maxPoints() == 0) {
    table.show();
    Ref<FinishedTable> finished(new FinishedTable());
    finished->table = kept;
    finished->state = table.capture();
    finished->older = finished_;
    finished_ = std::move(finished);
  }
  tables_.back()->place = table.place;
  std::swap(tables_[table.place], tables_.back());
  tables_.pop_back();
}

// Closes the runs of the positions without a sample in the current row, before the next row begins.
void TableBuilder::closeStragglers(Table& table) {
  for (std::uint32_t i = 0; i < positions_.size(); ++i) {
    const Cursor& cursor = *positions_[i].cursor;
    if (cursor.table == &table && cursor.next <= table.number) close(i);
  }
}

// Once the table has as many rows as a position keeps, its older samples elsewhere are not needed any more.
void TableBuilder::dropArchives(Table& table) {
  if (table.number + 1 < table.maxPoints()) return;
  for (std::uint32_t i = 0; i < positions_.size(); ++i) {
    if (positions_[i].cursor->table == &table) states_.change(i).closed = {};
  }
  table.state().hasArchives = false;
}

// True if less than half of the positions with a sample in the row before have one in the current row. False for a row
// that is shown, as it cannot be removed.
bool TableBuilder::isOfMinority(Table& table) {
  const TableState& state = table.state();
  return 2 * table.written < state.previous && table.written < state.attached && table.number != 0 && !state.ended &&
         !table.isRowShown();
}

// Moves the positions with a sample in the current row to another table together with it, and removes the row.
void TableBuilder::moveMinority(Table& table) {
  const Ref<Table> kept(&table);
  const auto hasSample = [&table](const Cursor& c) { return c.table == &table && c.next == table.number + 1; };
  const std::uint32_t starter = table.state().starter;
  if (table.written == 1 && hasSample(*positions_[starter].cursor)) {
    moveSample(table, starter);
  } else {
    for (std::uint32_t i = 0; i < positions_.size() && table.written != 0; ++i) {
      if (hasSample(*positions_[i].cursor)) moveSample(table, i);
    }
  }
  table.takeBackRow(sink_);
}

void TableBuilder::moveSample(Table& table, std::uint32_t position) {
  const Position& p = positions_[position];
  Cursor& cursor = *p.cursor;
  const std::byte* from = table.currentRow() + cursor.offset;
  --cursor.next;
  --table.written;
  close(position);
  if (makeStray(position)) return strayed(position)->add(position, table.rowTime(), from);
  join(position, table.rowTime());
  Table& other = tableOf(cursor);
  other.openRow();
  std::byte* to = other.bytes + cursor.offset;
  std::memcpy(to, from, p.bytes);
  if (p.hasTexts) moveTexts(*p.layout, to, other.texts());
  ++cursor.next;
  ++other.written;
}

}  // namespace vtio::recorders
