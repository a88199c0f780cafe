// The account that a heap keeps of its free space. HDF5 reads it when it adds or removes something.
#include <bit>

#include "platform/qat/integrity/heap.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kHeaderBytes = 82;
constexpr unsigned kSingle = 0, kRows = 1;

std::size_t bytesFor(std::uint64_t limit) { return (static_cast<std::size_t>(std::bit_width(limit)) - 1) / 8 + 1; }

}  // namespace

void Heap::checkFreeSpace(std::uint64_t address) {
  if (address == kNoAddress) return;
  const Block block = blocks_.take({"account of free space", address}, kHeaderBytes);
  blocks_.verify(block, kHeaderBytes - 4);
  Cursor at = block.cursor();
  at.expect("FSHD", 0);
  at.require(at.u8() == 0, "it is of something other than a heap");
  at.skip(8);
  const std::uint64_t total = at.u64();
  FreeSections sections{};
  sections.count = at.u64();
  at.require(at.u64() == total - sections.count && sections.count <= total, "its counts contradict each other");
  at.require(at.u16() == 4, "it has unknown kinds of free space");
  at.skip(4);  // thresholds
  at.require(at.u16() == shape_.bits, "it is of another heap");
  sections.largest = at.u64();
  at.require(sections.largest > 0 && sections.largest <= std::uint64_t{1} << shape_.bits, "it has impossible sizes");
  sections.address = at.u64();
  const std::uint64_t size = at.u64();
  const std::uint64_t allocated = at.u64();
  if (sections.address == kNoAddress) return at.require(sections.count == 0, "its list is missing");
  at.require(size <= allocated && sections.count > 0, "its list has an impossible size");
  checkFreeSections(sections, size, address);
}

void Heap::checkFreeSections(const FreeSections& sections, std::uint64_t size, std::uint64_t owner) {
  constexpr std::size_t kLeast = 17;  // signature, version, owner, checksum
  const Block block = blocks_.take({"list of free space", sections.address}, size);
  Cursor at = block.cursor();
  at.require(size > kLeast, "it is too small");
  blocks_.verify(block, size - 4);
  at.expect("FSSE", 0);
  at.require(at.u64() == owner, "it belongs to another account");
  Cursor list = at.part(at.left() - 4);
  for (std::uint64_t left = sections.count; left > 0;) {
    const std::uint64_t count = list.number(bytesFor(sections.count));
    const std::uint64_t bytes = list.number(bytesFor(sections.largest));
    list.require(count > 0 && count <= left && bytes > 0 && bytes <= sections.largest, "it has impossible sizes");
    for (std::uint64_t i = 0; i < count; ++i) checkFreeSection(list, bytes);
    left -= count;
  }
}

void Heap::checkFreeSection(Cursor& list, std::uint64_t bytes) const {
  const std::uint64_t offset = list.number(shape_.offsetBytes);
  const unsigned kind = list.u8();
  list.require(kind == kSingle || kind == kRows, "it has an unknown kind of free space");
  if (kind == kSingle) {
    const auto found = blockAt(offset);
    list.require(found != direct_.end(), "it has free space outside all blocks");
    const std::uint64_t within = offset - found->first;
    const std::uint64_t end = found->second.bytes.size();
    list.require(within >= prefixBytes() && within < end && bytes <= end - within,
                 "it has free space outside all blocks");
    return;
  }
  list.skip(shape_.offsetBytes);
  const std::uint64_t row = list.u16();
  const std::uint64_t column = list.u16();
  const std::uint64_t count = list.u16();
  list.require(
      column < shape_.width && count > 0 && row * shape_.width + column + count <= shape_.mostRows * shape_.width,
      "it has free space outside the heap");
}

}  // namespace vtu::qat
