#include "platform/qat/integrity/chunk_index.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>

#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/chunk_walk.hpp"
#include "platform/qat/integrity/tree.hpp"

namespace vtu::qat {
namespace {

/// Bytes that a deflated block gives; kNoAddress when it is not one. Stops counting at `limit`.
std::uint64_t inflatedBytes(const unsigned char* bytes, std::size_t size, std::uint64_t limit) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  std::array<unsigned char, 32768> sink;
  stream.next_in = const_cast<unsigned char*>(bytes);
  stream.avail_in = static_cast<uInt>(size);
  int status = Z_OK;
  while (status == Z_OK && stream.total_out <= limit) {
    stream.next_out = sink.data();
    stream.avail_out = static_cast<uInt>(sink.size());
    status = inflate(&stream, Z_NO_FLUSH);
  }
  const std::uint64_t total = stream.total_out;
  inflateEnd(&stream);
  return status == Z_STREAM_END ? total : kNoAddress;
}

void checkTree(ChunkWalk& walk) {
  const std::size_t record = 8 + (walk.filtered() ? walk.sizeBytes() + 4 : 0) + 8 * walk.rank();
  const TreeType type = walk.filtered() ? TreeType::filteredChunks : TreeType::chunks;
  readTree(walk.blocks(), walk.index().address, type, record, [&](Cursor at) { walk.checkElements(at, 1); });
}

void checkSingle(ChunkWalk& walk) {
  walk.layout().require(walk.mostChunks() <= 1, "it has one chunk where its extents ask for more");
  StoredChunk chunk = walk.index().single;
  chunk.address = walk.index().address;
  if (!walk.filtered()) chunk.size = walk.chunkBytes();
  walk.checkChunk(chunk);
}

void checkImplicit(ChunkWalk& walk) {
  std::uint64_t bytes = 0;
  const std::uint64_t count = walk.mostChunks();
  walk.layout().require(
      !walk.filtered() && count != kNoAddress && !__builtin_mul_overflow(count, walk.chunkBytes(), &bytes),
      "its chunks need an index");
  walk.blocks().claimData({"chunks", walk.index().address}, bytes);
}

}  // namespace

ChunkWalk::ChunkWalk(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index)
    : blocks_(blocks), at_(at), dataset_(dataset), index_(index) {
  constexpr std::uint64_t kMostBytes = 0xFFFFFFFF;
  constexpr const char* kWhy = "its chunks have an impossible size";
  chunkBytes_ = 1;
  for (const std::uint64_t extent : index.chunk) {
    at.require(extent > 0 && extent <= kMostBytes / chunkBytes_, kWhy);
    chunkBytes_ *= extent;
  }
  at.require(!index.chunk.empty() && index.chunk.size() > 1, "chunks of a single value");
  at.require(index.chunk.back() == dataset.type.size, "its chunks have elements of another size than its dataset");
  // HDF5 makes something of every chunk of the extents, stored or not.
  constexpr std::uint64_t kAlwaysFine = 4096;
  at.require(chunksWithin(dataset.space.extents) <= kAlwaysFine + blocks.fileSize(),
             "more chunks than the file has bytes");
  for (const Filter& filter : dataset.filters) {
    if (filter.id < Filter::kDeflate || filter.id > Filter::kChecksum) {
      throw Failure(kUnsupported, inWords(at.place()) + ": a filter of number " + std::to_string(filter.id));
    }
  }
}

std::uint64_t ChunkWalk::chunksWithin(const std::vector<std::uint64_t>& extents) const {
  std::uint64_t count = 1;
  for (std::size_t i = 0; i < rank(); ++i) {
    const std::uint64_t limit = extents[i];
    if (limit == SpaceInfo::kUnlimited) return kNoAddress;
    const std::uint64_t along = limit / index_.chunk[i] + (limit % index_.chunk[i] != 0 ? 1 : 0);
    if (__builtin_mul_overflow(count, along, &count)) return kNoAddress;
  }
  return count;
}

std::size_t ChunkWalk::sizeBytes() const {
  const auto log2 = static_cast<std::size_t>(std::bit_width(chunkBytes_)) - 1;
  return std::min<std::size_t>(1 + (log2 + 8) / 8, 8);
}

void ChunkWalk::checkElements(Cursor elements, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    StoredChunk chunk;
    chunk.address = elements.u64();
    chunk.size = filtered() ? elements.number(sizeBytes()) : chunkBytes_;
    if (filtered()) chunk.skippedFilters = elements.u32();
    if (chunk.address != kNoAddress) checkChunk(chunk);
  }
}

void ChunkWalk::checkChunk(const StoredChunk& chunk) {
  const StructurePlace place{"chunk", chunk.address};
  blocks_.claimData(place, chunk.size);
  if (unfilteredBytes(chunk) != chunkBytes_) {
    throw Failure(kDamaged, inWords(place) + ": it does not hold " + std::to_string(chunkBytes_) + " bytes");
  }
}

std::uint64_t ChunkWalk::unfilteredBytes(const StoredChunk& chunk) const {
  constexpr std::uint64_t kFletcherBytes = 4;
  std::uint64_t bytes = chunk.size;
  for (std::size_t i = dataset_.filters.size(); i-- > 0;) {
    if ((chunk.skippedFilters >> i & 1U) != 0) continue;
    if (dataset_.filters[i].id == Filter::kChecksum) {
      if (bytes < kFletcherBytes) return kNoAddress;
      bytes -= kFletcherBytes;
    } else if (dataset_.filters[i].id == Filter::kDeflate) {
      if (bytes != chunk.size && bytes + kFletcherBytes != chunk.size) return kNoAddress;  // deflated twice
      const Block block = blocks_.peek({"chunk", chunk.address}, bytes);
      bytes = inflatedBytes(block.bytes.data(), block.bytes.size(), chunkBytes_ + kFletcherBytes * 32);
    }
  }
  return bytes;
}

void checkChunks(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index) {
  ChunkWalk walk(blocks, at, dataset, index);
  if (index.address == kNoAddress) return;
  switch (index.form) {
    case ChunkIndexForm::oldTree:
      return checkOldTree(walk);
    case ChunkIndexForm::single:
      return checkSingle(walk);
    case ChunkIndexForm::implicit:
      return checkImplicit(walk);
    case ChunkIndexForm::fixedArray:
      return checkFixedArray(walk);
    case ChunkIndexForm::extensibleArray:
      return checkExtensibleArray(walk);
    case ChunkIndexForm::tree:
      return checkTree(walk);
  }
}

}  // namespace vtu::qat
