/// @file
/// Delivers string samples by the address of a text that the leaf keeps. See string_leaf_node.hpp.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "vtio/core/utils/transformation_policy.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::utils {

/// Keeps a copy of each string sample in the leaf's store and delivers that copy's address.
///
/// The first eight bytes of what clients receive are the address of a `ustring` that is valid as long as the leaf; the
/// bytes after it, up to the leaf's maximum, are zero. Made by StringLeafNode only.
class VTIO_EXPORT DynamicStringPolicy : public TransformationPolicy {
 public:
  /// @param store The leaf's strings; borrowed, must outlive the policy.
  /// @param byteCount Bytes delivered per sample.
  DynamicStringPolicy(std::vector<std::unique_ptr<ustring>>* store, unsigned long byteCount);
  ~DynamicStringPolicy() override;

  /// Empty: transformations are not carried into copied trees.
  [[nodiscard]] std::unique_ptr<const SignalDescriptorNodePolicy> getCopy() const override;

  /// Grows the leaf's store by one string.
  /// @param data Null-terminated UTF-16 text; null counts as empty.
  /// @return byteCount bytes that begin with the address of the kept string.
  [[nodiscard]] const void* transformedDataPointer(const void* data) const override;

 private:
  std::vector<std::unique_ptr<ustring>>* store_;
  unsigned long byteCount_;
  mutable std::vector<std::byte> outputBuffer_;  // byteCount_ bytes
};

}  // namespace vtio::core::utils
