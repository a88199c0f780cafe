#include "platform/qat/integrity/heap.hpp"

#include <bit>
#include <cstring>
#include <iterator>

#include "platform/qat/checksum.hpp"
#include "platform/qat/integrity/btree.hpp"

namespace vtu::qat {
namespace {

// The parameters with which the HDF5 library makes its heaps.
constexpr std::uint64_t kWidth = 4, kLargestBlock = 1U << 16U, kLargestManaged = 4096, kStartingRows = 1;
constexpr unsigned kBlockChecksums = 2, kSectionClasses = 4;
constexpr std::size_t kLengthBytes = 2;
constexpr unsigned kManaged = 0, kHuge = 1;          // types of heap IDs
constexpr unsigned kFreeInBlock = 0, kFreeRows = 1;  // types of free sections

unsigned log2Of(std::uint64_t power) { return static_cast<unsigned>(std::bit_width(power)) - 1; }

}  // namespace

/// Fills a Heap.
class HeapReader final {
 public:
  HeapReader(Heap& heap, Blocks& blocks, std::uint64_t address)
      : heap_(heap), form_(heap.form_), blocks_(blocks), address_(address) {}

  void run(Purpose purpose) {
    constexpr std::size_t kHeader = 146;
    const Block header = blocks_.take({"Fractal Heap Header", address_}, "FRHP", kHeader);
    Cursor at = header.cursor();
    at.expect(2, form_.idBytes, "Heap ID Length");
    at.expect(2, 0, "I/O Filters' Encoded Length");
    at.expect(1, kBlockChecksums, "Flags");
    at.expect(4, kLargestManaged, "Maximum Size of Managed Objects");
    at.skip(8);
    const std::uint64_t hugeTree = at.u64();
    at.skip(8);
    const std::uint64_t freeSpace = at.u64();
    heap_.span_ = at.u64();
    at.skip(8);
    const std::uint64_t next = at.u64();
    at.require(next <= heap_.span_, "Offset of Direct Block Allocation Iterator in Managed Space", next);
    at.skip(16);
    const std::uint64_t hugeCount = at.u64();
    at.skip(8);
    at.expect(8, 0, "Number of Tiny Objects in Heap");
    at.expect(2, kWidth, "Table Width");
    at.expect(8, form_.firstSize, "Starting Block Size");
    at.expect(8, kLargestBlock, "Maximum Direct Block Size");
    at.expect(2, form_.bits, "Maximum Heap Size");
    at.expect(2, kStartingRows, "Starting # of Rows in Root Indirect Block");
    const std::uint64_t root = at.u64();
    const unsigned rows = at.u16();
    at.require(rows <= mostRows(), "Current # of Rows in Root Indirect Block", rows);
    if (root != kNoAddress && rows == 0) readDirect(root, 0, form_.firstSize);
    if (root != kNoAddress && rows > 0) readIndirect(root, 0, rows);
    const std::uint64_t found = hugeTree == kNoAddress ? 0 : readHuge(hugeTree);
    at.require(found == hugeCount, "Number of Huge Objects in Heap", hugeCount);
    if (purpose == Purpose::changing && freeSpace != kNoAddress) checkFreeSpace(freeSpace);
  }

 private:
  [[nodiscard]] std::uint64_t rowSize(unsigned row) const { return form_.firstSize << (row == 0 ? 0 : row - 1); }
  [[nodiscard]] unsigned firstRowBits() const { return log2Of(form_.firstSize) + log2Of(kWidth); }
  [[nodiscard]] unsigned mostRows() const { return form_.bits - firstRowBits() + 1; }

  void readPrefix(Cursor& at, std::uint64_t offset) const {
    at.expect(8, address_, "Heap Header Address");
    at.expect(heap_.offsetBytes(), offset, "Block Offset");
  }

  /// The checksum is before the objects, and is computed with its own bytes as 0.
  void readDirect(std::uint64_t address, std::uint64_t offset, std::uint64_t size) {
    Block block = blocks_.read({"Fractal Heap Direct Block", address}, size);
    Cursor at = block.cursor();
    at.require(at.text(4) == "FHDB", "Signature");
    at.expect(1, 0, "Version");
    readPrefix(at, offset);
    const std::size_t checksumAt = size - at.left();
    const std::uint32_t stored = at.u32();
    std::memset(block.bytes.data() + checksumAt, 0, sizeof stored);
    blocks_.verify(block.place, address + checksumAt, stored, metadataChecksum(block.bytes.data(), size));
    blocks_.claim(block.place, size);
    block.begin = size - at.left();
    heap_.managed_.emplace(offset, std::move(block));
  }

  void readIndirect(std::uint64_t address, std::uint64_t offset, unsigned rows) {
    const std::size_t size = 5 + 8 + heap_.offsetBytes() + rows * kWidth * 8 + Blocks::kChecksumBytes;
    const Block block = blocks_.take({"Fractal Heap Indirect Block", address}, "FHIB", size);
    Cursor at = block.cursor();
    readPrefix(at, offset);
    for (unsigned row = 0; row < rows; ++row) {
      for (std::uint64_t i = 0; i < kWidth; ++i, offset += rowSize(row)) {
        const std::uint64_t child = at.u64();
        if (child == kNoAddress) continue;
        if (rowSize(row) <= kLargestBlock) {
          readDirect(child, offset, rowSize(row));
        } else {
          readIndirect(child, offset, log2Of(rowSize(row)) - firstRowBits() + 1);  // fewer rows than this block has
        }
      }
    }
  }

  /// HDF5 finds them by their identities, which are in order.
  std::uint64_t readHuge(std::uint64_t tree) {
    constexpr std::size_t kRecord = 24;
    std::uint64_t last = 0;
    return readBtree(blocks_, tree, BtreeType::hugeObjects, kRecord, [&](Cursor record) {
      const StructurePlace place{"huge object of a Fractal Heap", record.u64()};
      const std::uint64_t size = record.u64();
      Block block = blocks_.read(place, size);
      blocks_.claim(place, size);
      const std::uint64_t id = record.u64();
      record.require(id > last, "Huge Object ID", id);
      last = id;
      heap_.huge_.emplace(id, std::move(block));
    });
  }

  /// HDF5 reads the list of free space when it adds or removes something.
  void checkFreeSpace(std::uint64_t address) {
    constexpr std::size_t kHeader = 82;
    const Block block = blocks_.take({"Free-space Manager Header", address}, "FSHD", kHeader);
    Cursor at = block.cursor();
    at.expect(1, 0, "Client ID");
    at.skip(8);
    const std::uint64_t total = at.u64();
    const std::uint64_t count = at.u64();
    at.require(count <= total, "Number of Serialized Sections", count);
    at.expect(8, total - count, "Number of Un-Serialized Sections");
    at.expect(2, kSectionClasses, "Number of Section Classes");
    at.skip(4);  // percentages
    at.expect(2, form_.bits, "Size of Address Space");
    const std::uint64_t largest = at.u64();
    at.require(largest > 0 && largest >> form_.bits <= 1, "Maximum Section Size", largest);
    const std::uint64_t list = at.u64();
    const std::uint64_t size = at.u64();
    const std::uint64_t allocated = at.u64();
    at.require((list == kNoAddress) == (count == 0), "Address of Serialized Section List", list);
    if (list == kNoAddress) return;
    at.require(size <= allocated, "Size of Serialized Section List Used", size);
    const Block sections = blocks_.take({"Free-space Section List", list}, "FSSE", size);
    checkFreeSections(sections.cursor(), address, count, largest);
  }

  void checkFreeSections(Cursor at, std::uint64_t owner, std::uint64_t count, std::uint64_t largest) const {
    at.expect(8, owner, "Free-space Manager Header Address");
    const std::size_t countBytes = log2Of(count) / 8 + 1, sizeBytes = log2Of(largest) / 8 + 1;
    while (count > 0) {
      const std::uint64_t sections = at.number(countBytes);
      at.require(sections > 0 && sections <= count, "Number of Section Records", sections);
      const std::uint64_t bytes = at.number(sizeBytes);
      at.require(bytes > 0 && bytes <= largest, "Size of Free-space Section described in Record", bytes);
      for (std::uint64_t i = 0; i < sections; ++i) checkFreeSection(at, bytes);
      count -= sections;
    }
  }

  void checkFreeSection(Cursor& at, std::uint64_t bytes) const {
    const std::uint64_t offset = at.number(heap_.offsetBytes());
    const unsigned type = at.u8();
    at.require(type <= kFreeRows, "Record Type", type);
    if (type == kFreeInBlock) {
      std::uint64_t within = 0;
      const bool inBlock = heap_.blockWith(offset, bytes, within) != nullptr;
      return at.require(inBlock, "Free-space Section Record Offset", offset);
    }
    at.skip(heap_.offsetBytes());
    const std::uint64_t row = at.u16(), column = at.u16(), count = at.u16();
    at.require(column < kWidth && count > 0 && row * kWidth + column + count <= mostRows() * kWidth,
               "Number of Entries", count);
  }

  Heap& heap_;
  const HeapForm& form_;
  Blocks& blocks_;
  std::uint64_t address_;
};

Heap::Heap(Blocks& blocks, std::uint64_t address, const HeapForm& form, Purpose purpose) : form_(form) {
  HeapReader(*this, blocks, address).run(purpose);
}

const Block* Heap::blockWith(std::uint64_t offset, std::uint64_t length, std::uint64_t& within) const {
  const auto after = managed_.upper_bound(offset);
  if (after == managed_.begin()) return nullptr;
  const auto& [begin, block] = *std::prev(after);
  within = offset - begin;
  return within >= block.begin && within <= block.end && length > 0 && length <= block.end - within ? &block : nullptr;
}

Cursor Heap::object(Cursor id) const {
  const unsigned type = id.u8();
  if (type >> 4U == kHuge) {
    const std::uint64_t number = id.number(form_.idBytes - 1);
    const auto found = huge_.find(number);
    id.require(found != huge_.end(), "Heap ID", number);
    return found->second.cursor();
  }
  id.require(type >> 4U == kManaged, "Heap ID's Version & Type", type);
  const std::uint64_t offset = id.number(offsetBytes());
  const std::uint64_t length = id.number(kLengthBytes);
  id.require(length <= kLargestManaged, "Heap ID's Length", length);
  id.require(offset < span_, "Heap ID's Offset", offset);
  std::uint64_t within = 0;
  const Block* block = blockWith(offset, length, within);
  id.require(block != nullptr, "Heap ID's Offset", offset);
  return {block->bytes.data() + within, length, {"object of a Fractal Heap", block->place.address + within}};
}

}  // namespace vtu::qat
