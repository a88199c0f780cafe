/// @file
/// What the nodes that carry policies (leaves, root non-virtual buses) do with their two policy lists.
#pragma once

#include <memory>
#include <vector>

#include "vtio/core/utils/signal_descriptor_node_policy.hpp"

namespace vtio::core::utils {

class TransformationPolicy;

using PolicyList = std::vector<std::unique_ptr<const SignalDescriptorNodePolicy>>;
using PolicyIndexList = std::vector<unsigned long>;

/// Appends the policy and, if it transforms data, its index. If it throws, neither list has changed.
void appendPolicy(PolicyList& policies, PolicyIndexList& transformationIndices,
                  std::unique_ptr<const SignalDescriptorNodePolicy> policy);

/// Appends a copy of each source policy that has one.
void appendPolicyCopies(PolicyList& target, const PolicyList& source);

/// The first policy of the type; null if there is none.
[[nodiscard]] const SignalDescriptorNodePolicy* findPolicy(const PolicyList& policies,
                                                           SignalDescriptorNodePolicy::policyType type);

/// The policy at the index; null if it does not transform.
[[nodiscard]] const TransformationPolicy* transformationPolicyAt(const PolicyList& policies, unsigned long index);

}  // namespace vtio::core::utils
