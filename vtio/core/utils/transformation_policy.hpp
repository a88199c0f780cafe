/// @file
/// Policies that replace the data address that clients receive.
#pragma once

#include "vtio/core/utils/signal_descriptor_node_policy.hpp"

namespace vtio::core::utils {

/// Turns the address that an accessor was given into the address that clients get.
class VTIO_EXPORT TransformationPolicy : public SignalDescriptorNodePolicy {
 public:
  ~TransformationPolicy() override;

  [[nodiscard]] bool isTransformationPolicy() const override;

  /// @param data The sample's bytes as the caller has them.
  /// @return The bytes to deliver, valid until the next call on the same policy. Writes the policy's own buffer: one
  ///   node's data is transformed by one thread at a time.
  [[nodiscard]] virtual const void* transformedDataPointer(const void* data) const = 0;

 protected:
  explicit TransformationPolicy(policyType type);
};

}  // namespace vtio::core::utils
