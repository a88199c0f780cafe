#include "platform/qat/stream/ring_log.hpp"

#include <algorithm>
#include <utility>

#include "platform/qat/failure.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {

void RingLog::place(std::span<const StreamRing> rings,
                    const std::map<const SampleTable*, SampleStore::LeafRecords>& records) {
  kinds_.resize(std::max(kinds_.size(), rings.size()));
  for (std::size_t k = 0; k < rings.size(); ++k) {
    kinds_[k].limit = rings[k].limit;
    kinds_[k].leaves.resize(rings[k].leaves.size());
    for (std::size_t i = 0; i < rings[k].leaves.size(); ++i) {
      const StreamRing::Leaf& leaf = rings[k].leaves[i];
      RingPlace& place = kinds_[k].leaves[i];
      place = {leaf.position, leaf.bytes, leaf.isText, std::move(place.places)};
      const auto table = records.find(leaf.table.get());
      if (table == records.end()) continue;
      place.places.clear();
      for (const std::size_t offset : leaf.offsets) {
        const auto [first, end] = table->second.equal_range({offset, false});
        for (auto record = first; record != end; ++record) {
          place.places.emplace_back(record->second.table, record->second.column);
        }
      }
    }
  }
}

std::unordered_set<const SampleTable*> RingLog::tablesOf(std::span<const StreamRing> rings) {
  std::unordered_set<const SampleTable*> tables;
  for (const StreamRing& ring : rings) {
    for (const StreamRing::Leaf& leaf : ring.leaves) tables.insert(leaf.table.get());
  }
  return tables;
}

void RingLog::open(Kit& kit, const DiskGuard& guard, hid_t root) {
  if (kinds_.empty()) return;
  group_ = Handle(checked(H5Gcreate_anon(root, kit.groupList(), H5P_DEFAULT), kStorage, "cannot make the rings"));
  for (const Kind& kind : kinds_) {
    rings_.push_back(std::make_unique<Ring>(kit, guard, group_.get(), static_cast<std::uint32_t>(rings_.size()),
                                            kind.limit, kind.leaves));
  }
}

void RingLog::link(hid_t root) const {
  if (!group_) return;
  checked(H5Olink(group_.get(), root, kRingsGroup, H5P_DEFAULT, H5P_DEFAULT), kStorage, "the rings cannot be linked");
  keepWithoutLink(root, kRingsGroup);
}

bool RingLog::hasSamples() const {
  return std::any_of(rings_.begin(), rings_.end(), [](const auto& ring) { return ring->hasSamples(); });
}

void RingLog::close() {
  rings_.clear();
  group_.reset();
}

}  // namespace vtu::qat
