#include "vtio/core/utils/fixed_point_leaf_node.hpp"

#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::expectSameProperties;
using test::oddProperties;

void expectAttributes(const FixedPointLeafNode& leaf, const std::string& className) {
  EXPECT_EQ(leaf.datatypeTableId(), 11);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.signalName(), u"charge");
  EXPECT_EQ(leaf.getSignalType(), leafSignal);
  EXPECT_TRUE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.interpolationMethod(), "linear");
  EXPECT_EQ(leaf.dataDimensions(), Dims{3});
  EXPECT_EQ(leaf.datatypeClassName(), className);
  EXPECT_EQ(leaf.unit().getUnits(), u"A h");
  EXPECT_EQ(leaf.startDate(), u"now");
  EXPECT_EQ(leaf.numberOfValuesPerSample(), 3);
}

FixedPointLeafNode makeCharge(const std::string& className) {
  return {11, u"charge", true, "linear", Dims{3}, className, units(u"A h"), u"now", true, 16, 0.75, -4, 2.5};
}

TEST(FixedPointLeafNode, madeFromProperties) {
  const FixedPointLeafNode leaf(11, u"charge", true, "linear", Dims{3}, "fixed-point", units(u"A h"), u"now",
                                oddProperties());
  expectAttributes(leaf, "fixed-point");
  expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
  EXPECT_EQ(leaf.bytesPerSample(), 6U);
}

TEST(FixedPointLeafNode, madeFromValuesPassesThemThrough) {
  const FixedPointLeafNode leaf = makeCharge("fixed-point");
  expectAttributes(leaf, "fixed-point");
  // A slope of 0.75 is not normalised into 1.5 * 2^-1.
  expectSameProperties(leaf.fxpDataTypeProperties(), {0, 1, 16, 0, -4, 0.75, 2.5, 0});
  EXPECT_EQ(leaf.bytesPerSample(), 12U);
  EXPECT_EQ(leaf.storedSize(), 12U);
}

TEST(FixedPointLeafNode, unsignedIsZero) {
  const FixedPointLeafNode leaf(1, u"c", false, "zoh", Dims{}, "fixed-point", units(), u"", false, 8, 1.0, 0, 0.0);
  expectSameProperties(leaf.fxpDataTypeProperties(), {0, 0, 8, 0, 0, 1.0, 0.0, 0});
  EXPECT_EQ(leaf.bytesPerSample(), 1U);
  EXPECT_FALSE(leaf.isComplexDataType());
}

TEST(FixedPointLeafNode, kindFollowsTheExactClassName) {
  for (const char* name :
       {"fixed-point", "Scaled-double", "scaled-double ", "scaled", "double", "int16", "date-time", ""}) {
    EXPECT_EQ(makeCharge(name).fxpDataTypeProperties().dataTypeKind, 0) << name;
  }
  EXPECT_EQ(makeCharge("scaled-double").fxpDataTypeProperties().dataTypeKind, 1);
}

TEST(FixedPointLeafNode, scaledDoubleIsStoredAsDouble) {
  const FixedPointLeafNode leaf = makeCharge("scaled-double");
  expectAttributes(leaf, "scaled-double");
  expectSameProperties(leaf.fxpDataTypeProperties(), {1, 1, 16, 0, -4, 0.75, 2.5, 0});
  EXPECT_EQ(leaf.bytesPerSample(), 48U);
}

TEST(FixedPointLeafNode, classNameNeedNotBeKnown) { EXPECT_NO_THROW(makeCharge("nobody-knows-this")); }

TEST(FixedPointLeafNode, copyIsEqual) {
  for (const char* name : {"fixed-point", "scaled-double"}) {
    const FixedPointLeafNode leaf = makeCharge(name);
    leaf.addPolicy(test::makeVisualization());
    leaf.addPolicy(test::makeSplit(4, {0}));
    const std::unique_ptr<Node> copy = leaf.getCopy();
    ASSERT_EQ(test::typeOf(*copy), typeid(FixedPointLeafNode));
    const auto& copied = dynamic_cast<const FixedPointLeafNode&>(*copy);
    expectAttributes(copied, name);
    expectSameProperties(copied.fxpDataTypeProperties(), leaf.fxpDataTypeProperties());
    EXPECT_EQ(copied.bytesPerSample(), leaf.bytesPerSample());
    EXPECT_TRUE(copied.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
    EXPECT_EQ(copied.transformationPolicies(), nullptr);
    EXPECT_EQ(copied.parent(), nullptr);
    EXPECT_EQ(copied.childOrderInParent(), -2);
  }
}

}  // namespace
}  // namespace vtio::core::utils
