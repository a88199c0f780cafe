/// @file
/// The newest samples of some leaves, in a file that is being written.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/qat/kit.hpp"
#include "platform/qat/ring_format.hpp"
#include "platform/qat/stream/byte_rows.hpp"
#include "platform/qat/stream/row_counts.hpp"
#include "platform/qat_stream.hpp"

namespace vtu::qat {

/// A leaf of a ring, and what variables refer to in its place.
struct RingPlace {
  std::uint32_t position;
  std::uint32_t bytes;  ///< in a row
  bool isText;
  std::vector<LeafPlace> places;
};

/// Sample n of a position is in row n modulo the capacity, which is a quarter larger than the limit: so the rows that
/// are written are those that readers do not know any more. Every function throws Failure.
class Ring final {
 public:
  /// Makes the group, empty, as a member of `parent`. Borrows the kit and the guard.
  /// @param leaves By position, without gaps.
  Ring(Kit& kit, const DiskGuard& guard, hid_t parent, std::uint32_t number, std::uint64_t limit,
       std::span<const RingPlace> leaves);

  /// What the file has of a position.
  [[nodiscard]] QatStream::Newest newest(std::uint32_t position) const;

  [[nodiscard]] bool hasSamples() const;
  [[nodiscard]] std::uint32_t positions() const { return static_cast<std::uint32_t>(positions_.size()); }

  /// Most samples of a position that are put at once without readers seeing fewer than the limit.
  [[nodiscard]] static std::uint64_t mostAtOnce(std::uint64_t limit);

  /// Puts samples, and lets readers know. @param flush Flushes what has grown.
  template <typename Flush>
  void put(std::span<const RingSamples> samples, const Flush& flush);

  /// Takes back the samples from `end` on. Readers learn of it with writeCounts().
  void cut(std::uint32_t position, std::uint64_t end);

  /// Lets readers know which samples are valid.
  void writeCounts();

 private:
  struct Position {
    std::uint32_t time = 0;            // where its time is in a row; its bytes follow
    std::uint32_t bytes = 0;           // without the time
    std::vector<std::uint32_t> cells;  // of texts, where they are in the bytes
    std::size_t firstSlot = 0;         // of its cells among those of a row
    std::uint64_t low = 0;             // samples [low, end) are in the file
    std::uint64_t end = 0;
  };
  /// Room for a text.
  struct Slot {
    std::uint64_t start = 0;
    std::uint64_t room = 0;
  };

  void addPositions(std::span<const RingPlace> leaves);
  void writeLeaves(hid_t group, std::span<const RingPlace> leaves) const;
  [[nodiscard]] std::uint64_t begin(const Position& position) const;
  [[nodiscard]] bool isSeen(std::span<const RingSamples> samples) const;
  [[nodiscard]] bool putPiece(std::span<const RingSamples> samples, std::uint64_t done, std::uint64_t most);
  void putBlock(std::span<const RingSamples> samples, std::uint64_t done, std::uint64_t count);
  void putRows(std::span<const RingSamples> samples, std::uint64_t done, std::uint64_t count);
  void putTexts(const RingSamples& samples, std::uint64_t row, std::uint64_t count, std::byte* bytes,
                std::size_t stride);
  [[nodiscard]] std::uint64_t roomFor(Slot& slot, std::uint32_t bytes);
  void account(const RingSamples& samples, std::uint64_t done, std::uint64_t count);

  std::uint64_t limit_, capacity_;
  std::uint32_t width_ = 0;
  std::size_t cells_ = 0;  // of texts in a row
  std::vector<Position> positions_;
  std::optional<ByteRows> samples_, texts_;
  std::optional<RowCounts> rows_;
  std::vector<Slot> slots_;  // row by row
  std::uint64_t textEnd_ = 0;
  std::map<std::uint64_t, std::vector<std::uint64_t>> freeRooms_;  // by size
  std::vector<std::uint64_t> counts_;
  std::vector<std::byte> buffer_;
  std::vector<double> times_;
  std::string text_;
};

template <typename Flush>
void Ring::put(std::span<const RingSamples> samples, const Flush& flush) {
  const std::uint64_t step = isSeen(samples) ? mostAtOnce(limit_) : limit_;
  for (std::uint64_t done = 0; putPiece(samples, done, step); done += step) {
    const bool haveRowsGrown = samples_->takeGrown(), haveTextsGrown = texts_ && texts_->takeGrown();
    if (haveRowsGrown || haveTextsGrown) flush();
    writeCounts();
  }
}

}  // namespace vtu::qat
