#include "platform/qat/integrity/heap.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

#include "platform/qat/checksum.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/tree.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kHeaderBytes = 146;
constexpr std::size_t kMostObjectBytes = 1U << 16U;
constexpr unsigned kManaged = 0, kHuge = 1;

unsigned log2Of(std::uint64_t power) { return static_cast<unsigned>(std::bit_width(power)) - 1; }

std::size_t bytesForLimit(std::uint64_t limit) { return log2Of(limit) / 8 + 1; }

}  // namespace

Heap::Heap(Blocks& blocks, std::uint64_t address, std::size_t idBytes, Purpose purpose)
    : blocks_(blocks), address_(address), idBytes_(idBytes) {
  const Block header = blocks_.take({"heap header", address}, kHeaderBytes);
  Cursor at = header.cursor();
  at.expect("FRHP", 0);
  at.require(at.u16() == idBytes, "its identities have another size");
  at.require(at.u16() == 0, "it is filtered");
  const unsigned flags = at.u8();
  at.require(flags < 4, "it has unknown flags");
  checksums_ = (flags & 2U) != 0;
  const std::uint64_t largestObject = at.u32();
  at.skip(8);
  const std::uint64_t hugeTree = at.u64();
  at.skip(8);
  const std::uint64_t freeSpace = at.u64();
  const std::uint64_t span = at.u64();
  at.skip(8);
  at.require(at.u64() <= span, "its next block would be outside it");
  at.skip(8);
  at.skip(8);
  const std::uint64_t hugeCount = at.u64();
  at.skip(8);
  at.require(at.u64() == 0, "it has objects within identities");
  blocks_.verify(header, kHeaderBytes - 4);
  readShape(at, largestObject);
  const unsigned startRows = at.u16();
  const std::uint64_t root = at.u64();
  const unsigned rows = at.u16();
  at.require(startRows <= shape_.mostRows && rows <= shape_.mostRows, "it has more rows than it can have");
  if (root != kNoAddress) {
    if (rows == 0) {
      readDirect(root, 0, shape_.firstSize);
    } else {
      readIndirect(root, 0, rows, 0);
    }
  }
  readHuge(hugeTree, hugeCount);
  if (purpose == Purpose::changing) checkFreeSpace(freeSpace);
}

void Heap::readShape(Cursor& at, std::uint64_t largestObject) {
  shape_.width = at.u16();
  shape_.firstSize = at.u64();
  shape_.largestDirect = at.u64();
  shape_.bits = at.u16();
  constexpr const char* kWhy = "its blocks have an impossible shape";
  at.require(std::has_single_bit(shape_.width) && std::has_single_bit(shape_.firstSize) &&
                 std::has_single_bit(shape_.largestDirect),
             kWhy);
  at.require(shape_.firstSize <= shape_.largestDirect && shape_.largestDirect <= (std::uint64_t{1} << 31U) &&
                 shape_.bits <= 62,
             kWhy);
  at.require(largestObject > 0 && largestObject <= kMostObjectBytes, kWhy);
  const unsigned firstRowBits = log2Of(shape_.firstSize) + log2Of(shape_.width);
  at.require(shape_.bits > firstRowBits && shape_.bits > log2Of(shape_.largestDirect), kWhy);
  shape_.directRows = log2Of(shape_.largestDirect) - log2Of(shape_.firstSize) + 2;
  shape_.mostRows = shape_.bits - firstRowBits + 1;
  shape_.offsetBytes = (shape_.bits + 7) / 8;
  shape_.lengthBytes = std::min<std::size_t>((log2Of(shape_.largestDirect) + 7) / 8, bytesForLimit(largestObject));
  at.require(1 + shape_.offsetBytes + shape_.lengthBytes <= idBytes_, "its identities are too small");
}

void Heap::readPrefix(Cursor& at, std::string_view signature, std::uint64_t offset) const {
  at.expect(signature, 0);
  at.require(at.u64() == address_, "it belongs to another heap");
  at.require(at.number(shape_.offsetBytes) == offset, "it stands at another place of its heap");
}

void Heap::readDirect(std::uint64_t address, std::uint64_t offset, std::uint64_t size) {
  const StructurePlace place{"heap block", address};
  Block block = blocks_.take(place, size);
  Cursor at = block.cursor();
  readPrefix(at, "FHDB", offset);
  if (checksums_) {
    const std::size_t checksumAt = block.bytes.size() - at.left();
    const std::uint32_t stored = at.u32();
    std::memset(block.bytes.data() + checksumAt, 0, sizeof stored);
    blocks_.verify(place, address + checksumAt, stored, metadataChecksum(block.bytes.data(), block.bytes.size()));
  }
  direct_.emplace(offset, std::move(block));
}

void Heap::readIndirect(std::uint64_t address, std::uint64_t offset, unsigned rows, int depth) {
  const std::size_t prefix = 5 + 8 + shape_.offsetBytes;
  const std::size_t size = prefix + rows * shape_.width * 8 + 4;
  const Block block = blocks_.take({"table of heap blocks", address}, size);
  blocks_.verify(block, size - 4);
  Cursor at = block.cursor();
  readPrefix(at, "FHIB", offset);
  at.require(depth < 16, "it is nested too deep");
  for (unsigned row = 0; row < rows; ++row) {
    const std::uint64_t rowSize = shape_.rowSize(row);
    for (std::uint64_t i = 0; i < shape_.width; ++i, offset += rowSize) {
      const std::uint64_t child = at.u64();
      if (child == kNoAddress) continue;
      if (row < shape_.directRows) {
        readDirect(child, offset, rowSize);
      } else {
        const unsigned firstRowBits = log2Of(shape_.firstSize) + log2Of(shape_.width);
        at.require(log2Of(rowSize) >= firstRowBits, "it has a table smaller than a row");
        readIndirect(child, offset, log2Of(rowSize) - firstRowBits + 1, depth + 1);
      }
    }
  }
}

void Heap::readHuge(std::uint64_t tree, std::uint64_t count) {
  const StructurePlace place{"heap header", address_};
  if (tree == kNoAddress) {
    if (count != 0) throw Failure(kDamaged, inWords(place) + ": it has large objects but no index of them");
    return;
  }
  const std::uint64_t found = readTree(blocks_, tree, TreeType::hugeObjects, 24, [this](Cursor record) {
    const StructurePlace object{"large heap object", record.u64()};
    const std::uint64_t size = record.u64();
    Block block = blocks_.take(object, size);
    const bool isNew = huge_.emplace(record.u64(), std::move(block)).second;
    record.require(isNew, "two large objects with one identity");
  });
  if (found != count) throw Failure(kDamaged, inWords(place) + ": the number of its large objects is wrong");
}

std::map<std::uint64_t, Block>::const_iterator Heap::blockAt(std::uint64_t offset) const {
  const auto after = direct_.upper_bound(offset);
  return after == direct_.begin() ? direct_.end() : std::prev(after);
}

Cursor Heap::object(Cursor id) const {
  const unsigned kind = id.u8();
  id.require((kind & 0xC0U) == 0, "the identity of a heap object has an unknown version");
  if (kind >> 4U == kHuge) {
    const auto found = huge_.find(id.number(std::min<std::size_t>(idBytes_ - 1, 8)));
    if (found == huge_.end()) id.fail("a heap object is missing");
    return found->second.cursor();
  }
  id.require(kind >> 4U == kManaged, "the identity of a heap object has an unknown kind");
  const std::uint64_t offset = id.number(shape_.offsetBytes);
  const std::uint64_t length = id.number(shape_.lengthBytes);
  const auto found = blockAt(offset);
  id.require(found != direct_.end(), "a heap object is missing");
  const Block& block = found->second;
  const std::uint64_t within = offset - found->first;
  id.require(
      length > 0 && within >= prefixBytes() && within < block.bytes.size() && length <= block.bytes.size() - within,
      "a heap object is missing");
  return {block.bytes.data() + within, length, {"heap object", block.place.address + within}};
}

}  // namespace vtu::qat
