// Reading what the table builder has recorded.
#include <algorithm>
#include <limits>
#include <utility>

#include "recorders/table/stored_row.hpp"
#include "recorders/table/table_builder.hpp"

namespace vtio::recorders {

std::uint64_t TableBuilder::recorded(std::uint32_t position) {
  settle();
  position = positions_[position].source;
  const PositionState& state = states_[position];
  if (const StraySink* strays = strayed(position)) return state.before + *strays->count(position);
  return state.before + (state.table ? positions_[position].cursor->next - state.begin : 0);
}

std::uint64_t TableBuilder::held(std::uint32_t position) {
  const std::uint64_t most = positions_[position].maxPoints;
  const std::uint64_t all = recorded(position);
  return most != 0 ? std::min(all, most) : all;
}

// The rows of the samples that are kept, oldest first.
std::vector<TableBuilder::Piece> TableBuilder::kept(std::uint32_t position) const {
  position = positions_[position].source;
  const PositionState& state = states_[position];
  const Position& p = positions_[position];
  return pieces(state, p.cursor->next, p.maxPoints);
}

std::vector<TableBuilder::Piece> TableBuilder::pieces(const PositionState& state, std::uint64_t next,
                                                      std::uint64_t maxPoints) {
  std::vector<Piece> found;
  std::uint64_t left = maxPoints != 0 ? maxPoints : std::numeric_limits<std::uint64_t>::max();
  const auto take = [&](const Ref<Table>& table, std::uint32_t offset, std::uint64_t first, std::uint64_t count) {
    const std::uint64_t taken = std::min(count, left);
    if (taken != 0) found.push_back({table, offset, first + count - taken, taken});
    left -= taken;
  };
  if (state.table) take(state.table, state.offset, state.begin, next - state.begin);
  for (const Run* run = state.closed.get(); run != nullptr && left != 0; run = run->older.get()) {
    take(run->table, run->offset, run->first, run->count);
  }
  std::reverse(found.begin(), found.end());
  return found;
}

// Copies samples to a table of their own.
// @param snapshot The rows are those of this snapshot; null: the current ones.
Ref<Run> TableBuilder::archive(std::uint32_t position, const std::vector<Piece>& pieces,
                               const BuilderSnapshot* snapshot) const {
  const Position& p = positions_[position];
  std::uint64_t rows = 0;
  for (const Piece& piece : pieces) rows += piece.count;
  if (rows == 0) return {};
  Ref<Tile> tile = Tile::make(0, static_cast<std::uint32_t>(rows), p.bytes);
  if (p.hasTexts) tile->texts = Ref<TextStore>(new TextStore());
  std::uint64_t row = 0;
  for (const Piece& piece : pieces) {
    const bool isNow = snapshot == nullptr;
    const TableState& state = isNow ? piece.table->state() : snapshot->stateOf(*piece.table);
    const auto table = piece.table->rowsOf(state, (isNow ? piece.table->number : state.current) + 1);
    table->readTimes(piece.first - table->begin(), piece.count, tile->times() + row);
    table->readRows(piece.first - table->begin(), piece.count, piece.offset, p.bytes, tile->row(row), p.bytes);
    row += piece.count;
  }
  for (std::uint64_t k = 0; p.hasTexts && k < rows; ++k) moveTexts(*p.layout, tile->row(k), *tile->texts);
  Ref<Run> run(new Run());
  run->table = Ref<Table>(new Table(std::move(tile), rows, true));
  run->count = rows;
  return run;
}

TableBuilder::Samples TableBuilder::samples(std::uint32_t position) {
  settle();
  if (StraySink* strays = strayed(positions_[position].source)) {
    position = positions_[position].source;
    auto [table, offset] = strays->samples(position);
    const std::uint64_t rows = table->rows();
    return {std::move(table), offset, 0, rows};
  }
  const std::vector<Piece> pieces = kept(position);
  if (pieces.empty()) return noSamples(position);
  if (pieces.size() > 1) return joined(position, pieces);
  const Piece& only = pieces.front();
  std::shared_ptr<const RecordedTable> table = only.table->view();
  const std::uint64_t first = only.first - table->begin();
  return {std::move(table), only.offset, first, only.count};
}

TableBuilder::Samples TableBuilder::noSamples(std::uint32_t position) {
  if (!empty_) empty_ = std::make_shared<const RecordedTable>(Ref<TileList>(), 0);
  return {empty_, positions_[position].offset, 0, 0};
}

std::vector<TableBuilder::Samples> TableBuilder::runs(std::uint32_t position) {
  settle();
  const std::vector<Piece> pieces = kept(position);
  if (pieces.empty()) return {noSamples(position)};
  std::vector<Samples> found;
  found.reserve(pieces.size());
  for (const Piece& piece : pieces) {
    std::shared_ptr<const RecordedTable> table = piece.table->view();
    const std::uint64_t first = piece.first - table->begin();
    found.push_back({std::move(table), piece.offset, first, piece.count});
  }
  return found;
}

TableBuilder::Samples TableBuilder::joined(std::uint32_t position, const std::vector<Piece>& pieces) {
  std::vector<JoinedTable::Part> parts;
  std::vector<std::uint32_t> offsets;
  JoinedKey key;
  for (const Piece& piece : pieces) {
    std::shared_ptr<const RecordedTable> table = piece.table->view();
    const std::uint64_t first = piece.first - table->begin();
    key.emplace_back(table.get(), first, piece.count);
    parts.push_back({std::move(table), first, piece.count});
    offsets.push_back(piece.offset);
  }
  if (joined_.size() > 2 * joinedSwept_ + 16) {
    std::erase_if(joined_, [](const auto& entry) { return entry.second.expired(); });
    joinedSwept_ = joined_.size();
  }
  std::weak_ptr<JoinedTable>& known = joined_[std::move(key)];
  std::shared_ptr<JoinedTable> table = known.lock();
  if (!table) {
    table = std::make_shared<JoinedTable>(std::move(parts));
    known = table;
  }
  const std::size_t offset = table->addColumns(positions_[position].bytes, std::move(offsets));
  const std::uint64_t rows = table->rows();
  return {std::move(table), offset, 0, rows};
}

}  // namespace vtio::recorders
