/// @file
/// Sample data of one stream: a run of rows, column by column, and the texts that cells refer to.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "recorders/table/ref.hpp"

namespace vtio::recorders {

/// Texts one after another in blocks that never move.
class TextArena final {
 public:
  /// Appends a text; returns the position of its first code unit.
  std::uint64_t append(std::u16string_view text);

  /// A copy of `length` code units from a position on.
  [[nodiscard]] std::u16string read(std::uint64_t position, std::size_t length) const;

  /// Forgets everything from a position on; the blocks stay for what comes next.
  void truncate(std::uint64_t size) { size_ = size; }

  [[nodiscard]] std::uint64_t size() const { return size_; }

 private:
  static constexpr std::size_t kBlock = 256;  // code units

  std::vector<std::unique_ptr<char16_t[]>> blocks_;
  std::uint64_t size_ = 0;
};

/// Where a cell's text stands in the arena of its chunk.
struct TextCell {
  std::uint32_t position;
  std::uint32_t length;
};

/// A run of rows. Column c begins `c's offset in a row * rows` bytes into the data that follows the header, so that the
/// values of a column are contiguous. Several holders may share a chunk: the one whose rows end at `used` may add to
/// it, any other copies it first.
struct RowChunk {
  std::atomic<std::uint32_t> refs = 0;  // arrays that hold a share may be destroyed on any thread
  std::uint32_t used = 0;  // rows that some holder may refer to; brought up to date when a holder is added or leaves
  std::uint32_t rows = 0;  // capacity
  std::uint32_t hasText = 0;

  [[nodiscard]] std::byte* data() { return reinterpret_cast<std::byte*>(this + 1); }

  /// The arena of a chunk made with texts, which stands in front of the header.
  [[nodiscard]] TextArena& text() { return reinterpret_cast<TextArena*>(this)[-1]; }

  /// A chunk of `rows` rows with uninitialised data.
  [[nodiscard]] static Ref<RowChunk> make(std::uint32_t rows, std::size_t rowBytes, bool hasText);

  /// Called with the last share.
  static void destroy(RowChunk* chunk);
};

}  // namespace vtio::recorders
