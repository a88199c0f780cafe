// SignalDescriptor::getLeafNode: the same leaf with other dimensions.
#include <typeinfo>

#include <gtest/gtest.h>

#include "platform/diagnostics.hpp"
#include "tests/utils/data_types.hpp"
#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/assessment_leaf_node.hpp"
#include "vtio/core/utils/date_time_leaf_node.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::expectSameProperties;
using test::oddProperties;

/// What every result takes from its source, whatever its class.
void expectTaken(const LeafNode& result, const LeafNode& source, const Dims& dims) {
  EXPECT_EQ(result.signalName(), source.signalName());
  EXPECT_EQ(result.interpolationMethod(), source.interpolationMethod());
  EXPECT_EQ(result.unit().getUnits(), source.unit().getUnits());
  EXPECT_EQ(result.datatypeTableId(), source.datatypeTableId());
  EXPECT_EQ(result.datatypeClassName(), source.datatypeClassName());
  EXPECT_EQ(result.startDate(), source.startDate());
  EXPECT_EQ(result.dataDimensions(), dims);
  EXPECT_EQ(result.getSignalType(), leafSignal);
  EXPECT_EQ(result.parent(), nullptr);
  EXPECT_EQ(result.childOrderInParent(), -2);
}

template <typename T>
class LeafRedimensionOfType : public ::testing::Test {};
TYPED_TEST_SUITE(LeafRedimensionOfType, test::DataTypes, test::DataTypeNames);

TYPED_TEST(LeafRedimensionOfType, keepsEverythingButTheDimensions) {
  LeafNode source(11, 22, u"source", true, "linear", Dims{4, 4}, TypeParam::name(), units(u"m"), u"now", leafSignal);
  for (const Dims& dims : {Dims{}, Dims{1}, Dims{3, 2}, Dims{0}}) {
    const auto result = SignalDescriptor::getLeafNode(source, dims);
    const LeafNode& leaf = *result;
    expectTaken(leaf, source, dims);
    if (TypeParam::name() == "string") {
      ASSERT_EQ(typeid(leaf), typeid(StringLeafNode));
      continue;
    }
    ASSERT_EQ(typeid(leaf), typeid(LeafNode));
    EXPECT_TRUE(leaf.isComplexDataType());
    EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 22);
    expectSameProperties(leaf.fxpDataTypeProperties(), source.fxpDataTypeProperties());
    EXPECT_EQ(leaf.bytesPerSample(), static_cast<unsigned long>(leaf.numberOfValuesPerSample()) * 2 * TypeParam::kSize);
  }
  EXPECT_EQ(source.dataDimensions(), (Dims{4, 4}));
}

TEST(LeafRedimension, fixedPointLeaf) {
  FixedPointLeafNode source(11, u"source", true, "linear", Dims{4, 4}, "fixed-point", units(u"m"), u"now",
                            oddProperties());
  const auto result = SignalDescriptor::getLeafNode(source, {1});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(FixedPointLeafNode));
  expectTaken(leaf, source, {1});
  EXPECT_TRUE(leaf.isComplexDataType());
  expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
  EXPECT_EQ(leaf.bytesPerSample(), 2U);
}

TEST(LeafRedimension, fixedPointIsToldByClassNameAndLosesTheUserDefinedId) {
  LeafNode source(11, u"source", false, "linear", Dims{4}, "fixed-point", units(u"m"), u"now", oddProperties(),
                  assessmentLeaf, 33);
  const auto result = SignalDescriptor::getLeafNode(source, {2});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(FixedPointLeafNode));
  expectTaken(leaf, source, {2});
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_FALSE(leaf.isComplexDataType());
}

TEST(LeafRedimension, stringLeaf) {
  StringLeafNode source(11, u"source", "zoh", Dims{4}, "string", units(u"m"), u"now", 10UL, 2UL);
  const auto result = SignalDescriptor::getLeafNode(source, {2});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(StringLeafNode));
  expectTaken(leaf, source, {2});
  const auto& text = dynamic_cast<const StringLeafNode&>(leaf);
  EXPECT_EQ(text.maxBytes(), 20U);  // the stored size of the source
  EXPECT_EQ(text.bytesPerCharacter(), 1U);
  EXPECT_EQ(text.storedSize(), 20U);
}

TEST(LeafRedimension, stringIsToldByClassNameAndLosesComplexityAndUserDefinedId) {
  LeafNode source(11, 22, u"source", true, "zoh", Dims{6}, "string", units(u"m"), u"now", leafSignal);
  const auto result = SignalDescriptor::getLeafNode(source, {});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(StringLeafNode));
  expectTaken(leaf, source, {});
  EXPECT_FALSE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(dynamic_cast<const StringLeafNode&>(leaf).maxBytes(), 12U);
}

TEST(LeafRedimension, enumeratedLeaf) {
  EnumLeafNode source(11, u"source", "zoh", Dims{4}, "Mode", units(u"m"), u"now", "int16", {3, 4}, {"three", "four"});
  const auto result = SignalDescriptor::getLeafNode(source, {2, 5});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(EnumLeafNode));
  expectTaken(leaf, source, {2, 5});
  const auto& mode = dynamic_cast<const EnumLeafNode&>(leaf);
  EXPECT_EQ(mode.resolvedClassName(), "int16");
  EXPECT_EQ(mode.enumValues(), (std::vector<int>{3, 4}));
  EXPECT_EQ(mode.enumLabels(), (std::vector<std::string>{"three", "four"}));
  EXPECT_EQ(mode.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(mode.bytesPerSample(), 20U);
}

TEST(LeafRedimension, enumerationIsToldByClassNotByName) {
  EnumLeafNode source(11, u"source", "zoh", Dims{4}, "double", units(), u"", "int16", {3}, {"three"});
  const auto result = SignalDescriptor::getLeafNode(source, {});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(EnumLeafNode));
  EXPECT_EQ(leaf.bytesPerSample(), 2U);
}

TEST(LeafRedimension, classNameComesBeforeTheClass) {
  EnumLeafNode fixedPoint(11, u"source", "zoh", Dims{4}, "fixed-point", units(), u"", "int16", {3}, {"three"});
  const auto fixedPointResult = SignalDescriptor::getLeafNode(fixedPoint, {});
  const LeafNode& fixedPointLeaf = *fixedPointResult;
  EXPECT_EQ(typeid(fixedPointLeaf), typeid(FixedPointLeafNode));
  EnumLeafNode text(11, u"source", "zoh", Dims{4}, "string", units(), u"", "int16", {3}, {"three"});
  const auto textResult = SignalDescriptor::getLeafNode(text, {});
  const LeafNode& textLeaf = *textResult;
  ASSERT_EQ(typeid(textLeaf), typeid(StringLeafNode));
  EXPECT_EQ(dynamic_cast<const StringLeafNode&>(textLeaf).maxBytes(), 8U);
}

TEST(LeafRedimension, dateTimeLeafBecomesPlainAndKeepsItsProperties) {
  const VTDateTime::DateTimeTypeAttribs attributes{"yyyy", "UTC"};
  DateTimeLeafNode source(11, u"source", "zoh", Dims{4}, "date-time", units(u"m"), u"now", oddProperties(), attributes);
  const auto result = SignalDescriptor::getLeafNode(source, {3});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(LeafNode));
  expectTaken(leaf, source, {3});
  expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
  EXPECT_EQ(leaf.bytesPerSample(), 3U);
}

TEST(LeafRedimension, aClassNameWithoutPropertiesKeepsThoseOfTheSource) {
  for (const char* name : {"scaled-double", "date-time", "nobody-knows-this"}) {
    LeafNode source(11, u"source", true, "zoh", Dims{4}, name, units(u"m"), u"now", oddProperties(), leafSignal, 33);
    const auto result = SignalDescriptor::getLeafNode(source, {2});
    const LeafNode& leaf = *result;
    ASSERT_EQ(typeid(leaf), typeid(LeafNode)) << name;
    expectTaken(leaf, source, {2});
    expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
    EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 33);
    EXPECT_TRUE(leaf.isComplexDataType());
    EXPECT_EQ(leaf.bytesPerSample(), 4U);
  }
}

TEST(LeafRedimension, aKnownClassNameGivesItsOwnProperties) {
  LeafNode source(11, u"source", false, "zoh", Dims{4}, "double", units(u"m"), u"now", oddProperties(), leafSignal, 33);
  const auto result = SignalDescriptor::getLeafNode(source, {2});
  expectSameProperties(result->fxpDataTypeProperties(), Node::getFxpDataTypeProperties("double"));
  EXPECT_EQ(result->bytesPerSample(), 16U);
}

TEST(LeafRedimension, assessmentLeafBecomesAPlainLeafSignal) {
  AssessmentLeafNode source(u"verdict");
  const auto result = SignalDescriptor::getLeafNode(source, {2});
  const LeafNode& leaf = *result;
  ASSERT_EQ(typeid(leaf), typeid(LeafNode));
  expectTaken(leaf, source, {2});
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 6);
}

TEST(LeafRedimension, policiesOfTheSourceAreNotTaken) {
  StringLeafNode text(1, u"source", "zoh", Dims{}, "string", units(), u"", 8UL, 1UL);
  EnumLeafNode mode(1, u"source", "zoh", Dims{}, "Mode", units(), u"", "int16");
  FixedPointLeafNode charge(1, u"source", false, "zoh", Dims{}, "fixed-point", units(), u"", oddProperties());
  const auto plain = test::makeLeaf();
  for (LeafNode* source : std::vector<LeafNode*>{&text, &mode, &charge, plain.get()}) {
    source->addPolicy(test::makeVisualization());
    source->addPolicy(test::makeSplit(4, {0}));
    const auto result = SignalDescriptor::getLeafNode(*source, {2});
    EXPECT_FALSE(result->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
    EXPECT_FALSE(result->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
    // A string leaf always brings its own policy.
    EXPECT_EQ(result->hasNodePolicy(SignalDescriptorNodePolicy::dynamicString), source == &text);
    EXPECT_EQ(result->transformationPolicies() != nullptr, source == &text);
  }
}

}  // namespace
}  // namespace vtio::core::utils
