#include "vtio/core/utils/top_bus_node.hpp"

#include <stdexcept>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::makeLeaf;
using test::Obituary;

TEST(TopBusNode, isAVirtualBusByDefault) {
  const TopBusNode bus(-1, u"top", 4);
  EXPECT_EQ(bus.getSignalType(), virtualBus);
  EXPECT_EQ(bus.datatypeTableId(), -1);
  EXPECT_EQ(bus.signalName(), u"top");
  EXPECT_EQ(bus.numberOfChildren(), 4U);
  EXPECT_GE(bus.children().capacity(), 4U);
  EXPECT_EQ(bus.bytesPerSample(), 0U);
}

TEST(TopBusNode, takesAnotherType) {
  EXPECT_EQ(TopBusNode(-1, u"top", 0, arrayOfNonVirtualBuses).getSignalType(), arrayOfNonVirtualBuses);
}

TEST(TopBusNode, addsChildrenAsABusDoes) {
  TopBusNode bus(-1, u"top", 2);
  bus.addChild(makeLeaf(u"a"));
  bus.addChild(makeLeaf(u"b", "int32"));
  EXPECT_EQ(bus.bytesPerSample(), 12U);
  EXPECT_EQ(bus.children()[1]->childOrderInParent(), 1);
  EXPECT_EQ(bus.children()[1]->parent(), &bus);
}

TEST(TopBusNode, copyIsATopBusWithCopiedChildren) {
  TopBusNode bus(23, u"top", 1);
  bus.addChild(makeLeaf(u"a"));
  const std::unique_ptr<Node> copy = bus.getCopy();
  EXPECT_EQ(test::typeOf(*copy), typeid(TopBusNode));
  EXPECT_EQ(copy->datatypeTableId(), 23);
  EXPECT_EQ(copy->signalName(), u"top");
  EXPECT_EQ(copy->numberOfChildren(), 1U);
  EXPECT_EQ(copy->bytesPerSample(), 8U);
  const auto& children = dynamic_cast<const TopBusNode&>(*copy).children();
  ASSERT_EQ(children.size(), 1U);
  EXPECT_NE(children[0], bus.children()[0]);
  EXPECT_EQ(children[0]->signalName(), u"a");
  EXPECT_EQ(children[0]->parent(), nullptr);
  EXPECT_EQ(children[0]->childOrderInParent(), -2);
}

TEST(TopBusNode, copyIsAlwaysAVirtualBus) {
  for (const SignalType type : {leafSignal, virtualBus, nonVirtualBus, arrayOfNonVirtualBuses, unspecified}) {
    EXPECT_EQ(TopBusNode(-1, u"top", 0, type).getCopy()->getSignalType(), virtualBus) << type;
  }
}

TEST(TopBusNode, copyTakesTheBytesOfTheSourceAndTheAnnouncedChildren) {
  TopBusNode bus(-1, u"top", 1);
  bus.addChild(makeLeaf(u"a"));
  bus.addChild(makeLeaf(u"b"));
  const std::unique_ptr<Node> copy = bus.getCopy();
  EXPECT_EQ(dynamic_cast<const TopBusNode&>(*copy).children().size(), 1U);
  EXPECT_EQ(copy->bytesPerSample(), 16U);
}

TEST(TopBusNode, failingCopyLeavesNothingBehind) {
  Obituary obituary;
  TopBusNode bus(-1, u"top", 2);
  bus.addChild(std::make_unique<test::ProbeNode>(u"a", obituary));
  bus.addChild(std::make_unique<test::UncopyableNode>(u"b"));
  EXPECT_THROW(static_cast<void>(bus.getCopy()), std::runtime_error);
  EXPECT_EQ(obituary, (Obituary{u"a copy"}));
}

TEST(TopBusNode, discardsPolicies) {
  const TopBusNode bus(-1, u"top", 0);
  int alive = 0;
  bus.addPolicy(
      std::make_unique<const test::ProbePolicy>(SignalDescriptorNodePolicy::visualizationMetadata, false, alive));
  EXPECT_EQ(alive, 0);
  EXPECT_FALSE(bus.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
}

}  // namespace
}  // namespace vtio::core::utils
