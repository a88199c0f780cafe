#include "vtio/core/utils/signal_descriptor_node_policy.hpp"

namespace vtio::core::utils {

SignalDescriptorNodePolicy::SignalDescriptorNodePolicy(policyType type) : type_(type) {}

SignalDescriptorNodePolicy::~SignalDescriptorNodePolicy() = default;

bool SignalDescriptorNodePolicy::isTransformationPolicy() const { return false; }

}  // namespace vtio::core::utils
