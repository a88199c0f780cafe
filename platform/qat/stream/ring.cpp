#include "platform/qat/stream/ring.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kRingChunkBytes = 1U << 20U;
constexpr std::uint64_t kRingTextChunk = 64U << 10U;

/// Rows of chunks of about a megabyte that fit the capacity.
std::uint64_t ringChunkRows(std::uint64_t capacity, std::uint64_t width) {
  const std::uint64_t chunks = (capacity * width + kRingChunkBytes - 1) / kRingChunkBytes;
  return (capacity + chunks - 1) / std::max<std::uint64_t>(chunks, 1);
}

}  // namespace

std::uint64_t Ring::mostAtOnce(std::uint64_t limit) {
  constexpr std::uint64_t kLeast = 64;
  return std::max(limit / 4, kLeast);
}

Ring::Ring(Kit& kit, const DiskGuard& guard, hid_t parent, std::uint32_t number, std::uint64_t limit,
           std::span<const RingPlace> leaves)
    : limit_(limit), capacity_(limit + mostAtOnce(limit)) {
  const std::string link = std::to_string(number);
  const Handle group(checked(H5Gcreate2(parent, link.c_str(), H5P_DEFAULT, kit.groupList(), H5P_DEFAULT), kStorage,
                             "cannot make a ring"));
  addPositions(leaves);
  samples_.emplace(kit, guard, group.get(), kRingSamplesMember, width_, ringChunkRows(capacity_, width_));
  if (cells_ > 0) texts_.emplace(kit, guard, group.get(), kRingTextsMember, 0, kRingTextChunk);
  writeLeaves(group.get(), leaves);
  rows_.emplace(group.get(), 2 * positions_.size());
  rows_->link(group.get());
  rows_->write(std::vector<std::uint64_t>(2 * positions_.size(), kNotInRing));
}

void Ring::addPositions(std::span<const RingPlace> leaves) {
  for (const RingPlace& leaf : leaves) {
    if (leaf.position == positions_.size()) {
      Position& position = positions_.emplace_back();
      position.time = width_;
      position.firstSlot = cells_;
      width_ += sizeof(double);
    }
    Position& position = positions_.back();
    for (std::uint32_t at = 0; leaf.isText && at < leaf.bytes; at += TextCell::kBytesInRow) {
      position.cells.push_back(position.bytes + at);
      ++cells_;
    }
    position.bytes += leaf.bytes;
    width_ += leaf.bytes;
  }
}

void Ring::writeLeaves(hid_t group, std::span<const RingPlace> leaves) const {
  std::vector<std::byte> records;
  std::uint32_t start = 0;
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    const RingPlace& leaf = leaves[i];
    const std::uint32_t time = positions_[leaf.position].time;
    if (i == 0 || leaves[i - 1].position != leaf.position) start = time + sizeof(double);
    for (const LeafPlace& place : leaf.places) {
      records.resize(records.size() + RingLeaf::kBytesInFile);
      RingLeaf{place, leaf.position, time, start, leaf.bytes, capacity_}.toBytes(records.data() + records.size() -
                                                                                 RingLeaf::kBytesInFile);
    }
    start += leaf.bytes;
  }
  constexpr const char* kWhat = "cannot write the leaves of a ring";
  const Handle type = makeRingLeafType();
  const hsize_t count = records.size() / RingLeaf::kBytesInFile;
  const Handle space(checked(H5Screate_simple(1, &count, nullptr), kStorage, kWhat));
  const Handle dataset(
      checked(H5Dcreate2(group, kRingLeavesMember, type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
              kStorage, kWhat));
  if (count == 0) return;
  checked(H5Dwrite(dataset.get(), type.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, records.data()), kStorage, kWhat);
}

std::uint64_t Ring::begin(const Position& position) const {
  return std::max(position.low, position.end - std::min(position.end, limit_));
}

QatStream::Newest Ring::newest(std::uint32_t position) const {
  const Position& of = positions_.at(position);
  return {of.low, of.end};
}

bool Ring::hasSamples() const {
  return std::any_of(positions_.begin(), positions_.end(), [](const Position& p) { return p.end > 0; });
}

void Ring::cut(std::uint32_t position, std::uint64_t end) {
  Position& of = positions_.at(position);
  of.end = std::min(of.end, end);
  of.low = std::min(of.low, of.end);
}

void Ring::writeCounts() {
  counts_.clear();
  for (const Position& position : positions_) {
    counts_.push_back(begin(position));
    counts_.push_back(position.end);
  }
  rows_->write(counts_);
}

/// True if readers see other samples of the positions.
bool Ring::isSeen(std::span<const RingSamples> samples) const {
  return std::any_of(samples.begin(), samples.end(), [this](const RingSamples& one) {
    const Position& position = positions_.at(one.position);
    return position.low < position.end;
  });
}

/// Puts the next samples of each position. @return False if there are no more.
bool Ring::putPiece(std::span<const RingSamples> samples, std::uint64_t done, std::uint64_t most) {
  bool isAny = false;
  for (std::size_t i = 0; i < samples.size();) {
    const RingSamples& one = samples[i];
    std::size_t next = i + 1;
    while (next < samples.size() && samples[next].position == samples[next - 1].position + 1 &&
           samples[next].number == one.number && samples[next].count == one.count) {
      ++next;
    }
    if (one.count > done) {
      putBlock(samples.subspan(i, next - i), done, std::min(most, one.count - done));
      isAny = true;
    }
    i = next;
  }
  return isAny;
}

/// Samples of adjacent positions with the same numbers.
void Ring::putBlock(std::span<const RingSamples> samples, std::uint64_t done, std::uint64_t count) {
  const std::uint64_t row = (samples.front().number + done) % capacity_;
  const std::uint64_t untilWrap = std::min(count, capacity_ - row);
  putRows(samples, done, untilWrap);
  if (untilWrap < count) putRows(samples, done + untilWrap, count - untilWrap);
  for (const RingSamples& one : samples) account(one, done, count);
}

/// Samples that are adjacent in the dataset, too.
void Ring::putRows(std::span<const RingSamples> samples, std::uint64_t done, std::uint64_t count) {
  const Position& first = positions_.at(samples.front().position);
  const Position& last = positions_.at(samples.back().position);
  const std::size_t stride = last.time + sizeof(double) + last.bytes - first.time;
  const std::uint64_t row = (samples.front().number + done) % capacity_;
  buffer_.resize(count * stride);
  times_.resize(count);
  for (const RingSamples& one : samples) {
    const Position& position = positions_.at(one.position);
    std::byte* out = buffer_.data() + (position.time - first.time);
    one.source->readTimes(one.first + done, count, times_.data());
    for (std::uint64_t i = 0; i < count; ++i) std::memcpy(out + i * stride, &times_[i], sizeof(double));
    out += sizeof(double);
    one.source->readRows(one.first + done, count, one.offset, position.bytes, out, stride);
    if (!position.cells.empty()) putTexts(one, row, count, out, stride);
  }
  samples_->write(row, count, first.time, stride, buffer_.data());
}

/// Copies the bytes of texts and lets their cells lead to the copies.
void Ring::putTexts(const RingSamples& samples, std::uint64_t row, std::uint64_t count, std::byte* bytes,
                    std::size_t stride) {
  const Position& position = positions_.at(samples.position);
  slots_.resize(std::max<std::size_t>(slots_.size(), (row + count) * cells_));
  for (std::uint64_t i = 0; i < count; ++i) {
    for (std::size_t k = 0; k < position.cells.size(); ++k) {
      std::byte* at = bytes + i * stride + position.cells[k];
      TextCell cell = TextCell::fromRow(at);
      if (cell.bytes > 0) {
        samples.source->readText(cell, text_);
        cell.start = roomFor(slots_[(row + i) * cells_ + position.firstSlot + k], cell.bytes);
        texts_->write(cell.start, cell.bytes, 0, 1, reinterpret_cast<const std::byte*>(text_.data()));
      } else {
        cell.start = 0;
      }
      cell.toRow(at);
    }
  }
}

/// Where a text of a row goes: where the one before was, if there is room. Readers do not know that one any more.
std::uint64_t Ring::roomFor(Slot& slot, std::uint32_t bytes) {
  constexpr std::uint64_t kLeast = 16;
  if (bytes <= slot.room) return slot.start;
  if (slot.room > 0) freeRooms_[slot.room].push_back(slot.start);
  slot.room = std::bit_ceil(std::max<std::uint64_t>(bytes, kLeast));
  auto& free = freeRooms_[slot.room];
  if (!free.empty()) {
    slot.start = free.back();
    free.pop_back();
  } else {
    slot.start = textEnd_;
    textEnd_ += slot.room;
  }
  return slot.start;
}

/// @param done Samples of these before.
void Ring::account(const RingSamples& samples, std::uint64_t done, std::uint64_t count) {
  Position& position = positions_.at(samples.position);
  const std::uint64_t first = samples.number + done, end = first + count;
  if (first < position.low && samples.number + samples.count <= position.low) {  // those that a step back needs again
    if (end == position.low) position.low = samples.number;
    return;
  }
  if (first != position.end) position.low = position.end = first;
  position.end = end;
  if (end > capacity_) position.low = std::max(position.low, end - capacity_);
}

}  // namespace vtu::qat
