#include "vtio/core/accessor/cached_accessors.hpp"

#include <algorithm>
#include <typeinfo>

#include "vtio/core/utils/assessment_leaf_node.hpp"
#include "vtio/core/utils/date_time_leaf_node.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/top_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::core::accessor {

namespace {

// Classes whose policies change through this library's addPolicy() only, which advances the epoch. A derived class of
// another library may override transformationPolicies(), so it is called at every step.
bool advancesEpoch(const utils::Node& node) {
  const std::type_info& type = typeid(node);
  return type == typeid(utils::LeafNode) || type == typeid(utils::FixedPointLeafNode) ||
         type == typeid(utils::EnumLeafNode) || type == typeid(utils::DateTimeLeafNode) ||
         type == typeid(utils::AssessmentLeafNode) || type == typeid(utils::NVBusNode) ||
         type == typeid(utils::TopNVBusNode);
}

}  // namespace

void DeliveryCache::refresh(const Accessor& accessor, const utils::Node* const* nodes, std::size_t count) {
  const std::uint32_t now = utils::DeliveryEpoch::now();
  if (epoch_ == now) return;
  const bool isUntransformed = std::all_of(nodes, nodes + count, [](const utils::Node* node) {
    return advancesEpoch(*node) && node->transformationPolicies() == nullptr;
  });
  const unsigned long decimation = std::min<unsigned long>(accessor.signalDescriptor().decimation(), kNotCached);
  decimation_ = isUntransformed ? static_cast<std::uint32_t>(decimation) : kNotCached;
  onlyClient_ = accessor.clients().size() == 1 ? accessor.clients().front() : nullptr;
  epoch_ = now;
}

void CachedScalar::updateUncached(const double* time, const void* data, unsigned long index) {
  const utils::Node* root = signalDescriptor().root();
  cache_.refresh(*this, &root, 1);
  Scalar::update(time, data, index);
}

void CachedScalar::deliverToAll(const double* time, const void* data) const {
  for (client::Client* each : clients()) each->update(time, data);
}

void CachedVirtualBus::updateUncached(const double* time, const void* data, unsigned long leafIndex) {
  cache_.refresh(*this, leaves_.data(), leaves_.size());
  VirtualBus::update(time, data, leafIndex);
}

void CachedVirtualBus::deliverToAll(unsigned long leafIndex, const double* time, const void* data) const {
  for (client::Client* each : clients()) each->update(leafIndex, time, data);
}

std::unique_ptr<Accessor> makeAccessor(const utils::SignalDescriptor& descriptor,
                                       const smartlog::LoggingInterval& interval) {
  if (dynamic_cast<const utils::TopBusNode*>(descriptor.root()) != nullptr) {
    return std::make_unique<CachedVirtualBus>(descriptor, interval);
  }
  return std::make_unique<CachedScalar>(descriptor, interval);
}

}  // namespace vtio::core::accessor
