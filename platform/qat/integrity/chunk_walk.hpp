/// @file
/// What the walks over the indexes of chunks have in common.
#pragma once

#include "platform/qat/integrity/chunk_index.hpp"

namespace vtu::qat {

/// One dataset's chunks while they are checked. Borrows everything it is made with.
class ChunkWalk final {
 public:
  /// @throws Failure when extents, chunk and filters contradict each other.
  ChunkWalk(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index);

  [[nodiscard]] Blocks& blocks() const { return blocks_; }
  [[nodiscard]] const Cursor& layout() const { return at_; }
  [[nodiscard]] const DatasetInfo& dataset() const { return dataset_; }
  [[nodiscard]] const ChunkIndex& index() const { return index_; }
  [[nodiscard]] bool filtered() const { return !dataset_.filters.empty(); }
  [[nodiscard]] std::uint64_t chunkBytes() const { return chunkBytes_; }
  [[nodiscard]] std::size_t rank() const { return dataset_.space.extents.size(); }

  /// Chunks up to the limits of the extents; kNoAddress when there is no such number.
  [[nodiscard]] std::uint64_t mostChunks() const { return chunksWithin(dataset_.space.limits); }

  /// Bytes of the size of a filtered chunk in an index.
  [[nodiscard]] std::size_t sizeBytes() const;

  /// Bytes of one element of an index that is an array.
  [[nodiscard]] std::size_t elementBytes() const { return filtered() ? 8 + sizeBytes() + 4 : 8; }

  /// Reads such elements and checks their chunks.
  void checkElements(Cursor elements, std::uint64_t count);

  /// Checks that a chunk lies in the file and gives as many bytes as it has elements.
  void checkChunk(const StoredChunk& chunk);

 private:
  [[nodiscard]] std::uint64_t chunksWithin(const std::vector<std::uint64_t>& extents) const;
  [[nodiscard]] std::uint64_t unfilteredBytes(const StoredChunk& chunk) const;

  Blocks& blocks_;
  const Cursor& at_;
  const DatasetInfo& dataset_;
  const ChunkIndex& index_;
  std::uint64_t chunkBytes_ = 0;
};

/// The two kinds of arrays and the old tree. @throws Failure
void checkFixedArray(ChunkWalk& walk);
void checkExtensibleArray(ChunkWalk& walk);
void checkOldTree(ChunkWalk& walk);

}  // namespace vtu::qat
