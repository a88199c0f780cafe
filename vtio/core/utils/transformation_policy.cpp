#include "vtio/core/utils/transformation_policy.hpp"

namespace vtio::core::utils {

TransformationPolicy::TransformationPolicy(policyType type) : SignalDescriptorNodePolicy(type) {}

TransformationPolicy::~TransformationPolicy() = default;

bool TransformationPolicy::isTransformationPolicy() const { return true; }

}  // namespace vtio::core::utils
