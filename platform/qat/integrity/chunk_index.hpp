/// @file
/// The chunks of a dataset, through every kind of index that the latest format and the one before it have.
#pragma once

#include <string_view>
#include <vector>

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/layout.hpp"

namespace vtu::qat {

/// How chunks are found. The values are those of the layout message; the old tree has none there.
enum class ChunkIndexForm : std::uint8_t {
  oldTree = 0,
  single = 1,
  implicit = 2,
  fixedArray = 3,
  extensibleArray = 4,
  tree = 5,
};

/// One stored chunk.
struct StoredChunk {
  std::uint64_t address = kNoAddress;
  std::uint64_t size = 0;
  std::uint32_t skippedFilters = 0;  // one bit each
};

/// The index of a dataset's chunks.
struct ChunkIndex {
  ChunkIndexForm form = ChunkIndexForm::single;
  std::vector<std::uint64_t> chunk;  // extents; the last is the size of an element
  std::uint64_t address = kNoAddress;
  StoredChunk single;           // of a single filtered chunk
  std::string_view parameters;  // of an array, as the layout repeats them
};

/// Checks the index and every chunk in it. @throws Failure
void checkChunks(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index);

}  // namespace vtu::qat
