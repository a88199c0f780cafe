#include "platform/qat/integrity/chunks.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <new>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kLargestChunk = std::uint64_t{32} << 20U;
constexpr std::uint64_t kPageElements = std::uint64_t{1} << kPageBits;
constexpr std::size_t kPrefix = 14;  // of the parts of an array: signature, version, client ID, header address
constexpr std::size_t kOffset = kMaxBits / 8;
constexpr std::size_t kChecksum = Blocks::kChecksumBytes;

// The layout of an extensible array: step s has blocksOf(s) data blocks of elementsOf(s) elements. The index block
// finds the blocks of the first steps, a secondary block each those of a later one. From some step on data blocks have
// pages.
constexpr unsigned kSteps = 1 + kMaxBits - 4;  // 4: log2 of kMinElements
constexpr unsigned kStepsInIndex = 4;          // twice log2 of kMinPointers
constexpr std::uint64_t blocksOf(unsigned step) { return std::uint64_t{1} << (step / 2); }
constexpr std::uint64_t elementsOf(unsigned step) { return std::uint64_t{kMinElements} << ((step + 1) / 2); }

/// Bytes that a deflated chunk gives; kNoAddress when it is not one, or gives more than `limit`.
std::uint64_t inflatedBytes(const Block& chunk, std::uint64_t limit) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  std::array<unsigned char, 32768> sink;
  stream.next_in = const_cast<unsigned char*>(chunk.bytes.data());
  stream.avail_in = static_cast<uInt>(chunk.bytes.size());
  int status = Z_OK;
  while (status == Z_OK && stream.total_out <= limit) {
    stream.next_out = sink.data();
    stream.avail_out = static_cast<uInt>(sink.size());
    status = inflate(&stream, Z_NO_FLUSH);
  }
  const std::uint64_t total = stream.total_out;
  inflateEnd(&stream);
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  return status == Z_STREAM_END ? total : kNoAddress;
}

/// One dataset's chunks while they are checked. Owns none of its arguments.
class ChunkWalk final {
 public:
  ChunkWalk(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index)
      : blocks_(blocks), at_(at), dataset_(dataset), index_(index), filtered_(!dataset.filters.empty()) {
    for (const std::uint64_t extent : index.chunk) {
      at.require(extent > 0, "Dimension #n Size", extent);
      if (chunkBytes_ > kLargestChunk / std::max<std::uint64_t>(extent, 1)) at.refuse("chunks of more than 32 MiB");
      chunkBytes_ *= extent;
    }
    at.require(index.chunk.back() == dataset.type.size, "Dataset Element Size", index.chunk.back());
    // HDF5 uses memory for every chunk of the extents, stored or not; a stored one has an element in the index.
    constexpr std::uint64_t kAlwaysFine = 4096, kBytesOfElement = 8;
    const std::uint64_t chunks = chunksWithin(dataset.space.extents);
    at.require(chunks <= kAlwaysFine + blocks.fileSize() / kBytesOfElement, "number of chunks", chunks);
    sizeBytes_ = std::min<std::size_t>(1 + (static_cast<std::size_t>(std::bit_width(chunkBytes_)) + 7) / 8, 8);
    elementBytes_ = filtered_ ? 8 + sizeBytes_ + 4 : 8;
  }

  void checkSingle() {
    at_.require(mostChunks() <= 1, "Dimension #n Size");
    StoredChunk chunk = index_.single;
    chunk.address = index_.address;
    if (!filtered_) chunk.size = chunkBytes_;
    checkChunk(chunk);
  }

  void checkFixedArray() {
    constexpr std::size_t kHeader = 28;
    const Block header = blocks_.take({"Fixed Array Header", index_.address}, "FAHD", kHeader);
    Cursor at = header.cursor();
    at.expect(1, clientId(), "Client ID");
    at.expect(1, elementBytes_, "Entry Size");
    at.expect(1, kPageBits, "Page Bits");
    const std::uint64_t elements = at.u64();
    at.require(elements > 0 && elements == mostChunks(), "Max Num Entries", elements);
    const StructurePlace place{"Fixed Array Data Block", at.u64()};
    if (place.address == kNoAddress) return;
    blocks_.requireInFile(place, elements);
    const bool paged = elements > kPageElements;
    const std::uint64_t inBlock = paged ? ((elements - 1) / kPageElements + 8) / 8 : elements * elementBytes_;
    const std::uint64_t size = kPrefix + inBlock + kChecksum;
    const Block block = blocks_.take(place, "FADB", size);
    if (!paged) return checkElements(startOf(block), elements);
    checkPages(place.address + size, elements, startOf(block).text(inBlock));
  }

  void checkExtensibleArray() {
    constexpr std::size_t kHeader = 72;
    const Block header = blocks_.take({"Extensible Array Header", index_.address}, "EAHD", kHeader);
    Cursor at = header.cursor();
    at.expect(1, clientId(), "Client ID");
    at.expect(1, elementBytes_, "Element Size");
    at.expect(1, kMaxBits, "Max Nelmts Bits");
    at.expect(1, kIndexElements, "Index Blk Elmts");
    at.expect(1, kMinElements, "Data Blk Min Elmts");
    at.expect(1, kMinPointers, "Secondary Blk Min Data Ptrs");
    at.expect(1, kPageBits, "Max Dblk Page Nelmts Bits");
    at.skip(32);  // statistics
    const std::uint64_t highest = at.u64();
    at.require(highest <= std::uint64_t{1} << kMaxBits, "Max Index Set", highest);
    at.skip(8);
    if (const std::uint64_t address = at.u64(); address != kNoAddress) checkIndexBlock(address);
  }

 private:
  /// Chunks up to these extents; kNoAddress when there is no such number.
  [[nodiscard]] std::uint64_t chunksWithin(const std::vector<std::uint64_t>& extents) const {
    std::uint64_t count = 1;
    for (std::size_t i = 0; i < extents.size(); ++i) {
      if (extents[i] == SpaceInfo::kUnlimited) return kNoAddress;
      const std::uint64_t along = extents[i] / index_.chunk[i] + (extents[i] % index_.chunk[i] != 0 ? 1 : 0);
      if (__builtin_mul_overflow(count, along, &count)) return kNoAddress;
    }
    return count;
  }
  [[nodiscard]] std::uint64_t mostChunks() const { return chunksWithin(dataset_.space.limits); }
  [[nodiscard]] unsigned clientId() const { return filtered_ ? 1 : 0; }

  /// The cursor after the prefix of a part of the array, which holds the client and the address of its header.
  [[nodiscard]] Cursor startOf(const Block& block) const {
    Cursor at = block.cursor();
    at.expect(1, clientId(), "Client ID");
    at.expect(8, index_.address, "Header Address");
    return at;
  }

  /// Elements in pages with a checksum each. @param used One bit for each page: it has been written.
  void checkPages(std::uint64_t address, std::uint64_t elements, std::string_view used) {
    for (std::uint64_t page = 0, from = 0; from < elements; ++page, from += kPageElements) {
      const std::uint64_t count = std::min(kPageElements, elements - from);
      const std::uint64_t size = count * elementBytes_ + kChecksum;
      if ((static_cast<unsigned char>(used[page / 8]) & (0x80U >> (page % 8))) != 0) {
        checkElements(blocks_.take({"Fixed Array Data Block Page", address}, "", size).cursor(), count);
      }
      address += size;
    }
  }

  void checkIndexBlock(std::uint64_t address) {
    constexpr std::uint64_t kPointers = 2 * (kMinPointers - 1) + kSteps - kStepsInIndex;
    const std::uint64_t size = kPrefix + kIndexElements * elementBytes_ + 8 * kPointers + kChecksum;
    const Block block = blocks_.take({"Extensible Array Index Block", address}, "EAIB", size);
    Cursor at = startOf(block);
    checkElements(at.part(kIndexElements * elementBytes_), kIndexElements);
    for (unsigned step = 0; step < kStepsInIndex; ++step) checkDataBlocks(at, step);
    for (unsigned step = kStepsInIndex; step < kSteps; ++step) checkSecondaryBlock(at.u64(), step);
  }

  void checkSecondaryBlock(std::uint64_t address, unsigned step) {
    if (address == kNoAddress) return;
    const StructurePlace place{"Extensible Array Secondary Block", address};
    if (elementsOf(step) > kPageElements) Cursor(nullptr, 0, place).refuse("more than 130 000 chunks along an axis");
    const Block block = blocks_.take(place, "EASB", kPrefix + kOffset + 8 * blocksOf(step) + kChecksum);
    Cursor at = startOf(block);
    at.skip(kOffset);
    checkDataBlocks(at, step);
  }

  void checkDataBlocks(Cursor& addresses, unsigned step) {
    for (std::uint64_t i = 0; i < blocksOf(step); ++i) {
      const std::uint64_t address = addresses.u64();
      if (address == kNoAddress) continue;
      const std::uint64_t size = kPrefix + kOffset + elementsOf(step) * elementBytes_ + kChecksum;
      const Block block = blocks_.take({"Extensible Array Data Block", address}, "EADB", size);
      Cursor at = startOf(block);
      at.skip(kOffset);
      checkElements(at, elementsOf(step));
    }
  }

  void checkElements(Cursor at, std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i) {
      StoredChunk chunk;
      chunk.address = at.u64();
      chunk.size = filtered_ ? at.number(sizeBytes_) : chunkBytes_;
      if (filtered_) chunk.skippedFilters = at.u32();
      if (chunk.address != kNoAddress) checkChunk(chunk);
    }
  }

  void checkChunk(const StoredChunk& chunk) {
    const StructurePlace place{"chunk", chunk.address};
    blocks_.claim(place, chunk.size);
    if (unfilteredBytes(chunk) != chunkBytes_) {
      throw Failure(kDamaged, inWords(place) + ": it does not hold " + std::to_string(chunkBytes_) + " bytes");
    }
  }

  /// Shuffling keeps the number of bytes.
  [[nodiscard]] std::uint64_t unfilteredBytes(const StoredChunk& chunk) const {
    const auto found = std::find(dataset_.filters.begin(), dataset_.filters.end(), kDeflate);
    const bool deflated =
        found != dataset_.filters.end() && (chunk.skippedFilters >> (found - dataset_.filters.begin()) & 1U) == 0;
    if (!deflated) return chunk.size;
    if (chunk.size > 2 * kLargestChunk) return kNoAddress;
    return inflatedBytes(blocks_.read({"chunk", chunk.address}, chunk.size), chunkBytes_);
  }

  Blocks& blocks_;
  const Cursor& at_;
  const DatasetInfo& dataset_;
  const ChunkIndex& index_;
  bool filtered_;
  std::uint64_t chunkBytes_ = 1;
  std::size_t sizeBytes_ = 0;     // of the size of a filtered chunk in an index
  std::size_t elementBytes_ = 0;  // of an element of an index that is an array
};

}  // namespace

void checkChunks(Blocks& blocks, const Cursor& at, const DatasetInfo& dataset, const ChunkIndex& index) {
  ChunkWalk walk(blocks, at, dataset, index);
  if (index.type == ChunkIndexType::single) walk.checkSingle();
  if (index.type == ChunkIndexType::fixedArray) walk.checkFixedArray();
  if (index.type == ChunkIndexType::extensibleArray) walk.checkExtensibleArray();
}

}  // namespace vtu::qat
