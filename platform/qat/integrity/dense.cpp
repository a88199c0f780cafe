#include "platform/qat/integrity/dense.hpp"

#include <algorithm>
#include <vector>

#include "platform/qat/checksum.hpp"
#include "platform/qat/integrity/btree.hpp"
#include "platform/qat/integrity/heap.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kHashBytes = 4, kLinkOrderBytes = 8, kAttributeOrderBytes = 4;

/// The identities of the objects that a tree finds; both trees of one heap must find the same ones.
using Identities = std::vector<std::uint64_t>;

void requireSame(std::uint64_t orderIndex, Identities& byName, Identities& byOrder) {
  std::sort(byName.begin(), byName.end());
  std::sort(byOrder.begin(), byOrder.end());
  const Cursor at(nullptr, 0, {"Version 2 B-tree Header", orderIndex});
  at.require(byName == byOrder && std::adjacent_find(byName.begin(), byName.end()) == byName.end(),
             "set of records, that of the names' tree,");
}

/// Names are found by their hash: records are in its order.
void requireHash(const Cursor& record, std::uint32_t hash, std::string_view name, std::uint32_t& last) {
  const auto right = metadataChecksum(reinterpret_cast<const unsigned char*>(name.data()), name.size());
  record.require(hash == right && hash >= last, "Hash of Name", hash);
  last = hash;
}

std::uint64_t identityAt(Cursor record, std::size_t bytes) { return record.number(bytes); }

void requireOwn(Cursor& record) {
  constexpr unsigned kShared = 2;
  if ((record.u8() & kShared) != 0) record.refuse("a shared attribute");
}

}  // namespace

void checkDenseLinks(Blocks& blocks, const DenseInfo& info, Purpose purpose) {
  constexpr std::size_t kId = kLinkHeap.idBytes;
  const Heap heap(blocks, info.heap, kLinkHeap, purpose);
  Identities byName, byOrder;
  std::uint32_t last = 0;
  readBtree(blocks, info.nameIndex, BtreeType::linkNames, kHashBytes + kId, [&](Cursor record) {
    const std::uint32_t hash = record.u32();
    byName.push_back(identityAt(record, kId));
    requireHash(record, hash, readLink(heap.object(record)), last);
  });
  if (info.orderIndex == kNoAddress) return;
  readBtree(blocks, info.orderIndex, BtreeType::linkOrder, kLinkOrderBytes + kId, [&](Cursor record) {
    record.skip(kLinkOrderBytes);
    byOrder.push_back(identityAt(record, kId));
  });
  requireSame(info.orderIndex, byName, byOrder);
}

void checkDenseAttributes(Blocks& blocks, const DenseInfo& info, Purpose purpose) {
  constexpr std::size_t kId = kAttributeHeap.idBytes, kRecord = kId + 1 + kAttributeOrderBytes;
  const Heap heap(blocks, info.heap, kAttributeHeap, purpose);
  Identities byName, byOrder;
  std::uint32_t last = 0;
  readBtree(blocks, info.nameIndex, BtreeType::attributeNames, kRecord + kHashBytes, [&](Cursor record) {
    byName.push_back(identityAt(record, kId));
    const Cursor id = record.part(kId);
    requireOwn(record);
    record.skip(kAttributeOrderBytes);
    requireHash(record, record.u32(), readAttribute(heap.object(id)), last);
  });
  if (info.orderIndex == kNoAddress) return;
  readBtree(blocks, info.orderIndex, BtreeType::attributeOrder, kRecord, [&](Cursor record) {
    byOrder.push_back(identityAt(record, kId));
    record.skip(kId);
    requireOwn(record);
  });
  requireSame(info.orderIndex, byName, byOrder);
}

}  // namespace vtu::qat
