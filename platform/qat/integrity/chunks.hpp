/// @file
/// The chunks of a dataset and the indexes that find them.
#pragma once

#include <vector>

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/layout.hpp"

namespace vtu::qat {

/// One stored chunk.
struct StoredChunk {
  std::uint64_t address = kNoAddress;
  std::uint64_t size = 0;
  std::uint32_t skippedFilters = 0;  // one bit each
};

/// How chunks are found, as the Data Layout Message counts. Types 2 and 5 exist, but not in Qat files.
enum class ChunkIndexType : std::uint8_t { single = 1, fixedArray = 3, extensibleArray = 4 };

/// The index of a dataset's chunks.
struct ChunkIndex {
  ChunkIndexType type = ChunkIndexType::single;
  std::vector<std::uint64_t> chunk;  // extents; the last is the size of an element
  std::uint64_t address = kNoAddress;
  StoredChunk single;  // of a single filtered chunk
};

// The HDF5 library makes its arrays with these parameters; the Data Layout Message and the header of the array repeat
// them.
inline constexpr unsigned kPageBits = 10;      ///< log2 of the elements in a page
inline constexpr unsigned kMaxBits = 32;       ///< of the number of an element
inline constexpr unsigned kIndexElements = 4;  ///< elements in the index block itself
inline constexpr unsigned kMinPointers = 4;    ///< data blocks of the first secondary block
inline constexpr unsigned kMinElements = 16;   ///< elements in the first data block

/// Checks the index and every chunk in it. @throws Failure
void checkChunks(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index);

}  // namespace vtu::qat
