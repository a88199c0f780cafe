/// @file
/// Base of the objects that a node carries to change how its data is handled. See transformation_policy.hpp.
#pragma once

#include <cstdint>
#include <memory>

#include "vtio/export.hpp"

namespace vtio::core::utils {

/// A policy of one node: metadata, or a transformation of the data before it is delivered to clients.
///
/// Owned by its node and destroyed with it.
class VTIO_EXPORT SignalDescriptorNodePolicy {
 public:
  enum policyType : std::int32_t { visualizationMetadata = 0, splitBuffer = 6, dynamicString = 7 };

  SignalDescriptorNodePolicy(const SignalDescriptorNodePolicy&) = delete;
  SignalDescriptorNodePolicy& operator=(const SignalDescriptorNodePolicy&) = delete;

  virtual ~SignalDescriptorNodePolicy() = 0;

  /// An independent copy for a copied tree; empty for policies that a copy does not take over.
  [[nodiscard]] virtual std::unique_ptr<const SignalDescriptorNodePolicy> getCopy() const = 0;

  /// Whether this is a TransformationPolicy.
  [[nodiscard]] virtual bool isTransformationPolicy() const;

  /// The type given at construction.
  [[nodiscard]] policyType type() const { return type_; }

 protected:
  explicit SignalDescriptorNodePolicy(policyType type);

 private:
  policyType type_;
};

}  // namespace vtio::core::utils
