#include "recorders/table/table.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include "recorders/table/tile_size.hpp"

namespace vtio::recorders {
namespace {

// Lists of tiles grow by a quarter: doubling would leave more unused than small tiles take.
void pushTight(std::vector<Ref<Tile>>& list, Ref<Tile> tile) {
  if (list.size() == list.capacity()) list.reserve(list.size() + std::max<std::size_t>(4, list.size() / 4));
  list.push_back(std::move(tile));
}

}  // namespace

bool sameTime(double a, double b) {
  return a == b || std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

Table::Table(double rowTime, std::uint64_t maxPoints, bool grows) : maxPoints_(maxPoints) {
  state_.tiles = Ref<TileList>(new TileList());
  pushTight(state_.tiles->tiles, Tile::make(0, 1, 0));
  last().times()[0] = rowTime;
  state_.time = rowTime;
  state_.grows = grows;
  openRow();
}

Table::Table(Ref<Tile> tile, std::uint64_t rows, bool ended) : maxPoints_(0) {
  number = rows - 1;
  state_.rowBytes = tile->rowBytes;
  state_.time = tile->times()[number];
  state_.ended = ended;
  state_.tiles = Ref<TileList>(new TileList());
  state_.tiles->tiles.push_back(std::move(tile));
}

std::uint32_t Table::addColumns(std::uint32_t more) {
  const std::uint32_t offset = state_.rowBytes;
  makeRoomInRow(offset + more);
  state_.rowBytes += more;
  return offset;
}

void Table::makeRoomInRow(std::uint32_t needed) {
  if (needed <= last().rowBytes) return;
  const std::uint64_t doubled = std::max<std::uint64_t>(std::uint64_t{last().rowBytes} * 2, needed);
  const auto room = static_cast<std::uint32_t>(std::min<std::uint64_t>(doubled, UINT32_MAX));
  Ref<Tile> wider = Tile::make(number, 1, state_.attached <= 1 ? needed : room);
  wider->times()[0] = state_.time;
  std::memcpy(wider->row(0), last().row(0), state_.rowBytes);
  wider->texts = std::move(last().texts);
  replaceLast(std::move(wider));
  openRow();
}

bool Table::isLastTileShared() const { return state_.tiles->refs != 1 || last().refs != 1; }

bool Table::isRowShown() const { return rowInTile() < last().shown && isLastTileShared(); }

bool Table::isFull() const { return rowInTile() + 1 == last().capacity; }

TileList& Table::ownTiles() {
  if (state_.tiles->refs != 1) {
    Ref<TileList> own(new TileList());
    own->tiles.reserve(state_.tiles->tiles.size() + 4);
    own->tiles = state_.tiles->tiles;
    state_.tiles = std::move(own);
  }
  return *state_.tiles;
}

void Table::replaceLast(Ref<Tile> tile) { ownTiles().tiles.back() = std::move(tile); }

// Others may refer to rows that are about to be written: replaces the tile by a copy of the rows before.
void Table::copyLast(std::uint64_t rows) {
  const Tile& from = last();
  Ref<Tile> copy = Tile::make(from.firstRow, from.capacity, from.rowBytes);
  std::copy_n(from.times(), rows, copy->times());
  std::memcpy(copy->row(0), from.row(0), rows * from.rowBytes);
  if (from.texts) {
    copy->texts = Ref<TextStore>(new TextStore());
    copy->texts->older = from.texts;
  }
  replaceLast(std::move(copy));
}

// Removes the tiles whose rows are all older than the newest maxPoints; returns one of the wanted size if there is one
// without other references.
Ref<Tile> Table::dropExpired(std::uint32_t capacity) {
  Ref<Tile> again = std::move(spare_);
  if (maxPoints_ != 0 && number + 1 > maxPoints_) {
    const std::uint64_t oldest = number + 1 - maxPoints_;
    std::vector<Ref<Tile>>& tiles = ownTiles().tiles;
    std::size_t expired = 0;
    while (expired + 1 < tiles.size() && tiles[expired + 1]->firstRow <= oldest) ++expired;
    for (std::size_t i = 0; i < expired && !again; ++i) {
      if (tiles[i]->refs == 1 && tiles[i]->capacity == capacity) again = std::move(tiles[i]);
    }
    tiles.erase(tiles.begin(), tiles.begin() + static_cast<std::ptrdiff_t>(expired));
  }
  if (again && (again->refs != 1 || again->capacity != capacity || again->rowBytes != state_.rowBytes)) again = {};
  return again;
}

// Keeps the last tile, whose last row may become the current one again.
Ref<Tile> Table::dropStreamed(std::uint32_t capacity) {
  Ref<Tile> again = std::move(spare_);
  std::vector<Ref<Tile>>& tiles = ownTiles().tiles;
  if (tiles.size() > 1 && streamed_->final >= tiles.back()->firstRow) {
    if (!again) again = std::move(tiles.front());
    tiles.erase(tiles.begin(), tiles.end() - 1);
  }
  if (again && (again->refs != 1 || again->capacity != capacity || again->rowBytes != state_.rowBytes)) again = {};
  return again;
}

void Table::addTile() {
  const std::uint64_t held = number + 1 - state_.tiles->tiles.front()->firstRow;
  const std::size_t width = state_.rowBytes + sizeof(double);
  const std::uint32_t capacity = streamed_ ? streamedTileRows(width) : tileRows(width, held, maxPoints_);
  Ref<Tile> tile = streamed_ ? dropStreamed(capacity) : dropExpired(capacity);
  if (tile) {
    tile->shown = 0;
    tile->firstRow = number + 1;
    if (tile->texts && tile->texts->refs == 1 && !tile->texts->older) {
      tile->texts->truncate({});
    } else {
      tile->texts = {};
    }
  } else {
    tile = Tile::make(number + 1, capacity, state_.rowBytes);
    if (streamed_) std::memset(tile->row(0), 0, std::size_t{capacity} * state_.rowBytes);
  }
  last().shown = last().capacity;  // of what is shown later, only the last tile is marked
  pushTight(ownTiles().tiles, std::move(tile));
}

void Table::beginRow(double rowTime, std::uint32_t starter) {
  view_.reset();
  Tile* tile = &last();
  std::uint64_t k = number + 1 - tile->firstRow;
  if (k < tile->shown) {
    if (isLastTileShared()) {
      copyLast(k);
      tile = &last();
    } else {
      tile->shown = static_cast<std::uint32_t>(k);
    }
  }
  tile->times()[k] = rowTime;
  ++number;
  state_.previous = written;
  written = 0;
  state_.time = rowTime;
  state_.starter = starter;
  state_.grows = false;
  time = rowTime;
  bytes = tile->row(k);
  if (!streamed_) return;
  streamed_->hasCurrent = false;
  if (streamed_->hasTexts) std::memset(bytes, 0, state_.rowBytes);
}

void Table::openRow() {
  view_.reset();
  if (streamed_) {
    streamed_->final = std::min(streamed_->final, number);
    streamed_->hasCurrent = false;
  }
  if (isRowShown()) copyLast(rowInTile() + 1);
  bytes = last().row(rowInTile());
  time = state_.time;
}

void Table::takeBackRow(RowSink* sink) {
  view_.reset();
  if (streamed_ && sink != nullptr && streamed_->rows > number) {
    cutTo(number, *sink, [](std::uint32_t) { return UINT64_MAX; });
  }
  if (streamed_) streamed_->hasCurrent = streamed_->rows == number;
  if (last().firstRow == number) {
    TileList& own = ownTiles();
    spare_ = std::move(own.tiles.back());
    own.tiles.pop_back();
  }
  --number;
  written = state_.previous;
  state_.time = last().times()[rowInTile()];
  block();
}

void Table::show() {
  last().shown = std::max(last().shown, static_cast<std::uint32_t>(rowInTile() + 1));
  state_.grows = false;
  block();
}

TextStore& Table::texts() {
  if (!last().texts) last().texts = Ref<TextStore>(new TextStore());
  return *last().texts;
}

std::shared_ptr<const RecordedTable> Table::view() {
  if (!view_) {
    show();
    view_ = rowsOf(state_, number + 1);
  }
  return view_;
}

std::shared_ptr<const RecordedTable> Table::rowsOf(const TableState& state, std::uint64_t end) const {
  if (!streamed_) return std::make_shared<const RecordedTable>(state.tiles, end);
  const bool isComplete = &state == &state_ && streamed_->rows == end && streamed_->hasCurrent;
  OlderRows older{streamed_->older, isComplete ? streamed_->stored : nullptr};
  return std::make_shared<const RecordedTable>(state.tiles, end, std::move(older));
}

void Table::stream(std::shared_ptr<const vtu::StoredTable> stored, std::shared_ptr<const vtu::SampleTable> rows,
                   bool hasTexts) {
  show();  // nobody writes to the current row unnoticed
  view_.reset();
  const std::uint64_t final = written == state_.attached ? number + 1 : number;
  streamed_ =
      std::make_unique<Streamed>(Streamed{std::move(stored), std::move(rows), hasTexts, final, number + 1, true, {}});
}

void Table::spill(RowSink& sink, std::uint64_t end) {
  if (end <= streamed_->final || streamed_->isGivenUp) return;
  const RecordedTable rows(state_.tiles, end);
  const std::uint64_t from = streamed_->final;
  if (!sink.put(streamNumber(), rows, from - rows.begin(), from, end - from)) return;
  view_.reset();
  streamed_->rows = end;
  const bool isPartial = end > number && written != state_.attached;
  streamed_->final = isPartial ? number : end;
  streamed_->hasCurrent = end > number;
  if (isPartial) block();
}

void Table::cutTo(std::optional<std::uint64_t> rows, RowSink& sink, const RowSink::Left& left) {
  view_.reset();
  streamed_->hasCurrent = false;
  const std::uint64_t now = sink.stepBack(streamNumber(), rows, left);
  if (now < streamed_->rows) streamed_->cuts.push_back(now);
  streamed_->rows = std::min(streamed_->rows, now);
  streamed_->final = std::min(streamed_->final, now);
}

void Table::giveUp(RowSink& sink, const RowSink::Left& left) {
  cutTo({}, sink, left);
  state_.ended = true;
  streamed_->isGivenUp = true;
}

bool Table::holds(const TableState& state) const {
  if (!streamed_) return true;
  if (streamed_->isReplaced) return false;
  const std::uint64_t inFile = state.tiles->tiles.front()->firstRow;
  return std::all_of(streamed_->cuts.begin() + static_cast<std::ptrdiff_t>(state.cuts), streamed_->cuts.end(),
                     [inFile](std::uint64_t left) { return left >= inFile; });
}

TableState Table::capture() const {
  TableState state = state_;
  state.current = number;
  state.written = written;
  if (last().texts) state.texts = last().texts->mark();
  if (streamed_) state.cuts = streamed_->cuts.size();
  return state;
}

void Table::restore(const TableState& state, RowSink* sink, const RowSink::Left& left) {
  view_.reset();
  state_ = state;
  number = state.current;
  written = state.written;
  if (streamed_ && sink != nullptr) {
    streamed_->isGivenUp = false;
    cutTo(number + 1, *sink, left);
    if (written != state_.attached) streamed_->final = std::min(streamed_->final, number);
    streamed_->hasCurrent = streamed_->final == number + 1;
  }
  block();
  // Removes later texts if there are no references to later rows.
  Tile& tile = last();
  if (tile.texts && tile.shown <= rowInTile() + 1) tile.texts->truncate(state.texts);
}

}  // namespace vtio::recorders
