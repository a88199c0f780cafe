/// @file
/// Root of a non-virtual bus signal: the whole structure arrives as one block.
///
///     auto root = std::make_unique<TopNVBusNode>(7, u"wheels", 2, std::vector<long long>{4}, offsets, 16);
///     root->addChild(...);
///     root->generateLeafDataOffsets();
///     root->leafDataOffset(3);   // second leaf of the second wheel
#pragma once

#include <string>
#include <vector>

#include "vtio/core/utils/nv_bus_node.hpp"

namespace vtio::core::utils {

/// A non-virtual bus that is the root of its tree; carries the policies of the whole bus.
class VTIO_EXPORT TopNVBusNode : public NVBusNode {
 public:
  /// See NVBusNode.
  TopNVBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren,
               const std::vector<long long>& arrayOfBusDimensions, const std::vector<long long>& childOffsets,
               unsigned long busSize);

  /// Bytes of one element times the number of elements of the root array.
  [[nodiscard]] unsigned long storedSize() const override;
  ~TopNVBusNode() override;

  /// A deep copy that holds copies of the policies but applies none: its transformationPolicies() is null.
  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  [[nodiscard]] const std::vector<unsigned long>* transformationPolicies() const override;
  [[nodiscard]] const TransformationPolicy* transformationPolicy(unsigned long index) const override;
  [[nodiscard]] bool hasNodePolicy(SignalDescriptorNodePolicy::policyType type) const override;
  [[nodiscard]] const SignalDescriptorNodePolicy* policy(SignalDescriptorNodePolicy::policyType type) const override;
  void addPolicy(std::unique_ptr<const SignalDescriptorNodePolicy> policy) const override;

  [[nodiscard]] unsigned long busSize() const override;

  /// Replaces the child offsets by the leaf data offsets of one root element. To be called once, on the whole tree.
  void generateLeafDataOffsets();

  /// The leaf data offsets in bytes, once generated; valid as long as the node.
  [[nodiscard]] std::vector<long long>& leafDataOffsets() { return childOffsets(); }
  [[nodiscard]] const std::vector<long long>& leafDataOffsets() const { return childOffsets(); }

  /// Byte offset of a leaf; indices past the last leaf run on into the following elements of a root array.
  [[nodiscard]] long long leafDataOffset(unsigned long leafIndex) const;

  /// The interpolation method of the first leaf; the bus must have one.
  [[nodiscard]] const std::string& interpolationMethod() const;

 private:
  unsigned long topBusSize_;
  mutable std::vector<std::unique_ptr<const SignalDescriptorNodePolicy>> policies_;
  mutable std::vector<unsigned long> transformationPolicyIndices_;
};

}  // namespace vtio::core::utils
