#include "vtio/core/utils/node_policies.hpp"

#include <utility>

#include "vtio/core/utils/delivery_epoch.hpp"
#include "vtio/core/utils/transformation_policy.hpp"

namespace vtio::core::utils {

void appendPolicy(PolicyList& policies, PolicyIndexList& transformationIndices,
                  std::unique_ptr<const SignalDescriptorNodePolicy> policy) {
  if (!policy->isTransformationPolicy()) {
    policies.push_back(std::move(policy));
    return;
  }
  transformationIndices.reserve(transformationIndices.size() + 1);  // the last push_back() then cannot throw
  policies.push_back(std::move(policy));
  transformationIndices.push_back(policies.size() - 1);
  DeliveryEpoch::advance();
}

void appendPolicyCopies(PolicyList& target, const PolicyList& source) {
  for (const auto& policy : source) {
    if (auto copy = policy->getCopy()) target.push_back(std::move(copy));
  }
}

const SignalDescriptorNodePolicy* findPolicy(const PolicyList& policies, SignalDescriptorNodePolicy::policyType type) {
  for (const auto& policy : policies) {
    if (policy->type() == type) return policy.get();
  }
  return nullptr;
}

const TransformationPolicy* transformationPolicyAt(const PolicyList& policies, unsigned long index) {
  return dynamic_cast<const TransformationPolicy*>(policies[index].get());
}

}  // namespace vtio::core::utils
