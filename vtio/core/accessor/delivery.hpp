/// @file
/// The two rules of delivery that both accessors follow. Not installed.
#pragma once

#include <algorithm>

#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/transformation_policy.hpp"
#include "vtio/core/utils/utilities.hpp"

namespace vtio::core::accessor {

/// What clients receive: the data after the node's transformation, or the data itself where the node has none.
///
/// A text that no client receives is not transformed: the transformation's only effect would be to add the text to the
/// leaf's store, which is released with the leaf and not before.
/// @param isReceived Whether a client receives the result.
inline const void* delivered(const utils::Node& node, const void* data, bool isReceived) {
  const auto* policies = node.transformationPolicies();
  if (policies == nullptr) return data;
  if (!isReceived &&
      node.transformationPolicy(policies->front())->type() == utils::SignalDescriptorNodePolicy::dynamicString) {
    return data;
  }
  return utils::Utilities::policyDataTransformations(node, data);
}

/// The decimation counter to go on with when the descriptor's decimation has changed: a sample that was due stays due,
/// and one that is overdue by the new decimation is due now. Left alone, a counter above the decimation would never
/// equal it again.
/// @param counter In-interval calls since the last delivery.
inline unsigned long counterAfterChange(unsigned long counter, unsigned long before, unsigned long now) {
  return counter == before ? now : std::min(counter, now);
}

}  // namespace vtio::core::accessor
