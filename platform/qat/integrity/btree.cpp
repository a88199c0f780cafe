#include "platform/qat/integrity/btree.hpp"

#include <bit>
#include <vector>

namespace vtu::qat {
namespace {

// The parameters with which the HDF5 library makes these trees.
constexpr std::size_t kNodeSize = 512;
constexpr unsigned kSplitPercent = 100, kMergePercent = 40;

constexpr std::size_t kOverhead = 10;  // of a node: signature, version, type, checksum
constexpr std::size_t kAddressBytes = 8;
constexpr std::size_t kCountBytes = 1;  // of the number of records in a node: there are less than 256
constexpr unsigned kDeepest = 16;

std::size_t bytesFor(std::uint64_t limit) { return (static_cast<std::size_t>(std::bit_width(limit)) - 1) / 8 + 1; }

/// What nodes of one depth can hold.
struct Level {
  std::uint64_t mostRecords;
  std::uint64_t mostBelow;  // records of the node and of all below it
  std::size_t totalBytes;   // of the number of all records below, in the parent's pointer; of leaves there is none
};

struct Pointer {
  std::uint64_t address, records, total;
};

/// One traversal of one tree.
class BtreeWalk final {
 public:
  BtreeWalk(Blocks& blocks, BtreeType type, std::size_t recordSize, const std::function<void(Cursor)>& visit)
      : blocks_(blocks), type_(static_cast<unsigned>(type)), recordSize_(recordSize), visit_(visit) {}

  std::uint64_t run(std::uint64_t address) {
    constexpr std::size_t kHeader = 38;
    const Block block = blocks_.take({"Version 2 B-tree Header", address}, "BTHD", kHeader);
    Cursor at = block.cursor();
    at.expect(1, type_, "Type");
    at.expect(4, kNodeSize, "Node Size");
    at.expect(2, recordSize_, "Record Size");
    const unsigned depth = at.u16();
    at.require(depth <= kDeepest, "Depth", depth);
    at.expect(1, kSplitPercent, "Split Percent");
    at.expect(1, kMergePercent, "Merge Percent");
    const Pointer root{at.u64(), at.u16(), at.u64()};
    measureLevels(at, depth);
    if (root.address == kNoAddress) {
      at.require(root.records == 0 && root.total == 0 && depth == 0, "Root Node Address");
    } else {
      readNode(root, depth);
    }
    return root.total;
  }

 private:
  void measureLevels(const Cursor& at, unsigned depth) {
    const std::uint64_t inLeaf = (kNodeSize - kOverhead) / recordSize_;
    levels_.push_back({inLeaf, inLeaf, 0});
    for (unsigned i = 1; i <= depth; ++i) {
      const std::size_t pointer = pointerBytes(i);
      const std::uint64_t most = (kNodeSize - kOverhead - pointer) / (recordSize_ + pointer);
      std::uint64_t below = 0;
      const bool overflow = __builtin_mul_overflow(most + 1, levels_[i - 1].mostBelow, &below) ||
                            __builtin_add_overflow(below, most, &below);
      at.require(!overflow, "Depth", depth);
      levels_.push_back({most, below, bytesFor(below)});
    }
  }

  /// Of one pointer to a child, in nodes of this depth.
  [[nodiscard]] std::size_t pointerBytes(unsigned depth) const {
    return kAddressBytes + kCountBytes + levels_[depth - 1].totalBytes;
  }

  void readNode(const Pointer& node, unsigned depth) {
    const bool leaf = depth == 0;
    const StructurePlace place{leaf ? "Version 2 B-tree Leaf Node" : "Version 2 B-tree Internal Node", node.address};
    const Cursor nowhere(nullptr, 0, place);
    nowhere.require(node.records > 0 && node.records <= levels_[depth].mostRecords, "Number of Records", node.records);
    const std::size_t size =
        kOverhead + node.records * recordSize_ + (leaf ? 0 : (node.records + 1) * pointerBytes(depth));
    const Block block = blocks_.take(place, leaf ? "BTLF" : "BTIN", size, kNodeSize - size);
    Cursor at = block.cursor();
    at.expect(1, type_, "Type");
    Cursor records = at.part(node.records * recordSize_);
    std::uint64_t total = node.records;
    for (std::uint64_t i = 0; i <= node.records; ++i) {
      if (!leaf) total += readChild(at, depth);
      if (i < node.records) visit_(records.part(recordSize_));
    }
    at.require(total == node.total, "Total Number of Records in Child Node", node.total);
  }

  std::uint64_t readChild(Cursor& at, unsigned depth) {
    Pointer child{at.u64(), at.number(kCountBytes), 0};
    child.total = depth > 1 ? at.number(levels_[depth - 1].totalBytes) : child.records;
    readNode(child, depth - 1);
    return child.total;
  }

  Blocks& blocks_;
  unsigned type_;
  std::size_t recordSize_;
  const std::function<void(Cursor)>& visit_;
  std::vector<Level> levels_;
};

}  // namespace

std::uint64_t readBtree(Blocks& blocks, std::uint64_t address, BtreeType type, std::size_t recordSize,
                        const std::function<void(Cursor)>& visit) {
  return BtreeWalk(blocks, type, recordSize, visit).run(address);
}

}  // namespace vtu::qat
