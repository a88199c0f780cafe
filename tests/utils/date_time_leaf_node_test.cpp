#include "vtio/core/utils/date_time_leaf_node.hpp"

#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::expectSameProperties;
using test::oddProperties;

DateTimeLeafNode makeStamp() {
  const VTDateTime::DateTimeTypeAttribs attributes{"yyyy-MM-dd", "Europe/Berlin"};
  return {11, u"stamp", "zoh", Dims{2}, "date-time", units(u"s"), u"now", oddProperties(), attributes};
}

void expectStamp(const DateTimeLeafNode& leaf) {
  EXPECT_EQ(leaf.attributes().format, "yyyy-MM-dd");
  EXPECT_EQ(leaf.attributes().timeZone, "Europe/Berlin");
  EXPECT_EQ(leaf.datatypeTableId(), 11);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.signalName(), u"stamp");
  EXPECT_EQ(leaf.getSignalType(), leafSignal);
  EXPECT_FALSE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.interpolationMethod(), "zoh");
  EXPECT_EQ(leaf.dataDimensions(), Dims{2});
  EXPECT_EQ(leaf.datatypeClassName(), "date-time");
  EXPECT_EQ(leaf.unit().getUnits(), u"s");
  EXPECT_EQ(leaf.startDate(), u"now");
  EXPECT_EQ(leaf.numberOfValuesPerSample(), 2);
  EXPECT_EQ(leaf.bytesPerSample(), 2U);
  expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
}

TEST(DateTimeLeafNode, isAFixedPointLeafWithAttributes) {
  static_assert(std::is_base_of_v<FixedPointLeafNode, DateTimeLeafNode>);
  expectStamp(makeStamp());
}

TEST(DateTimeLeafNode, copyIsEqual) {
  const DateTimeLeafNode leaf = makeStamp();
  leaf.addPolicy(test::makeVisualization());
  const std::unique_ptr<Node> copy = leaf.getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(DateTimeLeafNode));
  const auto& copied = dynamic_cast<const DateTimeLeafNode&>(*copy);
  expectStamp(copied);
  EXPECT_NE(&copied.attributes(), &leaf.attributes());
  EXPECT_TRUE(copied.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(copied.parent(), nullptr);
  EXPECT_EQ(copied.childOrderInParent(), -2);
}

}  // namespace
}  // namespace vtio::core::utils
