#include "vtio/core/utils/visualization_metadata_policy.hpp"

#include <limits>

#include <gtest/gtest.h>

namespace vtio::core::utils {
namespace {

TEST(VisualizationMetadataPolicy, isEmptyByDefault) {
  const VisualizationMetadataPolicy policy;
  EXPECT_EQ(policy.type(), SignalDescriptorNodePolicy::visualizationMetadata);
  EXPECT_FALSE(policy.isTransformationPolicy());
  EXPECT_EQ(policy.sampleTime(), u"");
  EXPECT_EQ(policy.discreteInc(), 0.0);
  EXPECT_EQ(policy.stopTime(), 0.0);
  EXPECT_EQ(policy.aliasName(), "");
}

TEST(VisualizationMetadataPolicy, keepsItsValues) {
  const VisualizationMetadataPolicy policy(u"0.1", 0.25, std::numeric_limits<double>::infinity(), "alias");
  EXPECT_EQ(policy.type(), SignalDescriptorNodePolicy::visualizationMetadata);
  EXPECT_FALSE(policy.isTransformationPolicy());
  EXPECT_EQ(policy.sampleTime(), u"0.1");
  EXPECT_EQ(policy.discreteInc(), 0.25);
  EXPECT_EQ(policy.stopTime(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(policy.aliasName(), "alias");
}

TEST(VisualizationMetadataPolicy, copyIsEqualAndOutlivesTheSource) {
  std::unique_ptr<const SignalDescriptorNodePolicy> copy;
  {
    const VisualizationMetadataPolicy policy(u"a sample time on the heap", 0.25, -1.5, "an alias that is on the heap");
    copy = policy.getCopy();
  }
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->type(), SignalDescriptorNodePolicy::visualizationMetadata);
  EXPECT_FALSE(copy->isTransformationPolicy());
  const auto& copied = dynamic_cast<const VisualizationMetadataPolicy&>(*copy);
  EXPECT_EQ(copied.sampleTime(), u"a sample time on the heap");
  EXPECT_EQ(copied.discreteInc(), 0.25);
  EXPECT_EQ(copied.stopTime(), -1.5);
  EXPECT_EQ(copied.aliasName(), "an alias that is on the heap");
}

}  // namespace
}  // namespace vtio::core::utils
