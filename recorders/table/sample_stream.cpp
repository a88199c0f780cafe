#include "recorders/table/sample_stream.hpp"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "recorders/table/chunk_size.hpp"

namespace vtio::recorders {
namespace {

// Where a stream without times stands: no time equals it.
constexpr double kNoTime = std::numeric_limits<double>::quiet_NaN();

// Lists of chunks grow by a quarter: doubling would leave too much unused beside small chunks.
template <typename T>
void pushTight(std::vector<T>& list, T value) {
  if (list.size() == list.capacity()) list.reserve(list.size() + std::max<std::size_t>(4, list.size() / 4));
  list.push_back(std::move(value));
}

std::u16string_view deliveredText(const LeafColumn& column, const std::byte* data) {
  if (column.type.text == StoredType::Text::address) {
    const std::u16string* text = nullptr;
    std::memcpy(&text, data, sizeof(void*));
    return text != nullptr ? std::u16string_view(*text) : std::u16string_view();
  }
  // In place: up to the terminator or the end of the leaf's bytes. Structures align 16-bit characters.
  const auto* units = reinterpret_cast<const char16_t*>(data);
  const std::size_t most = column.deliveredBytes / sizeof(char16_t);
  std::size_t length = 0;
  while (length < most && units[length] != u'\0') ++length;
  return {units, length};
}

template <std::size_t bytes>
void gatherPiecesOf(const std::vector<std::size_t>& offsets, const std::byte* data, std::byte* out) {
  for (const std::size_t offset : offsets) {
    std::memcpy(out, data + offset, bytes);
    out += bytes;
  }
}

// Pieces of the usual sizes without a call for each.
void gatherPieces(const LeafColumn& column, const std::byte* data, std::byte* out) {
  switch (column.deliveredBytes) {
    case 1:
      return gatherPiecesOf<1>(column.offsets, data, out);
    case 2:
      return gatherPiecesOf<2>(column.offsets, data, out);
    case 4:
      return gatherPiecesOf<4>(column.offsets, data, out);
    case 8:
      return gatherPiecesOf<8>(column.offsets, data, out);
    case 16:
      return gatherPiecesOf<16>(column.offsets, data, out);
    default:
      for (const std::size_t offset : column.offsets) {
        std::memcpy(out, data + offset, column.deliveredBytes);
        out += column.deliveredBytes;
      }
  }
}

}  // namespace

SampleStream::SampleStream(const LayoutPosition& position, std::uint64_t maxPoints, TimeBase& base, RowCursor& cursor)
    : cursor_(cursor), maxPoints_(maxPoints), position_(position), base_(base) {
  for (const LeafColumn& column : position.columns) {
    rowBytes_ += column.bytesPerRow();
    hasText_ = hasText_ || column.type.text != StoredType::Text::none;
  }
  if (isBlock()) cursor_.bytes = static_cast<std::uint32_t>(rowBytes_);
  cursor_.times = &kNoTime;
  base_.addWindow(maxPoints);
}

// Is a row the beginning of the delivered bytes as it stands?
bool SampleStream::isBlock() const {
  if (position_.columns.size() != 1 || hasText_ || rowBytes_ > std::numeric_limits<std::uint32_t>::max()) return false;
  const std::vector<std::size_t>& offsets = position_.columns.front().offsets;
  return offsets.size() == 1 && offsets.front() == 0;
}

void SampleStream::append(double time, const void* data) {
  if (!cursor_.standsAt(time)) findTime(time);
  const auto* bytes = static_cast<const std::byte*>(data);
  if (cursor_.bytes != 0) {
    std::memcpy(cursor_.rows + std::size_t{cursor_.row} * rowBytes_, bytes, rowBytes_);
  } else if (rowBytes_ != 0) {
    gather(bytes);
  }
  ++cursor_.row;
}

// Appends to the chunk of times, or follows whoever recorded this time before, or goes a way of its own.
void SampleStream::findTime(double time) {
  if (cursor_.row == cursor_.end) makeRoom();
  const std::uint64_t sample = count();
  TimeChunk* tail = state_.times.empty() ? nullptr : state_.times.back().get();
  if (tail != nullptr && sample - tail->firstRow < tail->rows) {
    const auto row = static_cast<std::uint32_t>(sample - tail->firstRow);
    if (row == tail->used) {
      tail->times()[row] = time;
      ++tail->used;
    } else if (!sameTime(tail->times()[row], time)) {
      enterTimeChunk(base_.follow(tail, sample, time), true);
      return;
    }
    standIn(*tail);
    return;
  }
  // What is no longer needed goes first, so that its memory may serve the new chunk.
  dropExpiredTimes();
  enterTimeChunk(base_.follow(tail, sample, time), false);
}

void SampleStream::enterTimeChunk(Ref<TimeChunk> chunk, bool replacesTail) {
  if (replacesTail) {
    state_.times.back() = std::move(chunk);
  } else {
    pushTight(state_.times, std::move(chunk));
  }
  standIn(*state_.times.back());
}

// The time of the next row stands in this chunk.
void SampleStream::standIn(const TimeChunk& chunk) {
  cursor_.times = chunk.times();
  cursor_.timeShift = static_cast<std::int32_t>(count() - chunk.firstRow) - static_cast<std::int32_t>(cursor_.row);
}

// The last chunk stays: it is where the next one follows.
void SampleStream::dropExpiredTimes() {
  if (maxPoints_ == 0) return;
  const std::uint64_t oldest = count() + 1 > maxPoints_ ? count() + 1 - maxPoints_ : 0;
  std::size_t expired = 0;
  while (expired + 1 < state_.times.size() && state_.times[expired + 1]->firstRow <= oldest) ++expired;
  state_.times.erase(state_.times.begin(), state_.times.begin() + static_cast<std::ptrdiff_t>(expired));
}

// Makes the next row a row of the last chunk that may be written.
void SampleStream::makeRoom() {
  if (!state_.rows.empty() && cursor_.row < state_.rows.back()->rows) {
    RowChunk& tail = *state_.rows.back();
    if (tail.refs != 1 && cursor_.row < tail.used) {
      copyTail();
    } else {
      if (cursor_.row < tail.used) rewindText();
      cursor_.end = tail.rows;
    }
    return;
  }
  const std::uint32_t rows = chunkRows(rowBytes_, count() - first(), maxPoints_, 1);
  Ref<RowChunk> chunk = dropExpired(rows);
  if (!chunk) chunk = RowChunk::make(rows, rowBytes_, hasText_);
  if (!state_.rows.empty()) state_.rows.back()->used = state_.rows.back()->rows;
  const std::uint64_t tailRow = count();
  if (state_.rows.empty()) state_.frontRow = tailRow;
  pushTight(state_.rows, std::move(chunk));
  state_.tailRow = tailRow;
  cursor_.timeShift += static_cast<std::int32_t>(cursor_.row);
  cursor_.row = 0;
  useTail();
  cursor_.end = rows;
}

// Another holder needs what stands from the next row on: goes on in a copy of the rows before.
void SampleStream::copyTail() {
  RowChunk& from = *state_.rows.back();
  const std::uint32_t row = cursor_.row;
  Ref<RowChunk> copy = RowChunk::make(from.rows, rowBytes_, hasText_);
  std::size_t columnStart = 0;
  for (const LeafColumn& column : position_.columns) {
    const std::size_t bytes = column.bytesPerRow();
    std::byte* out = copy->data() + columnStart * from.rows;
    std::memcpy(out, from.data() + columnStart * from.rows, bytes * row);
    for (std::size_t at = 0; column.type.text != StoredType::Text::none && at < bytes * row; at += sizeof(TextCell)) {
      TextCell cell;
      std::memcpy(&cell, out + at, sizeof cell);
      cell.position = static_cast<std::uint32_t>(copy->text().append(from.text().read(cell.position, cell.length)));
      std::memcpy(out + at, &cell, sizeof cell);
    }
    columnStart += bytes;
  }
  state_.rows.back() = std::move(copy);
  useTail();
  cursor_.end = state_.rows.back()->rows;
}

// Drops the chunks whose samples are all older than the newest maxPoints, the coming one included; returns one of them
// to be used again, if nobody else holds it and it has the wanted size.
Ref<RowChunk> SampleStream::dropExpired(std::uint32_t rows) {
  Ref<RowChunk> again;
  if (maxPoints_ == 0 || count() < maxPoints_) return again;
  const std::uint64_t oldest = count() + 1 - maxPoints_;
  std::size_t expired = 0;
  while (expired < state_.rows.size() && state_.frontRow + state_.rows[expired]->rows <= oldest) {
    Ref<RowChunk>& chunk = state_.rows[expired++];
    state_.frontRow += chunk->rows;
    if (chunk->refs == 1 && chunk->rows == rows) again = std::move(chunk);
  }
  state_.rows.erase(state_.rows.begin(), state_.rows.begin() + static_cast<std::ptrdiff_t>(expired));
  if (again) {
    again->used = 0;
    if (hasText_) again->text().truncate(0);
  }
  return again;
}

void SampleStream::useTail() { cursor_.rows = state_.rows.empty() ? nullptr : state_.rows.back()->data(); }

// Nobody needs the texts from the next row on any more: the arena goes back to the end of the last text before.
void SampleStream::rewindText() {
  if (!hasText_) return;
  RowChunk& tail = *state_.rows.back();
  const std::uint32_t row = cursor_.row;
  std::uint64_t end = 0;
  std::size_t columnStart = 0;
  for (const LeafColumn& column : position_.columns) {
    const std::size_t bytes = column.bytesPerRow();
    const std::byte* cells = tail.data() + columnStart * tail.rows + bytes * (row - std::size_t{1});
    for (std::size_t at = 0; row != 0 && column.type.text != StoredType::Text::none && at < bytes;
         at += sizeof(TextCell)) {
      TextCell cell;
      std::memcpy(&cell, cells + at, sizeof cell);
      end = std::max<std::uint64_t>(end, std::uint64_t{cell.position} + cell.length);
    }
    columnStart += bytes;
  }
  tail.text().truncate(end);
}

void SampleStream::gather(const std::byte* data) {
  std::byte* columnData = cursor_.rows;
  const std::uint32_t row = cursor_.row;
  const std::uint32_t rows = state_.rows.back()->rows;
  for (const LeafColumn& column : position_.columns) {
    const std::size_t bytes = column.bytesPerRow();
    std::byte* out = columnData + bytes * row;
    if (column.type.text != StoredType::Text::none) {
      gatherTexts(column, data, out);
    } else {
      gatherPieces(column, data, out);
    }
    columnData += bytes * rows;
  }
}

// A text that cannot be kept leaves the stream as it was before the sample.
void SampleStream::gatherTexts(const LeafColumn& column, const std::byte* data, std::byte* out) {
  TextArena& arena = state_.rows.back()->text();
  for (const std::size_t offset : column.offsets) {
    const std::u16string_view text = deliveredText(column, data + offset);
    if (text.size() > std::numeric_limits<std::uint32_t>::max() - arena.size()) {
      throw std::length_error("The texts of one chunk of samples take more than 4294967295 characters");
    }
    const std::uint64_t position = arena.append(text);
    const TextCell cell{static_cast<std::uint32_t>(position), static_cast<std::uint32_t>(text.size())};
    std::memcpy(out, &cell, sizeof cell);
    out += sizeof cell;
  }
}

double SampleStream::timeOf(std::uint64_t sample) const {
  auto chunk = state_.times.end() - 1;
  while ((*chunk)->firstRow > sample) --chunk;
  return (*chunk)->times()[sample - (*chunk)->firstRow];
}

vtu::qxArrayWrapper SampleStream::timeArray() const {
  return base_.timeArray(state_.times.data(), state_.times.size(), first(), count());
}

void SampleStream::visit(std::size_t column,
                         const std::function<void(const std::byte*, std::size_t, RowChunk&)>& use) const {
  std::size_t columnStart = 0;
  for (std::size_t i = 0; i < column; ++i) columnStart += position_.columns[i].bytesPerRow();
  const std::size_t bytes = position_.columns[column].bytesPerRow();
  std::uint64_t start = state_.frontRow;
  constexpr std::size_t kAhead = 16;  // chunks of one stream stand far apart in memory: asked for in time
  for (std::size_t i = 0; i < state_.rows.size(); ++i) {
    if (i + kAhead < state_.rows.size()) __builtin_prefetch(state_.rows[i + kAhead].get());
    const Ref<RowChunk>& chunk = state_.rows[i];
    const std::uint64_t end = std::min(start + chunk->rows, count());
    const std::uint64_t begin = std::max(start, first());
    if (begin < end) use(chunk->data() + columnStart * chunk->rows + bytes * (begin - start), end - begin, *chunk);
    start += chunk->rows;
  }
}

void SampleStream::noteUsed() {
  if (!state_.rows.empty()) state_.rows.back()->used = std::max(state_.rows.back()->used, cursor_.row);
}

StreamState SampleStream::capture() {
  noteUsed();
  cursor_.end = cursor_.row;  // the next append looks whether the last chunk may be written
  StreamState state = state_;
  state.row = cursor_.row;
  return state;
}

void SampleStream::restore(const StreamState& state) {
  noteUsed();
  state_ = state;
  cursor_.row = state.row;
  cursor_.end = cursor_.row;
  useTail();
  if (!state_.times.empty()) {
    standIn(*state_.times.back());
  } else {
    cursor_.times = &kNoTime;
    cursor_.timeShift = -static_cast<std::int32_t>(cursor_.row);
  }
}

}  // namespace vtio::recorders
