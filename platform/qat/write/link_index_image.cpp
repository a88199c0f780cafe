#include "platform/qat/write/link_index_image.hpp"

#include <algorithm>
#include <bit>
#include <limits>
#include <vector>

namespace vtu::qat {
namespace {

constexpr std::size_t kHeapHeader = 146;
constexpr std::size_t kBlockPrefix = 21;  // signature, version, heap, offset, checksum
constexpr std::size_t kSmallestBlock = 512;
constexpr std::uint64_t kTableWidth = 4;
constexpr std::uint16_t kHeapBits = 32;  // of the heap's own addresses
constexpr std::size_t kIdBytes = 7;      // kind, 4 bytes of offset, 2 of length

constexpr std::size_t kTreeHeader = 38;
constexpr std::size_t kNodeFrame = 10;  // signature, version, type, checksum
constexpr std::size_t kRecord = 11;     // checksum of the name, identity in the heap
constexpr std::size_t kChild = 8 + 2;   // address, number of records
constexpr std::size_t kSmallestNode = 4096;
constexpr std::size_t kLargestNode = 65536;
constexpr std::uint8_t kNameRecords = 5;

std::size_t recordsOfLeaf(std::size_t node) { return (node - kNodeFrame) / kRecord; }

/// Most links of a tree of two levels.
std::size_t capacity(std::size_t node) {
  const std::size_t separators = (node - kNodeFrame - kChild) / (kRecord + kChild);
  return separators + (separators + 1) * recordsOfLeaf(node);
}

/// One record of the tree.
struct Entry {
  std::uint32_t hash;
  std::uint32_t offset;  // in the heap
  std::uint16_t length;
  std::string_view name;
};

void putRecord(ByteImage& image, const Entry& entry) {
  image.put(entry.hash);
  image.put(std::uint8_t{0});  // an object in a block
  image.put(entry.offset);
  image.put(entry.length);
}

void putLeaf(ByteImage& image, std::span<const Entry> entries, std::size_t nodeBytes) {
  const std::size_t start = image.size();
  image.putText("BTLF");
  image.put(std::uint8_t{0});  // version
  image.put(kNameRecords);
  for (const Entry& entry : entries) putRecord(image, entry);
  image.seal(start);
  image.putZeros(start + nodeBytes - image.size());
}

/// What the root has to know of its children.
struct Children {
  std::vector<std::uint16_t> records;   // of each leaf
  std::vector<std::size_t> separators;  // entries between them
};

Children share(std::size_t links, std::size_t leaves) {
  Children children;
  const std::size_t inLeaves = links - (leaves - 1);
  std::size_t next = 0;
  for (std::size_t i = 0; i < leaves; ++i) {
    const std::size_t count = inLeaves / leaves + (i < inLeaves % leaves ? 1 : 0);
    children.records.push_back(static_cast<std::uint16_t>(count));
    next += count;
    if (i + 1 < leaves) children.separators.push_back(next++);
  }
  return children;
}

void putRoot(ByteImage& image, std::span<const Entry> entries, const Children& children, std::size_t nodeBytes,
             std::uint64_t firstLeaf) {
  const std::size_t start = image.size();
  image.putText("BTIN");
  image.put(std::uint8_t{0});  // version
  image.put(kNameRecords);
  for (const std::size_t at : children.separators) putRecord(image, entries[at]);
  for (const std::uint16_t records : children.records) {
    image.put(firstLeaf);
    image.put(records);
    firstLeaf += nodeBytes;
  }
  image.seal(start);
  image.putZeros(start + nodeBytes - image.size());
}

void putTreeHeader(ByteImage& image, const LinkIndexLayout& layout, std::uint64_t root) {
  const std::size_t start = image.size();
  const bool twoLevels = layout.leaves() > 1;
  image.putText("BTHD");
  image.put(std::uint8_t{0});  // version
  image.put(kNameRecords);
  image.put(static_cast<std::uint32_t>(layout.nodeBytes()));
  image.put(static_cast<std::uint16_t>(kRecord));
  image.put(static_cast<std::uint16_t>(twoLevels ? 1 : 0));  // depth
  image.put(std::uint8_t{100});                              // a node is split when it is full
  image.put(std::uint8_t{40});                               // and merged below this percentage
  image.put(root);
  image.put(static_cast<std::uint16_t>(twoLevels ? layout.leaves() - 1 : layout.links()));
  image.put(static_cast<std::uint64_t>(layout.links()));
  image.seal(start);
}

std::uint64_t putTree(ByteImage& image, const LinkIndexLayout& layout, std::span<const Entry> entries,
                      std::uint64_t address) {
  const std::uint64_t root = address + kTreeHeader;
  putTreeHeader(image, layout, root);
  if (layout.leaves() == 1) {
    putLeaf(image, entries, layout.nodeBytes());
    return address;
  }
  const Children children = share(entries.size(), layout.leaves());
  putRoot(image, entries, children, layout.nodeBytes(), root + layout.nodeBytes());
  for (const std::uint16_t records : children.records) {
    putLeaf(image, entries.first(records), layout.nodeBytes());
    entries = entries.subspan(std::min<std::size_t>(records + std::size_t{1}, entries.size()));
  }
  return address;
}

void putHeapHeader(ByteImage& image, const LinkIndexLayout& layout, std::uint64_t block) {
  const std::size_t start = image.size();
  image.putText("FRHP");
  image.put(std::uint8_t{0});  // version
  image.put(static_cast<std::uint16_t>(kIdBytes));
  image.put(std::uint16_t{0});  // no filters
  image.put(std::uint8_t{2});   // blocks have checksums
  image.put(static_cast<std::uint32_t>(kLongestHeapLink));
  image.put(std::uint64_t{0});  // no huge objects
  image.put(std::uint64_t{HADDR_UNDEF});
  image.put(std::uint64_t{0});  // no free space that anyone keeps account of
  image.put(std::uint64_t{HADDR_UNDEF});
  image.put(std::uint64_t{layout.heapBlock()});  // managed
  image.put(std::uint64_t{layout.heapBlock()});  // and allocated
  image.put(std::uint64_t{0});                   // where the next block is looked for
  image.put(std::uint64_t{layout.links()});
  image.putZeros(4 * sizeof(std::uint64_t));  // huge and tiny objects
  image.put(static_cast<std::uint16_t>(kTableWidth));
  image.put(std::uint64_t{layout.heapBlock()});  // the first block
  image.put(std::uint64_t{layout.heapBlock()});  // is as large as any
  image.put(kHeapBits);
  image.put(std::uint16_t{1});  // rows of the first table of blocks
  image.put(block);
  image.put(std::uint16_t{0});  // the block is no table
  image.seal(start);
}

/// Appends the links and gives their places.
std::vector<Entry> putHeapBlock(ByteImage& image, const LinkIndexLayout& layout, std::span<const LinkImage> links,
                                std::uint64_t heap) {
  const std::size_t start = image.size();
  image.putText("FHDB");
  image.put(std::uint8_t{0});  // version
  image.put(heap);
  image.put(std::uint32_t{0});  // offset in the heap
  const std::size_t checksum = image.size();
  image.putZeros(sizeof(std::uint32_t));
  std::vector<Entry> entries;
  entries.reserve(links.size());
  for (const LinkImage& link : links) {
    const auto hash = metadataChecksum(reinterpret_cast<const unsigned char*>(link.name.data()), link.name.size());
    entries.push_back({hash, static_cast<std::uint32_t>(image.size() - start),
                       static_cast<std::uint16_t>(linkBytes(link.name)), link.name});
    putLink(image, link);
  }
  image.putZeros(start + layout.heapBlock() - image.size());
  image.sealInside(start, checksum);
  return entries;
}

}  // namespace

std::size_t LinkIndexLayout::heapBlock() const {
  return std::bit_ceil(std::max(kSmallestBlock, kBlockPrefix + linkBytes_));
}

std::size_t LinkIndexLayout::nodeBytes() const {
  std::size_t node = kSmallestNode;
  while (node < kLargestNode && capacity(node) < links_) node *= 2;
  return node;
}

std::size_t LinkIndexLayout::leafRecords() const { return recordsOfLeaf(nodeBytes()); }

std::size_t LinkIndexLayout::leaves() const {
  if (links_ <= leafRecords()) return 1;
  return (links_ + 1 + leafRecords()) / (leafRecords() + 1);
}

std::size_t LinkIndexLayout::size() const {
  const std::size_t nodes = leaves() == 1 ? 1 : leaves() + 1;
  return kHeapHeader + heapBlock() + kTreeHeader + nodes * nodeBytes();
}

bool LinkIndexLayout::isPossible() const {
  // The heap's addresses must leave room for the first table of blocks.
  constexpr std::size_t kLargestBlock = std::size_t{1} << 28;
  return longest_ <= kLongestHeapLink && kBlockPrefix + linkBytes_ <= kLargestBlock && links_ <= capacity(kLargestNode);
}

LinkIndexPlace putLinkIndex(ByteImage& image, const LinkIndexLayout& layout, std::span<const LinkImage> links,
                            std::uint64_t address) {
  const std::uint64_t block = address + kHeapHeader;
  putHeapHeader(image, layout, block);
  std::vector<Entry> entries = putHeapBlock(image, layout, links, address);
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.hash != b.hash ? a.hash < b.hash : a.name < b.name; });
  const std::uint64_t tree = putTree(image, layout, entries, block + layout.heapBlock());
  return {address, tree};
}

}  // namespace vtu::qat
