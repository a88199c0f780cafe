// The indexes of chunks that are arrays: of fixed length, and growing in steps along one axis.
#include <algorithm>
#include <bit>
#include <string>
#include <utility>

#include "platform/qat/integrity/chunk_walk.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kChecksum = 4;
constexpr unsigned kLargestPageBits = 24;

bool bitAt(std::string_view bits, std::uint64_t index) {
  return (static_cast<unsigned char>(bits[index / 8]) & (0x80U >> (index % 8))) != 0;
}

/// Elements in pages of their own, each with a checksum; pages that were never written are marked in `used`.
void checkPages(ChunkWalk& walk, std::uint64_t address, std::uint64_t elements, std::uint64_t pageElements,
                std::string_view used, std::uint64_t firstBit) {
  const std::size_t width = walk.elementBytes();
  for (std::uint64_t page = 0, from = 0; from < elements; ++page, from += pageElements) {
    const std::uint64_t count = std::min(pageElements, elements - from);
    const std::uint64_t size = count * width + kChecksum;
    if (bitAt(used, firstBit + page)) {
      const Block block = walk.blocks().take({"page of a chunk index", address}, size);
      walk.blocks().verify(block, size - kChecksum);
      walk.checkElements(block.cursor(), count);
    }
    address += size;
  }
}

void expectPart(Cursor& at, const char* signature, const ChunkWalk& walk) {
  at.expect(signature, 0);
  at.require(at.u8() == (walk.filtered() ? 1 : 0), "it belongs to an index of another kind");
}

void expectPartOf(Cursor& at, const char* signature, const ChunkWalk& walk) {
  expectPart(at, signature, walk);
  at.require(at.u64() == walk.index().address, "it belongs to another index");
}

/// The shape of a growing array.
struct Growth {
  std::uint64_t bits, inIndex, smallest, tables, pageElements;
  std::size_t offsetBytes;
  unsigned steps, stepsInIndex;

  [[nodiscard]] static std::uint64_t blocksOf(unsigned step) { return std::uint64_t{1} << (step / 2); }
  [[nodiscard]] std::uint64_t elementsOf(unsigned step) const { return smallest << ((step + 1) / 2); }
};

unsigned log2Of(std::uint64_t power) { return static_cast<unsigned>(std::bit_width(power)) - 1; }

Growth readGrowth(Cursor& at, const ChunkWalk& walk) {
  Growth growth{};
  at.require(at.u8() == walk.elementBytes(), "its elements have another size");
  Cursor stored = at;
  std::string parameters(stored.text(5));
  std::swap(parameters[2], parameters[3]);  // the layout has them in another order
  at.require(parameters == walk.index().parameters, "it contradicts the layout of its dataset");
  growth.bits = at.u8();
  growth.inIndex = at.u8();
  growth.smallest = at.u8();
  growth.tables = at.u8();
  const unsigned pageBits = at.u8();
  at.require(growth.bits > 0 && growth.bits <= 62 && growth.inIndex > 0 && std::has_single_bit(growth.smallest) &&
                 std::has_single_bit(growth.tables) && growth.tables >= 2 && pageBits > 0 &&
                 pageBits <= kLargestPageBits && log2Of(growth.smallest) < growth.bits,
             "it has an impossible shape");
  growth.pageElements = std::uint64_t{1} << pageBits;
  growth.offsetBytes = (growth.bits + 7) / 8;
  growth.steps = 1 + static_cast<unsigned>(growth.bits) - log2Of(growth.smallest);
  growth.stepsInIndex = 2 * log2Of(growth.tables);
  at.require(growth.stepsInIndex <= growth.steps && growth.elementsOf(growth.stepsInIndex) <= growth.pageElements,
             "it has an impossible shape");
  return growth;
}

/// One growing array while it is checked.
class GrowingArray final {
 public:
  GrowingArray(ChunkWalk& walk, Growth growth) : walk_(walk), growth_(growth) {}

  void checkIndexBlock(std::uint64_t address) {
    const std::uint64_t blocks = 2 * (growth_.tables - 1);
    const std::uint64_t tables = growth_.steps - growth_.stepsInIndex;
    const std::uint64_t width = walk_.elementBytes();
    const std::uint64_t size = 14 + growth_.inIndex * width + 8 * (blocks + tables) + kChecksum;
    const Block block = walk_.blocks().take({"start of a chunk index", address}, size);
    walk_.blocks().verify(block, size - kChecksum);
    Cursor at = block.cursor();
    expectPartOf(at, "EAIB", walk_);
    walk_.checkElements(at.part(growth_.inIndex * width), growth_.inIndex);
    for (unsigned step = 0; step < growth_.stepsInIndex; ++step) {
      for (std::uint64_t i = 0; i < Growth::blocksOf(step); ++i) checkDataBlock(at.u64(), growth_.elementsOf(step));
    }
    for (unsigned step = growth_.stepsInIndex; step < growth_.steps; ++step) checkTable(at.u64(), step);
  }

 private:
  void checkTable(std::uint64_t address, unsigned step) {
    if (address == kNoAddress) return;
    const std::uint64_t blocks = Growth::blocksOf(step);
    const std::uint64_t elements = growth_.elementsOf(step);
    const std::uint64_t pages = elements > growth_.pageElements ? elements / growth_.pageElements : 0;
    const StructurePlace place{"table of a chunk index", address};
    walk_.blocks().requireInFile(place, blocks);
    const std::uint64_t marks = pages > 0 ? blocks * ((pages + 7) / 8) : 0;
    walk_.blocks().requireInFile(place, marks);
    const std::uint64_t size = 14 + growth_.offsetBytes + marks + 8 * blocks + kChecksum;
    const Block block = walk_.blocks().take(place, size);
    walk_.blocks().verify(block, size - kChecksum);
    Cursor at = block.cursor();
    expectPartOf(at, "EASB", walk_);
    at.skip(growth_.offsetBytes);
    const std::string_view used = at.text(marks);
    for (std::uint64_t i = 0; i < blocks; ++i) {
      const std::uint64_t child = at.u64();
      if (pages == 0) {
        checkDataBlock(child, elements);
      } else {
        checkPagedBlock(child, elements, used, i * pages);
      }
    }
  }

  void checkDataBlock(std::uint64_t address, std::uint64_t elements) {
    if (address == kNoAddress) return;
    const StructurePlace place{"block of a chunk index", address};
    walk_.blocks().requireInFile(place, elements);
    const std::uint64_t size = 14 + growth_.offsetBytes + elements * walk_.elementBytes() + kChecksum;
    const Block block = walk_.blocks().take(place, size);
    walk_.blocks().verify(block, size - kChecksum);
    Cursor at = block.cursor();
    expectPartOf(at, "EADB", walk_);
    at.skip(growth_.offsetBytes);
    walk_.checkElements(at, elements);
  }

  void checkPagedBlock(std::uint64_t address, std::uint64_t elements, std::string_view used, std::uint64_t firstBit) {
    if (address == kNoAddress) return;
    const std::uint64_t size = 14 + growth_.offsetBytes + kChecksum;
    const Block block = walk_.blocks().take({"block of a chunk index", address}, size);
    walk_.blocks().verify(block, size - kChecksum);
    Cursor at = block.cursor();
    expectPartOf(at, "EADB", walk_);
    at.require(elements < walk_.blocks().fileSize(), "it has more elements than the file has bytes");
    checkPages(walk_, address + size, elements, growth_.pageElements, used, firstBit);
  }

  ChunkWalk& walk_;
  Growth growth_;
};

}  // namespace

void checkFixedArray(ChunkWalk& walk) {
  constexpr std::size_t kHeader = 28;
  const Block header = walk.blocks().take({"chunk index", walk.index().address}, kHeader);
  walk.blocks().verify(header, kHeader - kChecksum);
  Cursor at = header.cursor();
  expectPart(at, "FAHD", walk);
  at.require(at.u8() == walk.elementBytes(), "its elements have another size");
  const unsigned pageBits = at.u8();
  const std::uint64_t elements = at.u64();
  at.require(pageBits > 0 && pageBits <= kLargestPageBits &&
                 pageBits == static_cast<unsigned char>(walk.index().parameters.front()),
             "it contradicts the layout of its dataset");
  at.require(elements == walk.mostChunks() && elements > 0, "it has another number of chunks than its dataset");
  const StructurePlace place{"block of a chunk index", at.u64()};
  if (place.address == kNoAddress) return;
  const std::uint64_t pageElements = std::uint64_t{1} << pageBits;
  const bool paged = elements > pageElements;
  walk.blocks().requireInFile(place, paged ? elements / pageElements / 8 : elements);
  const std::uint64_t marks = paged ? ((elements - 1) / pageElements + 8) / 8 : 0;
  const std::uint64_t size = 14 + marks + (paged ? 0 : elements * walk.elementBytes()) + kChecksum;
  const Block block = walk.blocks().take(place, size);
  walk.blocks().verify(block, size - kChecksum);
  Cursor body = block.cursor();
  expectPartOf(body, "FADB", walk);
  if (!paged) return walk.checkElements(body, elements);
  checkPages(walk, place.address + size, elements, pageElements, body.text(marks), 0);
}

void checkExtensibleArray(ChunkWalk& walk) {
  constexpr std::size_t kHeader = 72;
  const Block header = walk.blocks().take({"chunk index", walk.index().address}, kHeader);
  walk.blocks().verify(header, kHeader - kChecksum);
  Cursor at = header.cursor();
  expectPart(at, "EAHD", walk);
  const Growth growth = readGrowth(at, walk);
  at.skip(32);  // statistics
  const std::uint64_t highest = at.u64();
  at.skip(8);
  at.require(highest <= std::uint64_t{1} << growth.bits, "it has more elements than it can have");
  const std::uint64_t address = at.u64();
  if (address != kNoAddress) GrowingArray(walk, growth).checkIndexBlock(address);
}

}  // namespace vtu::qat
