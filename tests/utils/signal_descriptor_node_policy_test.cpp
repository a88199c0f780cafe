#include "vtio/core/utils/signal_descriptor_node_policy.hpp"

#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/dynamic_string_policy.hpp"
#include "vtio/core/utils/split_buffer_policy.hpp"
#include "vtio/core/utils/transformation_policy.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::core::utils {
namespace {

using Policy = SignalDescriptorNodePolicy;

static_assert(sizeof(Policy::policyType) == sizeof(std::int32_t));
static_assert(Policy::visualizationMetadata == 0);
static_assert(Policy::splitBuffer == 6);
static_assert(Policy::dynamicString == 7);
static_assert(std::is_abstract_v<Policy>);
static_assert(std::has_virtual_destructor_v<Policy>);
static_assert(std::is_abstract_v<TransformationPolicy>);
static_assert(std::is_base_of_v<Policy, TransformationPolicy>);
static_assert(std::is_base_of_v<TransformationPolicy, SplitBufferPolicy>);
static_assert(std::is_base_of_v<TransformationPolicy, DynamicStringPolicy>);
static_assert(std::is_base_of_v<Policy, VisualizationMetadataPolicy>);
static_assert(!std::is_base_of_v<TransformationPolicy, VisualizationMetadataPolicy>);

class PlainPolicy : public Policy {
 public:
  explicit PlainPolicy(policyType type) : Policy(type) {}
  std::unique_ptr<const Policy> getCopy() const override { return nullptr; }
};

TEST(SignalDescriptorNodePolicy, keepsItsTypeAndTransformsNothing) {
  for (const auto type : {Policy::visualizationMetadata, Policy::splitBuffer, Policy::dynamicString}) {
    const PlainPolicy policy(type);
    EXPECT_EQ(policy.type(), type);
    EXPECT_FALSE(policy.isTransformationPolicy());
  }
}

}  // namespace
}  // namespace vtio::core::utils
