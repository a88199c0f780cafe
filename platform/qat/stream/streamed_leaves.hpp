/// @file
/// Leaves of a streamed file that are read together, strays included.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/qat/stray_format.hpp"
#include "platform/qat_stream.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {

/// Leaves side by side in a row, and where the file has them since it was closed.
class StreamedLeaves final {
 public:
  struct Leaf {
    StreamLeaf leaf;
    std::size_t offset;  // in a row

    [[nodiscard]] LeafPlace place() const { return {leaf.table, leaf.column}; }
  };

  StreamedLeaves(std::span<const StreamLeaf> leaves, std::uint64_t rows) : rows_(rows) {
    std::size_t offset = 0;
    for (const StreamLeaf& leaf : leaves) {
      leaves_.push_back({leaf, offset});
      offset += leaf.bytes;
    }
  }

  [[nodiscard]] std::uint64_t rows() const { return rows_; }
  [[nodiscard]] const std::vector<Leaf>& leaves() const { return leaves_; }

  /// The leaf whose values begin there.
  [[nodiscard]] std::optional<LeafPlace> placeAt(std::size_t offset) const {
    for (const Leaf& leaf : leaves_) {
      if (leaf.offset == offset) return leaf.place();
    }
    return {};
  }

  /// The table of the file that has all of their samples and no more; null if there is none.
  [[nodiscard]] const StoredTable* stored() const { return stored_ ? &*stored_ : nullptr; }
  void stored(std::optional<StoredTable> place) { stored_ = std::move(place); }

 private:
  std::vector<Leaf> leaves_;
  std::uint64_t rows_;
  std::optional<StoredTable> stored_;
};

}  // namespace vtu::qat
