#include "vtio/core/utils/leaf_node.hpp"

#include <utility>

#include "vtio/core/utils/dimensions.hpp"
#include "vtio/core/utils/node_policies.hpp"

namespace vtio::core::utils {

LeafNode::LeafNode(int datatypeTableId, int userDefinedDatatypeTableId, const ustring& name, bool isComplex,
                   std::string interpolationMethod, std::vector<long long> dimensions, std::string datatypeClassName,
                   units unit, ustring startDate, SignalType type)
    : LeafNode(datatypeTableId, name, isComplex, std::move(interpolationMethod), std::move(dimensions),
               datatypeClassName, std::move(unit), std::move(startDate), getFxpDataTypeProperties(datatypeClassName),
               type, userDefinedDatatypeTableId) {}

LeafNode::LeafNode(int datatypeTableId, const ustring& name, bool isComplex, std::string interpolationMethod,
                   std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                   SignalType type)
    : LeafNode(datatypeTableId, datatypeTableId, name, isComplex, std::move(interpolationMethod), std::move(dimensions),
               std::move(datatypeClassName), std::move(unit), std::move(startDate), type) {}

LeafNode::LeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                   std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                   fxpDataTypeProp properties, bool isComplex)
    : LeafNode(datatypeTableId, name, isComplex, std::move(interpolationMethod), std::move(dimensions),
               std::move(datatypeClassName), std::move(unit), std::move(startDate), properties, leafSignal,
               datatypeTableId) {}

LeafNode::LeafNode(int datatypeTableId, const ustring& name, bool isComplex, std::string interpolationMethod,
                   std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                   fxpDataTypeProp properties, SignalType type, int userDefinedDatatypeTableId)
    : Node(datatypeTableId, name, 0, type),
      isComplex_(isComplex),
      interpolationMethod_(std::move(interpolationMethod)),
      dataDimensions_(std::move(dimensions)),
      datatypeClassName_(std::move(datatypeClassName)),
      unit_(std::move(unit)),
      startDate_(std::move(startDate)),
      fxpDataTypeProperties_(properties),
      userDefinedDatatypeTableId_(userDefinedDatatypeTableId) {
  setLeafNodePrivateSizes();
}

LeafNode::~LeafNode() = default;

std::unique_ptr<Node> LeafNode::getCopy() const {
  auto copy = std::make_unique<LeafNode>(datatypeTableId(), signalName(), isComplex_, interpolationMethod_,
                                         dataDimensions_, datatypeClassName_, unit_, startDate_, fxpDataTypeProperties_,
                                         getSignalType(), userDefinedDatatypeTableId_);
  copyParams(*copy);
  return copy;
}

const std::vector<unsigned long>* LeafNode::transformationPolicies() const {
  return transformationPolicyIndices_.empty() ? nullptr : &transformationPolicyIndices_;
}

const TransformationPolicy* LeafNode::transformationPolicy(unsigned long index) const {
  return transformationPolicyAt(policies_, index);
}

bool LeafNode::hasNodePolicy(SignalDescriptorNodePolicy::policyType type) const {
  return findPolicy(policies_, type) != nullptr;
}

const SignalDescriptorNodePolicy* LeafNode::policy(SignalDescriptorNodePolicy::policyType type) const {
  return findPolicy(policies_, type);
}

void LeafNode::addPolicy(std::unique_ptr<const SignalDescriptorNodePolicy> policy) const {
  appendPolicy(policies_, transformationPolicyIndices_, std::move(policy));
}

void LeafNode::setLeafNodePrivateSizes() {
  numberOfValuesPerSample_ = normalizedDimensionProduct(dataDimensions_);
  const unsigned long elementBytes = fxpDataTypeProp_GetSize(&fxpDataTypeProperties_);
  const unsigned long realBytes = elementBytes * static_cast<unsigned long>(dimensionProduct(dataDimensions_));
  ownBytes(isComplex_ ? 2 * realBytes : realBytes);
}

void LeafNode::copyParams(LeafNode& target) const {
  target.numberOfValuesPerSample_ = numberOfValuesPerSample_;
  target.ownBytes(ownBytes());
  appendPolicyCopies(target.policies_, policies_);
}

}  // namespace vtio::core::utils
