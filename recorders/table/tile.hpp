/// @file
/// The rows of a table, in tiles.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/sample_table.hpp"
#include "recorders/table/ref.hpp"

namespace vtio::recorders {

/// The texts of a tile, in blocks that never move. The `start` of a cell is the address of its first byte. A copy of a
/// tile has a store of its own, which shares the one that the copied cells refer to.
class TextStore final {
 public:
  /// Appends the bytes of a text.
  /// @throws std::length_error for a text of 4 GiB or more.
  [[nodiscard]] vtu::TextCell append(std::string_view bytes);

  /// The bytes of a cell, valid as long as the store and until a truncate() that removes them.
  [[nodiscard]] static std::string_view read(vtu::TextCell cell);

  /// Where the next text is appended.
  struct Mark {
    std::size_t block = 0;
    std::size_t used = 0;
  };
  [[nodiscard]] Mark mark() const { return at_; }

  /// Removes all texts that were appended after the mark was taken; the blocks are kept for further texts.
  void truncate(Mark mark) { at_ = mark; }

  static void destroy(TextStore* store) { destroyChain(store); }

  std::atomic<std::uint32_t> refs = 0;
  Ref<TextStore> older;

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    std::size_t size;
  };

  std::vector<Block> blocks_;
  Mark at_;
};

/// Consecutive rows: their times, then the rows. Several lists of tiles may share a tile.
struct Tile {
  std::atomic<std::uint32_t> refs = 0;  // arrays that refer to it may be destroyed on any thread
  std::uint32_t shown = 0;              // rows to which snapshots or arrays may refer
  std::uint32_t capacity = 0;           // rows
  std::uint32_t rowBytes = 0;
  std::uint64_t firstRow = 0;  // its number in the table
  Ref<TextStore> texts;        // made with the first text

  [[nodiscard]] double* times() { return reinterpret_cast<double*>(this + 1); }
  [[nodiscard]] const double* times() const { return reinterpret_cast<const double*>(this + 1); }
  [[nodiscard]] std::byte* row(std::uint64_t k) {
    return reinterpret_cast<std::byte*>(times() + capacity) + k * rowBytes;
  }
  [[nodiscard]] const std::byte* row(std::uint64_t k) const { return const_cast<Tile*>(this)->row(k); }

  /// A tile with uninitialised rows.
  /// @throws std::bad_alloc
  [[nodiscard]] static Ref<Tile> make(std::uint64_t firstRow, std::uint32_t capacity, std::uint32_t rowBytes);

  /// Called when the last reference is released.
  static void destroy(Tile* tile);
};

/// The tiles of a table, oldest first. Shared by the table, snapshots and arrays; while it is shared, it is copied
/// before it is changed.
struct TileList {
  std::atomic<std::uint32_t> refs = 0;
  std::vector<Ref<Tile>> tiles;

  /// Which tile holds a row.
  [[nodiscard]] std::size_t find(std::uint64_t row) const;

  static void destroy(TileList* list) { delete list; }
};

}  // namespace vtio::recorders
