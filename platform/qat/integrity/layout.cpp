#include "platform/qat/integrity/layout.hpp"

#include "platform/qat/integrity/chunks.hpp"

namespace vtu::qat {
namespace {

enum LayoutClass : unsigned { compact = 0, contiguous = 1, chunked = 2 };

constexpr const char* kRepack = "; repack the file with h5repack --low=2 --high=2 -l CONTI";

std::uint64_t bytesOf(const Cursor& at, const DatasetInfo& dataset) {
  std::uint64_t bytes = 0;
  const bool overflow = __builtin_mul_overflow(dataset.space.elements, dataset.type.size, &bytes);
  at.require(!overflow, "dataset's number of bytes");
  return bytes;
}

/// HDF5 fills in what was never written, up to the extents.
void requireWritten(const Cursor& at, const DatasetInfo& dataset) {
  constexpr std::uint64_t kLittle = 4096;
  if (bytesOf(at, dataset) > kLittle) at.refuse("a dataset without any data");
}

void checkContiguous(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  const std::uint64_t address = at.u64();
  const std::uint64_t size = at.u64();
  if (address == kNoAddress) return requireWritten(at, dataset);
  at.require(size == bytesOf(at, dataset), "Size", size);
  blocks.claim({"contiguous data", address}, size);
}

/// The parameters with which the HDF5 library makes its index of this kind.
void checkIndexParameters(Cursor& at, ChunkIndexType type) {
  if (type == ChunkIndexType::fixedArray) return at.expect(1, kPageBits, "Page Bits");
  at.expect(1, kMaxBits, "Max Bits");
  at.expect(1, kIndexElements, "Index Elements");
  at.expect(1, kMinPointers, "Min Pointers");
  at.expect(1, kMinElements, "Min Elements");
  at.expect(1, kPageBits, "Page Bits");
}

void checkChunked(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  constexpr unsigned kSingleFiltered = 2;
  const unsigned flags = at.u8();
  if ((flags & ~kSingleFiltered) != 0) at.refuse("chunks at the edge that are not filtered as the others");
  const std::size_t rank = at.u8();
  at.require(rank > 1 && rank == dataset.space.extents.size() + 1, "Dimensionality", rank);
  const std::size_t width = at.u8();
  at.require(width > 0 && width <= 8, "Dimension Size Encoded Length", width);
  ChunkIndex index;
  for (std::size_t i = 0; i < rank; ++i) index.chunk.push_back(at.number(width));
  index.type = static_cast<ChunkIndexType>(at.u8());
  switch (index.type) {
    case ChunkIndexType::single:
      at.require((flags == kSingleFiltered) == !dataset.filters.empty(), "Flags", flags);
      if (flags == kSingleFiltered) {
        index.single.size = at.u64();
        index.single.skippedFilters = at.u32();
      }
      break;
    case ChunkIndexType::fixedArray:
    case ChunkIndexType::extensibleArray:
      checkIndexParameters(at, index.type);
      break;
    default:
      at.refuse("a chunk index of type " + std::to_string(static_cast<unsigned>(index.type)), kRepack);
  }
  index.address = at.u64();
  if (index.address == kNoAddress) return requireWritten(at, dataset);
  checkChunks(blocks, at, dataset, index);
}

}  // namespace

void checkLayout(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  const unsigned version = at.u8();
  const unsigned kind = at.u8();
  if (version != 4 && (version != 3 || kind == chunked)) {
    at.refuse("a layout of version " + std::to_string(version), kRepack);
  }
  at.require(kind == chunked || dataset.filters.empty(), "Layout Class", kind);
  switch (kind) {
    case compact: {
      const std::size_t size = at.u16();
      at.require(size == bytesOf(at, dataset), "Size", size);
      return at.skip(size);
    }
    case contiguous:
      return checkContiguous(blocks, at, dataset);
    case chunked:
      return checkChunked(blocks, at, dataset);
    default:
      at.refuse("a layout of class " + std::to_string(kind));
  }
}

}  // namespace vtu::qat
