#include "vtio/core/utils/top_nv_bus_node.hpp"

#include <utility>

#include "vtio/core/utils/dimensions.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/node_policies.hpp"

namespace vtio::core::utils {
namespace {

const Node& firstLeafBelow(const BusNode& bus) {
  const Node& first = *bus.children().front();
  const auto* inner = dynamic_cast<const BusNode*>(&first);
  return inner == nullptr || inner->children().empty() ? first : firstLeafBelow(*inner);
}

}  // namespace

TopNVBusNode::TopNVBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren,
                           const std::vector<long long>& arrayOfBusDimensions,
                           const std::vector<long long>& childOffsets, unsigned long busSize)
    : NVBusNode(datatypeTableId, name, numberOfChildren, arrayOfBusDimensions, childOffsets, busSize),
      topBusSize_(busSize) {}

TopNVBusNode::~TopNVBusNode() = default;

unsigned long TopNVBusNode::storedSize() const {
  return topBusSize_ * static_cast<unsigned long>(normalizedDimensionProduct(arrayOfBusDimensions()));
}

std::unique_ptr<Node> TopNVBusNode::getCopy() const {
  auto copy = std::make_unique<TopNVBusNode>(datatypeTableId(), signalName(), numberOfChildren(),
                                             arrayOfBusDimensions(), childOffsets(), topBusSize_);
  copyChildrenTo(*copy);
  appendPolicyCopies(copy->policies_, policies_);
  return copy;
}

const std::vector<unsigned long>* TopNVBusNode::transformationPolicies() const {
  return transformationPolicyIndices_.empty() ? nullptr : &transformationPolicyIndices_;
}

const TransformationPolicy* TopNVBusNode::transformationPolicy(unsigned long index) const {
  return transformationPolicyAt(policies_, index);
}

bool TopNVBusNode::hasNodePolicy(SignalDescriptorNodePolicy::policyType type) const {
  return findPolicy(policies_, type) != nullptr;
}

const SignalDescriptorNodePolicy* TopNVBusNode::policy(SignalDescriptorNodePolicy::policyType type) const {
  return findPolicy(policies_, type);
}

void TopNVBusNode::addPolicy(std::unique_ptr<const SignalDescriptorNodePolicy> policy) const {
  appendPolicy(policies_, transformationPolicyIndices_, std::move(policy));
}

unsigned long TopNVBusNode::busSize() const { return topBusSize_; }

void TopNVBusNode::generateLeafDataOffsets() {
  std::vector<long long> offsets;
  generateLeafDataOffsetsRecursive(offsets, 0, true);
  childOffsets() = std::move(offsets);
}

long long TopNVBusNode::leafDataOffset(unsigned long leafIndex) const {
  const std::vector<long long>& offsets = childOffsets();
  const unsigned long element = offsets.empty() ? 0 : leafIndex / offsets.size();
  const long long inElement = offsets[leafIndex - element * offsets.size()];
  const unsigned long offset = static_cast<unsigned long>(inElement) + element * topBusSize_;
  return static_cast<long long>(offset);
}

const std::string& TopNVBusNode::interpolationMethod() const {
  return static_cast<const LeafNode&>(firstLeafBelow(*this)).interpolationMethod();
}

}  // namespace vtio::core::utils
