#include "vtio/core/utils/top_nv_bus_node.hpp"

#include <limits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/transformation_policy.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::makeBus;
using test::makeLeaf;
using test::makeNVBus;
using test::makeSplit;
using test::makeVisualization;

constexpr long long kLargest = std::numeric_limits<long long>::max();

/// A root with the leaves a, b, c at 0, 8, 12 and 16 bytes per element.
std::unique_ptr<TopNVBusNode> makeRoot(const Dims& dims) {
  auto root = std::make_unique<TopNVBusNode>(6, u"root", 3UL, dims, Dims{0, 8, 12}, 16UL);
  root->addChild(makeLeaf(u"a"));
  root->addChild(makeLeaf(u"b", "int32"));
  root->addChild(makeLeaf(u"c", "single"));
  return root;
}

std::unique_ptr<LeafNode> leafInterpolatedBy(const std::string& method) {
  return std::make_unique<LeafNode>(1, u"leaf", false, method, Dims{}, "double", units(), u"", leafSignal);
}

TEST(TopNVBusNode, isANonVirtualBusOfTheGivenSize) {
  const auto root = makeRoot({1});
  EXPECT_EQ(root->getSignalType(), nonVirtualBus);
  EXPECT_EQ(root->datatypeTableId(), 6);
  EXPECT_EQ(root->signalName(), u"root");
  EXPECT_EQ(root->numberOfChildren(), 3U);
  EXPECT_EQ(root->arrayOfBusDimensions(), Dims{1});
  EXPECT_EQ(root->busSize(), 16U);
  EXPECT_TRUE(root->busSizeKnown());
  EXPECT_EQ(makeRoot({2})->getSignalType(), arrayOfNonVirtualBuses);
  EXPECT_EQ(root->transformationPolicies(), nullptr);
}

TEST(TopNVBusNode, storedSizeIsTheBusSizeTimesTheElements) {
  const std::vector<std::pair<Dims, long long>> cases = {{{}, 16},          {{1}, 16},   {{3}, 48},
                                                         {{2, 3}, 96},      {{0}, 0},    {{-1}, -32},
                                                         {{kLargest}, -16}, {{-2}, -32}, {{-1, -1}, 16}};
  for (const auto& [dims, bytes] : cases) {
    EXPECT_EQ(static_cast<long long>(makeRoot(dims)->storedSize()), bytes) << ::testing::PrintToString(dims);
  }
}

TEST(TopNVBusNode, bytesPerSampleStaysTheSumOfTheChildren) {
  EXPECT_EQ(makeRoot({3})->bytesPerSample(), 48U);
  TopNVBusNode padded(-1, u"padded", 1, {2}, {0}, 64);
  padded.addChild(makeLeaf());
  EXPECT_EQ(padded.bytesPerSample(), 16U);
  EXPECT_EQ(padded.storedSize(), 128U);
}

TEST(TopNVBusNode, leafDataOffsetsStartAsTheChildOffsets) {
  EXPECT_EQ(makeRoot({1})->leafDataOffsets(), (Dims{0, 8, 12}));
}

TEST(TopNVBusNode, generateLeafDataOffsetsDoesNotUnrollTheRoot) {
  const auto root = makeRoot({5});
  root->generateLeafDataOffsets();
  EXPECT_EQ(root->leafDataOffsets(), (Dims{0, 8, 12}));
}

TEST(TopNVBusNode, generateLeafDataOffsetsUnrollsNestedArrays) {
  TopNVBusNode root(-1, u"root", 3, {2}, {0, 24, 80}, 88);
  root.addChild(makeLeaf(u"a", "double", {3}));
  root.addChild(makeNVBus(u"inner", {3}, {u"x", u"y"}));
  root.addChild(makeBus(u"virtual", 0));
  root.generateLeafDataOffsets();
  EXPECT_EQ(root.leafDataOffsets(), (Dims{0, 24, 32, 40, 48, 56, 64, 80}));
}

TEST(TopNVBusNode, leafDataOffsetsCanBeChanged) {
  const auto root = makeRoot({1});
  root->leafDataOffsets() = {5, 6};
  EXPECT_EQ(root->leafDataOffset(1), 6);
  EXPECT_EQ(root->leafDataOffset(2), 5 + 16);
}

TEST(TopNVBusNode, leafDataOffsetRunsOnIntoTheNextElements) {
  const auto root = makeRoot({3});
  root->generateLeafDataOffsets();
  const Dims expected = {0, 8, 12, 16, 24, 28, 32, 40, 44, 48};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(root->leafDataOffset(i), expected[i]) << i;
  }
}

TEST(TopNVBusNode, interpolationMethodIsThatOfTheFirstLeaf) {
  TopNVBusNode flat(-1, u"root", 2, {1}, {0, 8}, 16);
  flat.addChild(leafInterpolatedBy("zoh"));
  flat.addChild(leafInterpolatedBy("linear"));
  EXPECT_EQ(flat.interpolationMethod(), "zoh");
}

TEST(TopNVBusNode, interpolationMethodIsFoundThroughFirstChildren) {
  TopNVBusNode root(-1, u"root", 2, {1}, {0, 8}, 16);
  auto inner = makeNVBus(u"inner", {2}, {});
  auto virtualBusNode = makeBus(u"virtual", 2);
  virtualBusNode->addChild(leafInterpolatedBy("cubic"));
  virtualBusNode->addChild(leafInterpolatedBy("zoh"));
  inner->addChild(std::move(virtualBusNode));
  inner->overrideNumberOfChildren();
  root.addChild(std::move(inner));
  root.addChild(leafInterpolatedBy("linear"));
  EXPECT_EQ(root.interpolationMethod(), "cubic");
}

TEST(TopNVBusNode, keepsPoliciesAsALeafDoes) {
  const auto root = makeRoot({1});
  EXPECT_FALSE(root->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(root->policy(SignalDescriptorNodePolicy::visualizationMetadata), nullptr);
  auto first = makeVisualization("first");
  auto split = makeSplit(4, {8, 0});
  const auto* firstAddress = first.get();
  const auto* splitAddress = split.get();
  root->addPolicy(std::move(first));
  EXPECT_EQ(root->transformationPolicies(), nullptr);
  root->addPolicy(std::move(split));
  root->addPolicy(makeVisualization("second"));
  ASSERT_NE(root->transformationPolicies(), nullptr);
  EXPECT_EQ(*root->transformationPolicies(), (std::vector<unsigned long>{1}));
  EXPECT_TRUE(root->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_TRUE(root->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  EXPECT_FALSE(root->hasNodePolicy(SignalDescriptorNodePolicy::dynamicString));
  EXPECT_EQ(root->policy(SignalDescriptorNodePolicy::visualizationMetadata), firstAddress);
  EXPECT_EQ(root->policy(SignalDescriptorNodePolicy::splitBuffer), splitAddress);
  EXPECT_EQ(root->policy(SignalDescriptorNodePolicy::dynamicString), nullptr);
  EXPECT_EQ(root->transformationPolicy(1), splitAddress);
  EXPECT_EQ(root->transformationPolicy(0), nullptr);
  EXPECT_EQ(root->transformationPolicy(2), nullptr);
}

TEST(TopNVBusNode, policiesDieWithTheRoot) {
  int alive = 0;
  auto root = makeRoot({1});
  root->addPolicy(std::make_unique<const test::ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, true, alive));
  EXPECT_EQ(alive, 1);
  // It claims to transform, so it is listed; it is no TransformationPolicy, so it is not returned as one.
  ASSERT_NE(root->transformationPolicies(), nullptr);
  EXPECT_EQ(*root->transformationPolicies(), (std::vector<unsigned long>{0}));
  EXPECT_EQ(root->transformationPolicy(0), nullptr);
  root.reset();
  EXPECT_EQ(alive, 0);
}

TEST(TopNVBusNode, copyBeforeGeneratingKeepsTheChildOffsets) {
  TopNVBusNode root(-1, u"root", 1, {2}, {24}, 56);
  root.addChild(makeNVBus(u"inner", {2}, {u"x", u"y"}));
  const std::unique_ptr<Node> copy = root.getCopy();
  auto& copied = dynamic_cast<TopNVBusNode&>(*copy);
  EXPECT_EQ(copied.leafDataOffsets(), Dims{24});
  copied.generateLeafDataOffsets();
  EXPECT_EQ(copied.leafDataOffsets(), (Dims{24, 32, 40, 48}));
  EXPECT_EQ(root.leafDataOffsets(), Dims{24});
}

TEST(TopNVBusNode, copyAfterGeneratingKeepsTheLeafDataOffsets) {
  TopNVBusNode root(31, u"root", 1, {2}, {24}, 56);
  root.addChild(makeNVBus(u"inner", {2}, {u"x", u"y"}));
  root.generateLeafDataOffsets();
  const std::unique_ptr<Node> copy = root.getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(TopNVBusNode));
  auto& copied = dynamic_cast<TopNVBusNode&>(*copy);
  EXPECT_EQ(copied.leafDataOffsets(), (Dims{24, 32, 40, 48}));
  EXPECT_EQ(copied.leafDataOffset(4), 24 + 56);
  EXPECT_EQ(copied.busSize(), 56U);
  EXPECT_EQ(copied.storedSize(), 112U);
  EXPECT_EQ(copied.bytesPerSample(), root.bytesPerSample());
  EXPECT_EQ(copied.datatypeTableId(), 31);
  EXPECT_EQ(copied.signalName(), u"root");
  EXPECT_EQ(copied.numberOfChildren(), 1U);
  EXPECT_EQ(copied.arrayOfBusDimensions(), Dims{2});
  EXPECT_EQ(copied.getSignalType(), arrayOfNonVirtualBuses);
  ASSERT_EQ(copied.children().size(), 1U);
  EXPECT_NE(copied.children()[0], root.children()[0]);
  EXPECT_EQ(test::typeOf(*copied.children()[0]), typeid(NVBusNode));
  EXPECT_EQ(copied.children()[0]->parent(), nullptr);
  EXPECT_EQ(copied.children()[0]->childOrderInParent(), -2);
}

TEST(TopNVBusNode, copyTakesTheAnnouncedChildren) {
  TopNVBusNode root(-1, u"root", 1, {1}, {0, 8}, 16);
  root.addChild(makeLeaf(u"a"));
  root.addChild(makeLeaf(u"b"));
  const std::unique_ptr<Node> copy = root.getCopy();
  EXPECT_EQ(dynamic_cast<const TopNVBusNode&>(*copy).children().size(), 1U);
  EXPECT_EQ(copy->bytesPerSample(), 16U);
}

TEST(TopNVBusNode, copyKeepsPoliciesThatHaveACopyAndTransformsNothing) {
  const auto root = makeRoot({1});
  root->addPolicy(makeVisualization("first"));
  root->addPolicy(makeSplit(4, {8, 0}));
  root->addPolicy(makeVisualization("second"));
  const std::unique_ptr<Node> copy = root->getCopy();
  EXPECT_EQ(copy->transformationPolicies(), nullptr);
  EXPECT_FALSE(copy->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  const auto* policy = copy->policy(SignalDescriptorNodePolicy::visualizationMetadata);
  ASSERT_NE(policy, nullptr);
  EXPECT_NE(policy, root->policy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(dynamic_cast<const VisualizationMetadataPolicy&>(*policy).aliasName(), "first");
}

TEST(TopNVBusNode, copyDoesNotListACopiedTransformation) {
  int alive = 0;
  const auto root = makeRoot({1});
  root->addPolicy(std::make_unique<const test::ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, true, alive));
  root->addPolicy(makeVisualization());
  const std::unique_ptr<Node> copy = root->getCopy();
  EXPECT_EQ(alive, 2);
  EXPECT_TRUE(copy->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  EXPECT_EQ(copy->transformationPolicies(), nullptr);
}

TEST(TopNVBusNode, policiesAddedToACopyAreNumberedAfterTheCopiedOnes) {
  const auto root = makeRoot({1});
  root->addPolicy(makeVisualization("first"));
  root->addPolicy(makeSplit(4, {0}));
  root->addPolicy(makeVisualization("second"));
  const std::unique_ptr<Node> copy = root->getCopy();
  copy->addPolicy(makeSplit(4, {4}));
  ASSERT_NE(copy->transformationPolicies(), nullptr);
  EXPECT_EQ(*copy->transformationPolicies(), (std::vector<unsigned long>{2}));
}

}  // namespace
}  // namespace vtio::core::utils
