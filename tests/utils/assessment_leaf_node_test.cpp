#include "vtio/core/utils/assessment_leaf_node.hpp"

#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

void expectAssessment(const AssessmentLeafNode& leaf) {
  EXPECT_EQ(leaf.signalName(), u"verdict");
  EXPECT_EQ(leaf.datatypeTableId(), 6);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 6);
  EXPECT_EQ(leaf.getSignalType(), assessmentLeaf);
  EXPECT_FALSE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.interpolationMethod(), "zoh");
  EXPECT_EQ(leaf.dataDimensions(), test::Dims{1});
  EXPECT_EQ(leaf.datatypeClassName(), "int32");
  EXPECT_EQ(leaf.unit().getUnits(), u"");
  EXPECT_EQ(leaf.startDate(), u"");
  EXPECT_EQ(leaf.numberOfValuesPerSample(), 1);
  EXPECT_EQ(leaf.bytesPerSample(), 4U);
  EXPECT_EQ(leaf.storedSize(), 4U);
  test::expectSameProperties(leaf.fxpDataTypeProperties(), Node::getFxpDataTypeProperties("int32"));
}

TEST(AssessmentLeafNode, hasAFixedShape) { expectAssessment(AssessmentLeafNode(u"verdict")); }

TEST(AssessmentLeafNode, copyIsEqual) {
  const AssessmentLeafNode leaf(u"verdict");
  leaf.addPolicy(test::makeVisualization());
  const std::unique_ptr<Node> copy = leaf.getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(AssessmentLeafNode));
  expectAssessment(dynamic_cast<const AssessmentLeafNode&>(*copy));
  EXPECT_TRUE(copy->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(copy->parent(), nullptr);
  EXPECT_EQ(copy->childOrderInParent(), -2);
}

}  // namespace
}  // namespace vtio::core::utils
