#include "vtio/core/client/plain_delivery.hpp"

#include <algorithm>
#include <typeinfo>

#include "vtio/core/utils/assessment_leaf_node.hpp"
#include "vtio/core/utils/date_time_leaf_node.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"
#include "vtio/core/utils/utilities.hpp"

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

const void* PlainDelivery::transformed(const utils::Node& node, const void* data) {
  return node.transformationPolicies() != nullptr ? utils::Utilities::policyDataTransformations(node, data) : data;
}

void PlainDelivery::learn(accessor::Accessor& accessor, const utils::Node* const* nodes, std::size_t count) {
  const std::uint32_t now = utils::DeliveryEpoch::now();
  accessor.isPlain_ =
      accessor.signalDescriptor().decimation() == 1 && std::all_of(nodes, nodes + count, [](const utils::Node* node) {
        return givesNotice(*node) && node->transformationPolicies() == nullptr;
      });
  accessor.learnedAt_ = now;
}

}  // namespace vtio::core::client
