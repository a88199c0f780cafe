#include "platform/qat/integrity/layout.hpp"

#include <algorithm>

#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/chunk_index.hpp"

namespace vtu::qat {
namespace {

enum class LayoutClass : std::uint8_t { compact = 0, contiguous = 1, chunked = 2, virtualView = 3 };

std::uint64_t bytesOf(const Cursor& at, const DatasetInfo& dataset) {
  std::uint64_t bytes = 0;
  const bool overflow = __builtin_mul_overflow(dataset.space.elements, dataset.type.size, &bytes);
  at.require(!overflow, "its dataset is larger than any file");
  return bytes;
}

void checkContiguous(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  const std::uint64_t address = at.u64();
  const std::uint64_t size = at.u64();
  if (address == kNoAddress) return;
  at.require(size >= bytesOf(at, dataset), "its dataset has fewer bytes than its type and extents ask for");
  blocks.claimData({"data", address}, size);
}

/// The form of chunks before there were several kinds of indexes.
void checkOldChunks(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  const std::size_t axes = at.u8();
  ChunkIndex index;
  index.form = ChunkIndexForm::oldTree;
  index.address = at.u64();
  at.require(axes == dataset.space.extents.size() + 1, "its chunks have other dimensions than its dataset");
  for (std::size_t i = 0; i < axes; ++i) index.chunk.push_back(at.u32());
  checkChunks(blocks, at, dataset, index);
}

void readIndexForm(Cursor& at, unsigned flags, ChunkIndex& index) {
  index.form = static_cast<ChunkIndexForm>(at.u8());
  switch (index.form) {
    case ChunkIndexForm::single:
      if ((flags & 2U) != 0) {
        index.single.size = at.u64();
        index.single.skippedFilters = at.u32();
      }
      break;
    case ChunkIndexForm::implicit:
      break;
    case ChunkIndexForm::fixedArray:
      index.parameters = at.text(1);
      break;
    case ChunkIndexForm::extensibleArray:
      index.parameters = at.text(5);
      break;
    case ChunkIndexForm::tree:
      at.skip(6);
      break;
    default:
      at.fail("its chunks have an unknown index");
  }
}

void checkNewChunks(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  const unsigned flags = at.u8();
  at.require(flags < 4, "its chunks have unknown flags");
  if ((flags & 1U) != 0) {
    throw Failure(kUnsupported, inWords(at.place()) + ": chunks at the edge that are not filtered as the others");
  }
  const std::size_t axes = at.u8();
  const std::size_t width = at.u8();
  at.require(axes == dataset.space.extents.size() + 1, "its chunks have other dimensions than its dataset");
  at.require(width > 0 && width <= 8, "its chunks have an unknown form");
  ChunkIndex index;
  for (std::size_t i = 0; i < axes; ++i) index.chunk.push_back(at.number(width));
  readIndexForm(at, flags, index);
  const bool filteredSingle = index.form == ChunkIndexForm::single && (flags & 2U) != 0;
  at.require(index.form != ChunkIndexForm::single || filteredSingle == !dataset.filters.empty(),
             "its filters and its chunk contradict each other");
  index.address = at.u64();
  checkChunks(blocks, at, dataset, index);
}

}  // namespace

void checkLayout(Blocks& blocks, Cursor at, const DatasetInfo& dataset) {
  const unsigned version = at.u8();
  at.require(version == 3 || version == 4, "its layout has an unknown version");
  const auto kind = static_cast<LayoutClass>(at.u8());
  at.require(kind == LayoutClass::chunked || dataset.filters.empty(), "filters of a dataset that has no chunks");
  switch (kind) {
    case LayoutClass::compact: {
      const std::size_t size = at.u16();
      at.require(size >= bytesOf(at, dataset), "its dataset has fewer bytes than its type and extents ask for");
      at.skip(size);
      return;
    }
    case LayoutClass::contiguous:
      return checkContiguous(blocks, at, dataset);
    case LayoutClass::chunked:
      return version == 3 ? checkOldChunks(blocks, at, dataset) : checkNewChunks(blocks, at, dataset);
    case LayoutClass::virtualView:
      throw Failure(kUnsupported, inWords(at.place()) + ": a dataset that is a view of others");
  }
  at.fail("its layout has an unknown class");
}

void requireFillValue(const Cursor& at, std::string_view value, const TypeInfo& type) {
  if (value.empty()) return;
  at.require(value.size() == type.size, "its fill value has another size than its elements");
  at.require(!type.refers || std::all_of(value.begin(), value.end(), [](char byte) { return byte == 0; }),
             "its fill value refers to something else");
}

}  // namespace vtu::qat
