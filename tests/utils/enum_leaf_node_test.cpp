#include "vtio/core/utils/enum_leaf_node.hpp"

#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/data_types.hpp"
#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::expectDiagnostic;
using test::expectSameProperties;

const std::vector<int> kValues = {0, -3, 7};
const std::vector<std::string> kLabels = {"off",
                                          "r\xc3\xbc"
                                          "ckw\xc3\xa4rts",
                                          "on"};

EnumLeafNode makeMode(const std::string& resolvedClassName) {
  return {11, u"mode", "zoh", Dims{2}, "Mode", units(u"1"), u"now", resolvedClassName, kValues, kLabels};
}

void expectMode(const EnumLeafNode& leaf) {
  EXPECT_EQ(leaf.datatypeTableId(), 11);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.signalName(), u"mode");
  EXPECT_EQ(leaf.getSignalType(), leafSignal);
  EXPECT_FALSE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.interpolationMethod(), "zoh");
  EXPECT_EQ(leaf.dataDimensions(), Dims{2});
  EXPECT_EQ(leaf.datatypeClassName(), "Mode");
  EXPECT_EQ(leaf.unit().getUnits(), u"1");
  EXPECT_EQ(leaf.startDate(), u"now");
  EXPECT_EQ(leaf.enumValues(), kValues);
  EXPECT_EQ(leaf.enumLabels(), kLabels);
  EXPECT_EQ(leaf.numberOfValuesPerSample(), 2);
}

template <typename T>
class EnumLeafNodeOfType : public ::testing::Test {};
TYPED_TEST_SUITE(EnumLeafNodeOfType, test::DataTypes, test::DataTypeNames);

TYPED_TEST(EnumLeafNodeOfType, isStoredAsTheResolvedClass) {
  const EnumLeafNode leaf = makeMode(TypeParam::name());
  expectMode(leaf);
  EXPECT_EQ(leaf.resolvedClassName(), TypeParam::name());
  expectSameProperties(leaf.fxpDataTypeProperties(), Node::getFxpDataTypeProperties(TypeParam::name()));
  EXPECT_EQ(leaf.bytesPerSample(), 2 * TypeParam::kSize);
  EXPECT_EQ(leaf.storedSize(), 2 * TypeParam::kSize);
}

TYPED_TEST(EnumLeafNodeOfType, copyIsEqual) {
  const EnumLeafNode leaf = makeMode(TypeParam::name());
  leaf.addPolicy(test::makeVisualization());
  const std::unique_ptr<Node> copy = leaf.getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(EnumLeafNode));
  const auto& copied = dynamic_cast<const EnumLeafNode&>(*copy);
  expectMode(copied);
  EXPECT_EQ(copied.resolvedClassName(), TypeParam::name());
  EXPECT_EQ(copied.bytesPerSample(), 2 * TypeParam::kSize);
  EXPECT_TRUE(copied.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(copied.parent(), nullptr);
  EXPECT_EQ(copied.childOrderInParent(), -2);
}

TEST(EnumLeafNode, madeWithoutATable) {
  const EnumLeafNode leaf(11, u"mode", "zoh", Dims{}, "Mode", units(u"1"), u"now", "int16");
  EXPECT_TRUE(leaf.enumValues().empty());
  EXPECT_TRUE(leaf.enumLabels().empty());
  EXPECT_EQ(leaf.resolvedClassName(), "int16");
  EXPECT_EQ(leaf.datatypeClassName(), "Mode");
  EXPECT_EQ(leaf.getSignalType(), leafSignal);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.bytesPerSample(), 2U);
}

TEST(EnumLeafNode, keepsListsOfUnlikeLength) {
  const EnumLeafNode leaf(1, u"mode", "zoh", Dims{}, "Mode", units(), u"", "int8", {1, 2, 3}, {"one"});
  EXPECT_EQ(leaf.enumValues(), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(leaf.enumLabels(), (std::vector<std::string>{"one"}));
}

TEST(EnumLeafNode, unknownResolvedClassIsRejectedWithItsName) {
  for (const std::string name : {"int24", "Mode", "fixed-point", ""}) {
    const std::vector<ustring> arguments = {ustring(name.begin(), name.end())};
    expectDiagnostic([&] { makeMode(name); }, "Vortan:logLoadBlocks", "UnhandledDatatype", arguments);
    expectDiagnostic([&] { EnumLeafNode(1, u"m", "zoh", Dims{}, "int32", units(), u"", name); }, "Vortan:logLoadBlocks",
                     "UnhandledDatatype", arguments);
  }
}

}  // namespace
}  // namespace vtio::core::utils
