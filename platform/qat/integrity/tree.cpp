#include "platform/qat/integrity/tree.hpp"

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kHeaderBytes = 38;
constexpr std::size_t kNodeOverhead = 10;  // signature, version, type, checksum
constexpr std::size_t kLargestNode = 1U << 16U;
constexpr unsigned kDeepest = 24;

/// What nodes of one depth can hold.
struct Level {
  std::uint64_t mostRecords = 0;
  std::uint64_t mostBelow = 0;   // records of the node and of all below it
  std::size_t totalBytes = 0;    // width of the number of all records below, in the parent's pointer
  std::size_t pointerBytes = 0;  // of one pointer to a child of this depth
};

struct Pointer {
  std::uint64_t address;
  std::uint64_t records;
  std::uint64_t total;
};

/// One walk over one tree.
class TreeWalk final {
 public:
  TreeWalk(Blocks& blocks, TreeType type, std::size_t recordSize, const std::function<void(Cursor)>& visit)
      : blocks_(blocks), type_(type), recordSize_(recordSize), visit_(visit) {}

  std::uint64_t run(std::uint64_t address) {
    const Block block = blocks_.take({"tree header", address}, kHeaderBytes);
    blocks_.verify(block, kHeaderBytes - 4);
    Cursor at = block.cursor();
    at.expect("BTHD", 0);
    at.require(at.u8() == static_cast<unsigned>(type_), "it is a tree of something else");
    nodeSize_ = at.u32();
    at.require(at.u16() == recordSize_, "its records have another size");
    const unsigned depth = at.u16();
    const unsigned split = at.u8();
    at.require(split > 0 && split <= 100 && at.u8() < std::max(split / 2, 1U), "it has impossible thresholds");
    const Pointer root{at.u64(), at.u16(), at.u64()};
    at.require(
        nodeSize_ >= 64 && nodeSize_ <= std::max<std::uint64_t>(kLargestNode, blocks_.fileSize()) && depth <= kDeepest,
        "it has nodes of an impossible size");
    measureLevels(at, depth);
    if (root.address == kNoAddress) {
      at.require(root.records == 0 && root.total == 0 && depth == 0, "it has records but no node");
      return 0;
    }
    readNode(root, depth);
    return root.total;
  }

 private:
  void measureLevels(const Cursor& at, unsigned depth) {
    const auto bytesFor = [](std::uint64_t limit) {
      return static_cast<std::size_t>(std::bit_width(limit) - 1) / 8 + 1;
    };
    levels_.resize(depth + 1);
    levels_[0].mostRecords = levels_[0].mostBelow = (nodeSize_ - kNodeOverhead) / recordSize_;
    at.require(levels_[0].mostRecords > 0, "its nodes are smaller than a record");
    countBytes_ = bytesFor(levels_[0].mostRecords);
    for (unsigned i = 1; i <= depth; ++i) {
      levels_[i - 1].pointerBytes = 8 + countBytes_ + levels_[i - 1].totalBytes;
      const std::size_t pointer = levels_[i - 1].pointerBytes;
      at.require(nodeSize_ > kNodeOverhead + pointer, "its nodes are smaller than a record");
      levels_[i].mostRecords = (nodeSize_ - kNodeOverhead - pointer) / (recordSize_ + pointer);
      at.require(levels_[i].mostRecords > 0, "its nodes are smaller than a record");
      std::uint64_t below = 0;
      const bool overflow = __builtin_mul_overflow(levels_[i].mostRecords + 1, levels_[i - 1].mostBelow, &below) ||
                            __builtin_add_overflow(below, levels_[i].mostRecords, &levels_[i].mostBelow);
      at.require(!overflow, "it is deeper than any file needs");
      levels_[i].totalBytes = bytesFor(levels_[i].mostBelow);
    }
  }

  void readNode(const Pointer& node, unsigned depth) {
    const bool leaf = depth == 0;
    const Block block = blocks_.take({leaf ? "leaf of a tree" : "node of a tree", node.address}, nodeSize_);
    Cursor at = block.cursor();
    at.require(node.records <= levels_[depth].mostRecords, "it has more records than fit");
    at.require(node.records > 0, "it has no records");
    const std::size_t pointers = leaf ? 0 : (node.records + 1) * levels_[depth - 1].pointerBytes;
    blocks_.verify(block, kNodeOverhead - 4 + node.records * recordSize_ + pointers);
    at.expect(leaf ? "BTLF" : "BTIN", 0);
    at.require(at.u8() == static_cast<unsigned>(type_), "it belongs to a tree of something else");
    Cursor records = at.part(node.records * recordSize_);
    std::uint64_t total = node.records;
    for (std::uint64_t i = 0; !leaf && i <= node.records; ++i) {
      const Pointer child = readPointer(at, depth);
      readNode(child, depth - 1);
      if (i < node.records) visit_(records.part(recordSize_));
      total += child.total;
    }
    for (std::uint64_t i = 0; leaf && i < node.records; ++i) visit_(records.part(recordSize_));
    at.require(total == node.total, "the numbers of records contradict each other");
  }

  Pointer readPointer(Cursor& at, unsigned depth) const {
    Pointer child{at.u64(), at.number(countBytes_), 0};
    child.total = depth > 1 ? at.number(levels_[depth - 1].totalBytes) : child.records;
    return child;
  }

  Blocks& blocks_;
  TreeType type_;
  std::size_t recordSize_;
  const std::function<void(Cursor)>& visit_;
  std::uint64_t nodeSize_ = 0;
  std::size_t countBytes_ = 0;
  std::vector<Level> levels_;
};

}  // namespace

std::uint64_t readTree(Blocks& blocks, std::uint64_t address, TreeType type, std::size_t recordSize,
                       const std::function<void(Cursor)>& visit) {
  return TreeWalk(blocks, type, recordSize, visit).run(address);
}

}  // namespace vtu::qat
