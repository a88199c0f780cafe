#include "vtio/core/utils/leaf_node.hpp"

#include <limits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "platform/diagnostics.hpp"
#include "tests/utils/data_types.hpp"
#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/transformation_policy.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::expectDiagnostic;
using test::expectSameProperties;
using test::makeLeaf;
using test::makeSplit;
using test::makeVisualization;
using test::oddProperties;
using test::ProbePolicy;

constexpr long long kLargest = std::numeric_limits<long long>::max();
constexpr long long kSmallest = std::numeric_limits<long long>::min();

static_assert(std::is_same_v<decltype(std::declval<const LeafNode&>().numberOfValuesPerSample()), long long>);
static_assert(std::is_same_v<decltype(std::declval<const LeafNode&>().dataDimensions()), const Dims&>);
static_assert(std::is_same_v<decltype(std::declval<const LeafNode&>().transformationPolicies()),
                             const std::vector<unsigned long>*>);

/// Everything that the four constructors have in common.
void expectAttributes(const LeafNode& leaf) {
  EXPECT_EQ(leaf.datatypeTableId(), 11);
  EXPECT_EQ(leaf.signalName(), u"leaf");
  EXPECT_TRUE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.interpolationMethod(), "linear");
  EXPECT_EQ(leaf.dataDimensions(), (Dims{3, 2}));
  EXPECT_EQ(leaf.datatypeClassName(), "int16");
  EXPECT_EQ(leaf.unit().getUnits(), u"m");
  EXPECT_EQ(leaf.startDate(), u"now");
  EXPECT_EQ(leaf.numberOfValuesPerSample(), 6);
  EXPECT_EQ(leaf.numberOfChildren(), 0U);
  EXPECT_EQ(leaf.parent(), nullptr);
  EXPECT_EQ(leaf.childOrderInParent(), -2);
  EXPECT_EQ(leaf.transformationPolicies(), nullptr);
  EXPECT_EQ(leaf.storedSize(), leaf.bytesPerSample());
}

TEST(LeafNode, madeWithBothTableIds) {
  const LeafNode leaf(11, 22, u"leaf", true, "linear", Dims{3, 2}, "int16", units(u"m"), u"now", assessmentLeaf);
  expectAttributes(leaf);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 22);
  EXPECT_EQ(leaf.getSignalType(), assessmentLeaf);
  expectSameProperties(leaf.fxpDataTypeProperties(), Node::getFxpDataTypeProperties("int16"));
  EXPECT_EQ(leaf.bytesPerSample(), 24U);
}

TEST(LeafNode, madeWithOneTableId) {
  const LeafNode leaf(11, u"leaf", true, "linear", Dims{3, 2}, "int16", units(u"m"), u"now", unspecified);
  expectAttributes(leaf);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.getSignalType(), unspecified);
  expectSameProperties(leaf.fxpDataTypeProperties(), Node::getFxpDataTypeProperties("int16"));
  EXPECT_EQ(leaf.bytesPerSample(), 24U);
}

TEST(LeafNode, madeWithPropertiesIsALeafSignal) {
  const LeafNode leaf(11, u"leaf", "linear", Dims{3, 2}, "int16", units(u"m"), u"now", oddProperties(), true);
  expectAttributes(leaf);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.getSignalType(), leafSignal);
  expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
  EXPECT_EQ(leaf.bytesPerSample(), 12U);  // by the record, not by the class name
}

TEST(LeafNode, madeWithPropertiesAndType) {
  const LeafNode leaf(11, u"leaf", true, "linear", Dims{3, 2}, "int16", units(u"m"), u"now", oddProperties(),
                      assessmentLeaf, 33);
  expectAttributes(leaf);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 33);
  EXPECT_EQ(leaf.getSignalType(), assessmentLeaf);
  expectSameProperties(leaf.fxpDataTypeProperties(), oddProperties());
  EXPECT_EQ(leaf.bytesPerSample(), 12U);
}

TEST(LeafNode, madeWithPropertiesTakesAnyClassName) {
  const LeafNode leaf(1, u"leaf", "zoh", Dims{}, "nobody-knows-this", units(), u"", oddProperties(), false);
  EXPECT_EQ(leaf.datatypeClassName(), "nobody-knows-this");
  EXPECT_EQ(leaf.bytesPerSample(), 1U);
}

TEST(LeafNode, interpolationMethodIsPassedThrough) {
  const LeafNode leaf(1, u"leaf", false, "no such method", Dims{}, "double", units(), u"", leafSignal);
  EXPECT_EQ(leaf.interpolationMethod(), "no such method");
}

TEST(LeafNode, unknownClassNameIsRejectedWithTheName) {
  for (const std::string name : {"int24", "fixed-point", "date-time", "scaled-double", ""}) {
    const std::vector<ustring> arguments = {ustring(name.begin(), name.end())};
    expectDiagnostic([&] { LeafNode(1, u"l", false, "zoh", Dims{}, name, units(), u"", leafSignal); },
                     "Vortan:logLoadBlocks", "UnhandledDatatype", arguments);
    expectDiagnostic([&] { LeafNode(1, 2, u"l", false, "zoh", Dims{}, name, units(), u"", leafSignal); },
                     "Vortan:logLoadBlocks", "UnhandledDatatype", arguments);
  }
}

template <typename T>
class LeafNodeOfType : public ::testing::Test {};
TYPED_TEST_SUITE(LeafNodeOfType, test::DataTypes, test::DataTypeNames);

TYPED_TEST(LeafNodeOfType, sizes) {
  const std::vector<std::pair<Dims, unsigned long>> cases = {
      {{}, 1}, {{1}, 1}, {{7}, 7}, {{1, 1}, 1}, {{3, 2}, 6}, {{4, 5}, 20}, {{0}, 0}, {{5, 0}, 0}, {{2, 3, 4}, 24}};
  for (const auto& [dims, values] : cases) {
    for (const bool isComplex : {false, true}) {
      const auto leaf = makeLeaf(u"leaf", TypeParam::name(), dims, isComplex);
      const unsigned long bytes = values * TypeParam::kSize * (isComplex ? 2 : 1);
      EXPECT_EQ(leaf->numberOfValuesPerSample(), static_cast<long long>(values));
      EXPECT_EQ(leaf->bytesPerSample(), bytes);
      EXPECT_EQ(leaf->storedSize(), bytes);
    }
  }
}

TYPED_TEST(LeafNodeOfType, propertiesAreThoseOfTheClassName) {
  const auto leaf = makeLeaf(u"leaf", TypeParam::name());
  EXPECT_EQ(leaf->datatypeClassName(), TypeParam::name());
  expectSameProperties(leaf->fxpDataTypeProperties(), Node::getFxpDataTypeProperties(TypeParam::name()));
}

TYPED_TEST(LeafNodeOfType, bytesUseTheProductBeforeNormalisation) {
  for (const bool isComplex : {false, true}) {
    const unsigned long factor = TypeParam::kSize * (isComplex ? 2 : 1);
    EXPECT_EQ(makeLeaf(u"l", TypeParam::name(), {-1}, isComplex)->bytesPerSample(), 0UL - factor);
    EXPECT_EQ(makeLeaf(u"l", TypeParam::name(), {kLargest}, isComplex)->bytesPerSample(),
              static_cast<unsigned long>(kLargest) * factor);
  }
}

TYPED_TEST(LeafNodeOfType, copyIsEqual) {
  const auto leaf = makeLeaf(u"leaf", TypeParam::name(), {2, 3}, true);
  const std::unique_ptr<Node> copy = leaf->getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(LeafNode));
  const auto& copied = dynamic_cast<const LeafNode&>(*copy);
  EXPECT_EQ(copied.datatypeClassName(), TypeParam::name());
  EXPECT_EQ(copied.bytesPerSample(), leaf->bytesPerSample());
  expectSameProperties(copied.fxpDataTypeProperties(), leaf->fxpDataTypeProperties());
}

TEST(LeafNode, numberOfValuesIsNormalised) {
  const std::vector<std::pair<Dims, long long>> cases = {{{-1}, -2},
                                                         {{1, -1}, -2},
                                                         {{-1, -1}, 1},
                                                         {{-2}, -2},
                                                         {{-3, 2}, -6},
                                                         {{kLargest}, -1},
                                                         {{1, kLargest}, -1},
                                                         {{-1, kLargest}, -kLargest},
                                                         {{kLargest - 1}, kLargest - 1},
                                                         {{kSmallest}, kSmallest},
                                                         {{1LL << 62, 2}, kSmallest},
                                                         {{1LL << 62, 4}, 0},
                                                         {{1LL << 32, 1LL << 32}, 0},
                                                         {{kLargest, kLargest}, 1},
                                                         {{kSmallest, kSmallest}, 0}};
  for (const auto& [dims, values] : cases) {
    const auto leaf = makeLeaf(u"leaf", "uint8", dims);
    EXPECT_EQ(leaf->numberOfValuesPerSample(), values) << ::testing::PrintToString(dims);
    EXPECT_EQ(leaf->dataDimensions(), dims);
  }
}

TEST(LeafNode, bytesOfWrappedProducts) {
  EXPECT_EQ(makeLeaf(u"l", "double", {1LL << 62, 4})->bytesPerSample(), 0U);
  EXPECT_EQ(makeLeaf(u"l", "uint8", {1LL << 62, 2})->bytesPerSample(), 1UL << 63);
  EXPECT_EQ(makeLeaf(u"l", "uint8", {1LL << 62, 2}, true)->bytesPerSample(), 0U);
}

TEST(LeafNode, wordLengthsBetweenTheStorageSizes) {
  const std::vector<std::pair<std::int32_t, unsigned long>> cases = {{1, 1},  {8, 1},  {9, 2},   {16, 2},   {17, 4},
                                                                     {33, 8}, {64, 8}, {65, 16}, {128, 16}, {129, 24}};
  for (const auto& [wordLength, bytes] : cases) {
    fxpDataTypeProp properties = oddProperties();
    properties.wordLength = wordLength;
    const LeafNode leaf(1, u"l", "zoh", Dims{2}, "fixed-point", units(), u"", properties, false);
    EXPECT_EQ(leaf.bytesPerSample(), 2 * bytes) << wordLength;
  }
}

TEST(LeafNode, policiesAreKeptInTheOrderAdded) {
  const auto leaf = makeLeaf();
  auto first = makeVisualization("first");
  auto split = makeSplit(4, {8, 0});
  const auto* firstAddress = first.get();
  const auto* splitAddress = split.get();
  leaf->addPolicy(std::move(first));
  EXPECT_EQ(leaf->transformationPolicies(), nullptr);
  leaf->addPolicy(std::move(split));
  leaf->addPolicy(makeVisualization("second"));
  ASSERT_NE(leaf->transformationPolicies(), nullptr);
  EXPECT_EQ(*leaf->transformationPolicies(), (std::vector<unsigned long>{1}));
  EXPECT_EQ(leaf->policy(SignalDescriptorNodePolicy::visualizationMetadata), firstAddress);
  EXPECT_EQ(leaf->policy(SignalDescriptorNodePolicy::splitBuffer), splitAddress);
  EXPECT_EQ(leaf->transformationPolicy(1), splitAddress);
  EXPECT_EQ(leaf->transformationPolicy(0), nullptr);
  EXPECT_EQ(leaf->transformationPolicy(2), nullptr);
}

TEST(LeafNode, everyTransformationPolicyIsListed) {
  const auto leaf = makeLeaf();
  leaf->addPolicy(makeSplit(1, {0}));
  leaf->addPolicy(makeVisualization());
  leaf->addPolicy(makeSplit(2, {0}));
  leaf->addPolicy(makeSplit(3, {0}));
  ASSERT_NE(leaf->transformationPolicies(), nullptr);
  EXPECT_EQ(*leaf->transformationPolicies(), (std::vector<unsigned long>{0, 2, 3}));
}

TEST(LeafNode, policiesAreFoundByType) {
  const auto leaf = makeLeaf();
  for (const auto type : {SignalDescriptorNodePolicy::visualizationMetadata, SignalDescriptorNodePolicy::splitBuffer,
                          SignalDescriptorNodePolicy::dynamicString}) {
    EXPECT_FALSE(leaf->hasNodePolicy(type));
    EXPECT_EQ(leaf->policy(type), nullptr);
  }
  leaf->addPolicy(makeSplit(1, {0}));
  EXPECT_TRUE(leaf->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  EXPECT_FALSE(leaf->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_FALSE(leaf->hasNodePolicy(SignalDescriptorNodePolicy::dynamicString));
}

TEST(LeafNode, listsWhatCallsItselfATransformationAndHandsOutOnlyRealOnes) {
  int alive = 0;
  const auto leaf = makeLeaf();
  leaf->addPolicy(std::make_unique<const ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, true, alive));
  ASSERT_NE(leaf->transformationPolicies(), nullptr);
  EXPECT_EQ(*leaf->transformationPolicies(), (std::vector<unsigned long>{0}));
  EXPECT_EQ(leaf->transformationPolicy(0), nullptr);
}

TEST(LeafNode, policiesDieWithTheLeaf) {
  int alive = 0;
  auto leaf = makeLeaf();
  leaf->addPolicy(std::make_unique<const ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, false, alive));
  EXPECT_EQ(alive, 1);
  leaf.reset();
  EXPECT_EQ(alive, 0);
}

TEST(LeafNode, copyParamsTakesSizesAndPolicies) {
  int alive = 0;
  const auto source = makeLeaf(u"source", "uint16", {4, 5});
  source->addPolicy(makeVisualization("first"));
  source->addPolicy(makeSplit(4, {0}));
  source->addPolicy(std::make_unique<const ProbePolicy>(SignalDescriptorNodePolicy::dynamicString, true, alive));
  const auto target = makeLeaf(u"target", "double");
  source->copyParams(*target);
  EXPECT_EQ(target->numberOfValuesPerSample(), 20);
  EXPECT_EQ(target->bytesPerSample(), 40U);
  EXPECT_EQ(target->signalName(), u"target");
  EXPECT_EQ(target->dataDimensions(), Dims{});
  EXPECT_EQ(target->datatypeClassName(), "double");
  EXPECT_EQ(alive, 2);
  EXPECT_TRUE(target->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_FALSE(target->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  EXPECT_TRUE(target->hasNodePolicy(SignalDescriptorNodePolicy::dynamicString));
  EXPECT_EQ(target->transformationPolicies(), nullptr);
}

TEST(LeafNode, copyParamsAppendsToThePoliciesOfTheTarget) {
  const auto source = makeLeaf();
  source->addPolicy(makeVisualization("from source"));
  const auto target = makeLeaf();
  target->addPolicy(makeSplit(4, {0}));
  source->copyParams(*target);
  EXPECT_EQ(*target->transformationPolicies(), (std::vector<unsigned long>{0}));
  target->addPolicy(makeSplit(4, {4}));
  EXPECT_EQ(*target->transformationPolicies(), (std::vector<unsigned long>{0, 2}));
}

TEST(LeafNode, setLeafNodePrivateSizesComputesFromTheLeafItself) {
  const auto source = makeLeaf(u"source", "uint16", {4, 5});
  const auto target = makeLeaf(u"target", "single", {3}, true);
  source->copyParams(*target);
  ASSERT_EQ(target->bytesPerSample(), 40U);
  target->setLeafNodePrivateSizes();
  EXPECT_EQ(target->numberOfValuesPerSample(), 3);
  EXPECT_EQ(target->bytesPerSample(), 24U);
}

TEST(LeafNode, copyHasEveryAttribute) {
  const LeafNode leaf(11, u"leaf", true, "linear", Dims{3, 2}, "int16", units(u"m"), u"now", oddProperties(),
                      assessmentLeaf, 33);
  const std::unique_ptr<Node> copy = leaf.getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(LeafNode));
  const auto& copied = dynamic_cast<const LeafNode&>(*copy);
  expectAttributes(copied);
  EXPECT_EQ(copied.userDefinedDatatypeTableId(), 33);
  EXPECT_EQ(copied.getSignalType(), assessmentLeaf);
  expectSameProperties(copied.fxpDataTypeProperties(), oddProperties());
  EXPECT_EQ(copied.bytesPerSample(), 12U);
}

TEST(LeafNode, copyIsDetached) {
  BusNode bus(-1, u"bus", 1, virtualBus);
  bus.addChild(makeLeaf());
  const std::unique_ptr<Node> copy = bus.children()[0]->getCopy();
  EXPECT_EQ(copy->parent(), nullptr);
  EXPECT_EQ(copy->childOrderInParent(), -2);
}

TEST(LeafNode, copyTakesTheSizesOfTheSource) {
  const auto other = makeLeaf(u"other", "uint16", {4, 5});
  const auto leaf = makeLeaf(u"leaf", "double");
  other->copyParams(*leaf);
  const std::unique_ptr<Node> copy = leaf->getCopy();
  EXPECT_EQ(copy->bytesPerSample(), 40U);
  EXPECT_EQ(dynamic_cast<const LeafNode&>(*copy).numberOfValuesPerSample(), 20);
}

TEST(LeafNode, copyLacksPoliciesWithoutACopyAndTransformsNothing) {
  const auto leaf = makeLeaf();
  leaf->addPolicy(makeVisualization("first"));
  leaf->addPolicy(makeSplit(4, {8, 0}));
  leaf->addPolicy(makeVisualization("second"));
  const std::unique_ptr<Node> copy = leaf->getCopy();
  EXPECT_EQ(copy->transformationPolicies(), nullptr);
  EXPECT_FALSE(copy->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  const auto* policy = copy->policy(SignalDescriptorNodePolicy::visualizationMetadata);
  ASSERT_NE(policy, nullptr);
  EXPECT_NE(policy, leaf->policy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(dynamic_cast<const VisualizationMetadataPolicy&>(*policy).aliasName(), "first");
  copy->addPolicy(makeSplit(4, {0}));  // the third policy of the copy
  EXPECT_EQ(*copy->transformationPolicies(), (std::vector<unsigned long>{2}));
}

TEST(LeafNode, copyDoesNotListACopiedTransformation) {
  int alive = 0;
  const auto leaf = makeLeaf();
  leaf->addPolicy(std::make_unique<const ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, true, alive));
  const std::unique_ptr<Node> copy = leaf->getCopy();
  EXPECT_EQ(alive, 2);
  EXPECT_TRUE(copy->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  EXPECT_EQ(copy->transformationPolicies(), nullptr);
}

}  // namespace
}  // namespace vtio::core::utils
