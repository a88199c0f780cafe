#include "vtio/core/utils/node.hpp"

#include <type_traits>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::makeVisualization;
using test::ProbePolicy;

static_assert(std::has_virtual_destructor_v<Node>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().bytesPerSample()), unsigned long>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().storedSize()), unsigned long>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().numberOfChildren()), unsigned long>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().parent()), const Node*>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().childOrderInParent()), int>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().datatypeTableId()), int>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().signalName()), const ustring&>);
static_assert(std::is_same_v<decltype(std::declval<const Node&>().getSignalType()), SignalType>);

TEST(Node, madeFromANameAlone) {
  const Node node(u"alone");
  EXPECT_EQ(node.signalName(), u"alone");
  EXPECT_EQ(node.getSignalType(), unspecified);
  EXPECT_EQ(node.datatypeTableId(), 0);
  EXPECT_EQ(node.bytesPerSample(), 0U);
  EXPECT_EQ(node.storedSize(), 0U);
  EXPECT_EQ(node.numberOfChildren(), 0U);
  EXPECT_EQ(node.childOrderInParent(), -2);
  EXPECT_EQ(node.parent(), nullptr);
}

TEST(Node, madeFromAllItsValues) {
  const Node node(-1, u"full", 5, arrayOfNonVirtualBuses);
  EXPECT_EQ(node.signalName(), u"full");
  EXPECT_EQ(node.getSignalType(), arrayOfNonVirtualBuses);
  EXPECT_EQ(node.datatypeTableId(), -1);
  EXPECT_EQ(node.bytesPerSample(), 0U);
  EXPECT_EQ(node.storedSize(), 0U);
  EXPECT_EQ(node.numberOfChildren(), 5U);
  EXPECT_EQ(node.childOrderInParent(), -2);
  EXPECT_EQ(node.parent(), nullptr);
}

TEST(Node, keepsEverySignalType) {
  for (const SignalType type :
       {leafSignal, virtualBus, nonVirtualBus, arrayOfNonVirtualBuses, assessmentLeaf, unspecified}) {
    EXPECT_EQ(Node(3, u"n", 0, type).getSignalType(), type);
  }
}

TEST(Node, keepsANameThatIsNotAscii) {
  const ustring name = u"\u00e4\u4e2d\xd800|\n";
  EXPECT_EQ(Node(name).signalName(), name);
  EXPECT_EQ(Node(u"").signalName(), u"");
}

TEST(Node, parentAndChildOrderAreSetFromOutside) {
  const Node above(u"above");
  Node node(u"below");
  node.parent(above);
  node.childOrderInParent(4);
  EXPECT_EQ(node.parent(), &above);
  EXPECT_EQ(node.childOrderInParent(), 4);
}

TEST(Node, copyOfAPlainNodeIsEmpty) {
  EXPECT_EQ(Node(u"alone").getCopy(), nullptr);
  EXPECT_EQ(Node(-1, u"full", 5, virtualBus).getCopy(), nullptr);
}

TEST(Node, aPlainNodeDestroysThePolicyItIsGiven) {
  const Node node(u"alone");
  int alive = 0;
  auto policy = std::make_unique<const ProbePolicy>(SignalDescriptorNodePolicy::visualizationMetadata, true, alive);
  ASSERT_EQ(alive, 1);
  node.addPolicy(std::move(policy));
  EXPECT_EQ(alive, 0);
  EXPECT_FALSE(node.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_EQ(node.policy(SignalDescriptorNodePolicy::visualizationMetadata), nullptr);
  EXPECT_EQ(node.transformationPolicies(), nullptr);
  EXPECT_EQ(node.transformationPolicy(0), nullptr);
}

TEST(Node, iteratorsOfAPlainNodeYieldNoLeaf) {
  const Node node(u"alone");
  EXPECT_EQ(*node.leafIterator(), nullptr);
  EXPECT_EQ(*node.leafIteratorAobLoop(), nullptr);
}

TEST(Node, leafIteratorVisitsAnArrayOfBusesOnce) {
  const auto bus = test::makeNVBus(u"wheels", {2}, {u"x", u"y"});
  EXPECT_EQ(test::leafNames(bus->leafIterator()), (std::vector<ustring>{u"x", u"y"}));
}

TEST(Node, leafIteratorAobLoopVisitsEveryElementOfAnArrayOfBuses) {
  const auto bus = test::makeNVBus(u"wheels", {2}, {u"x", u"y"});
  EXPECT_EQ(test::leafNames(bus->leafIteratorAobLoop()), (std::vector<ustring>{u"x", u"y", u"x", u"y"}));
}

}  // namespace
}  // namespace vtio::core::utils
