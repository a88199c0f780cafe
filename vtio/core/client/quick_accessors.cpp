#include "vtio/core/client/quick_accessors.hpp"

#include <algorithm>
#include <typeinfo>

#include "vtio/core/utils/assessment_leaf_node.hpp"
#include "vtio/core/utils/date_time_leaf_node.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/top_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::core::client {

namespace {

// Classes whose policies change only through addPolicy() of this library, which gives notice of it. A class of somebody
// else may answer as it likes, so it is asked at every step.
bool givesNotice(const utils::Node& node) {
  const std::type_info& type = typeid(node);
  return type == typeid(utils::LeafNode) || type == typeid(utils::FixedPointLeafNode) ||
         type == typeid(utils::EnumLeafNode) || type == typeid(utils::DateTimeLeafNode) ||
         type == typeid(utils::AssessmentLeafNode) || type == typeid(utils::NVBusNode) ||
         type == typeid(utils::TopNVBusNode);
}

}  // namespace

void PlainSignal::look(const utils::SignalDescriptor& descriptor, const utils::Node* const* nodes, std::size_t count) {
  const std::uint32_t now = utils::DeliveryEpoch::now();
  if (lookedAt_ == now) return;
  const bool isPlain = std::all_of(nodes, nodes + count, [](const utils::Node* node) {
    return givesNotice(*node) && node->transformationPolicies() == nullptr;
  });
  const unsigned long decimation = std::min<unsigned long>(descriptor.decimation(), kNotPlain);
  decimation_ = isPlain ? static_cast<std::uint32_t>(decimation) : kNotPlain;
  lookedAt_ = now;
}

void QuickScalar::updateAtLength(const double* time, const void* data, unsigned long index) {
  const utils::Node* root = signalDescriptor().root();
  signal_.look(signalDescriptor(), &root, 1);
  Scalar::update(time, data, index);
}

void QuickScalar::deliverToAll(const double* time, const void* data) const {
  for (Client* each : clients()) each->update(time, data);
}

void QuickVirtualBus::updateAtLength(const double* time, const void* data, unsigned long leafIndex) {
  signal_.look(signalDescriptor(), leaves_.data(), leaves_.size());
  VirtualBus::update(time, data, leafIndex);
}

void QuickVirtualBus::deliverToAll(unsigned long leafIndex, const double* time, const void* data) const {
  for (Client* each : clients()) each->update(leafIndex, time, data);
}

std::unique_ptr<accessor::Accessor> makeAccessor(const utils::SignalDescriptor& descriptor,
                                                 const smartlog::LoggingInterval& interval) {
  if (dynamic_cast<const utils::TopBusNode*>(descriptor.root()) != nullptr) {
    return std::make_unique<QuickVirtualBus>(descriptor, interval);
  }
  return std::make_unique<QuickScalar>(descriptor, interval);
}

}  // namespace vtio::core::client
