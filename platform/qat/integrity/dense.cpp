#include "platform/qat/integrity/dense.hpp"

#include <algorithm>

#include "platform/qat/checksum.hpp"
#include "platform/qat/integrity/heap.hpp"
#include "platform/qat/integrity/tree.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kLinkIdBytes = 7;
constexpr std::size_t kAttributeIdBytes = 8;
constexpr std::size_t kHashBytes = 4;
constexpr std::size_t kOrderBytes = 8;           // of links
constexpr std::size_t kAttributeOrderBytes = 4;  // of attributes

/// The identities of the objects that a tree finds; both trees of one heap must find the same ones.
using Identities = std::vector<std::uint64_t>;

void requireSame(StructurePlace place, Identities& byName, Identities& byOrder) {
  std::sort(byName.begin(), byName.end());
  std::sort(byOrder.begin(), byOrder.end());
  const Cursor at(nullptr, 0, place);
  at.require(byName == byOrder, "the order of creation and the names are of different things");
  at.require(std::adjacent_find(byName.begin(), byName.end()) == byName.end(), "something has two names");
}

void requireHash(const Cursor& record, std::uint32_t hash, std::string_view name, std::uint32_t& last) {
  record.require(
      hash == metadataChecksum(reinterpret_cast<const unsigned char*>(name.data()), name.size()) && hash >= last,
      "a name is not where it is looked for");
  last = hash;
}

std::uint64_t identityAt(Cursor record, std::size_t bytes) { return record.number(bytes); }

}  // namespace

void checkDenseLinks(Blocks& blocks, const DenseInfo& info, Purpose purpose, std::vector<std::uint64_t>& targets) {
  const Heap heap(blocks, info.heap, kLinkIdBytes, purpose);
  Identities byName, byOrder;
  std::uint32_t last = 0;
  readTree(blocks, info.nameIndex, TreeType::linkNames, kHashBytes + kLinkIdBytes, [&](Cursor record) {
    const std::uint32_t hash = record.u32();
    byName.push_back(identityAt(record, kLinkIdBytes));
    const LinkInfo link = readLink(heap.object(record));
    requireHash(record, hash, link.name, last);
    if (link.target != kNoAddress) targets.push_back(link.target);
  });
  if (info.orderIndex == kNoAddress) return;
  readTree(blocks, info.orderIndex, TreeType::linkOrder, kOrderBytes + kLinkIdBytes, [&](Cursor record) {
    record.skip(kOrderBytes);
    byOrder.push_back(identityAt(record, kLinkIdBytes));
  });
  requireSame({"tree header", info.orderIndex}, byName, byOrder);
}

void checkDenseAttributes(Blocks& blocks, const DenseInfo& info, Purpose purpose, const NamedTypes& named) {
  const Heap heap(blocks, info.heap, kAttributeIdBytes, purpose);
  constexpr std::size_t kRecord = kAttributeIdBytes + 1 + kAttributeOrderBytes;
  constexpr unsigned kShared = 2;
  Identities byName, byOrder;
  std::uint32_t last = 0;
  readTree(blocks, info.nameIndex, TreeType::attributeNames, kRecord + kHashBytes, [&](Cursor record) {
    byName.push_back(identityAt(record, kAttributeIdBytes));
    const Cursor id = record.part(kAttributeIdBytes);
    record.require((record.u8() & kShared) == 0, "an attribute that is kept elsewhere");
    record.skip(kAttributeOrderBytes);
    requireHash(record, record.u32(), readAttribute(heap.object(id), named), last);
  });
  if (info.orderIndex == kNoAddress) return;
  readTree(blocks, info.orderIndex, TreeType::attributeOrder, kRecord, [&](Cursor record) {
    byOrder.push_back(identityAt(record, kAttributeIdBytes));
    record.skip(kAttributeIdBytes);
    record.require((record.u8() & kShared) == 0, "an attribute that is kept elsewhere");
  });
  requireSame({"tree header", info.orderIndex}, byName, byOrder);
}

}  // namespace vtu::qat
