#include "vtio/core/utils/bus_node.hpp"

#include <stdexcept>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::core::utils {
namespace {

using test::makeBus;
using test::makeLeaf;
using test::Obituary;
using test::ProbeNode;
using test::ProbePolicy;
using test::UncopyableNode;

TEST(BusNode, startsEmptyWithTheAnnouncedNumberOfChildren) {
  const BusNode bus(-1, u"bus", 5, nonVirtualBus);
  EXPECT_EQ(bus.datatypeTableId(), -1);
  EXPECT_EQ(bus.signalName(), u"bus");
  EXPECT_EQ(bus.numberOfChildren(), 5U);
  EXPECT_EQ(bus.getSignalType(), nonVirtualBus);
  EXPECT_EQ(bus.bytesPerSample(), 0U);
  EXPECT_EQ(bus.parent(), nullptr);
  EXPECT_EQ(bus.childOrderInParent(), -2);
  EXPECT_TRUE(bus.children().empty());
  EXPECT_GE(bus.children().capacity(), 5U);
}

TEST(BusNode, addChildSumsBytesAndNumbersTheChildren) {
  BusNode bus(-1, u"bus", 3, virtualBus);
  const std::vector<std::vector<long long>> dims = {{}, {2}, {}};
  const std::vector<std::string> classes = {"double", "double", "single"};
  const std::vector<unsigned long> bytesAfter = {8, 24, 28};
  for (std::size_t i = 0; i < 3; ++i) {
    auto leaf = makeLeaf(u"leaf", classes[i], dims[i]);
    const Node* address = leaf.get();
    bus.addChild(std::move(leaf));
    ASSERT_EQ(bus.children().size(), i + 1);
    EXPECT_EQ(bus.children()[i].get(), address);
    EXPECT_EQ(address->parent(), &bus);
    EXPECT_EQ(address->childOrderInParent(), static_cast<int>(i));
    EXPECT_EQ(bus.bytesPerSample(), bytesAfter[i]);
    EXPECT_EQ(bus.storedSize(), bytesAfter[i]);
  }
  EXPECT_EQ(bus.parent(), nullptr);
}

TEST(BusNode, addChildAsksTheChildForItsBytes) {
  auto bus = makeBus(u"bus", 1);
  bus->addChild(std::make_unique<StringLeafNode>(1, u"text", "zoh", std::vector<long long>{7}, "string", units(), u"",
                                                 10UL, 2UL));
  EXPECT_EQ(bus->bytesPerSample(), 20U);  // and not the 7 bytes of seven 8-bit elements
}

TEST(BusNode, addChildAddsTheSampleNotTheStoredSize) {
  auto bus = makeBus(u"bus", 1);
  auto padded = std::make_unique<TopNVBusNode>(-1, u"padded", 1UL, test::Dims{2}, test::Dims{0}, 64UL);
  padded->addChild(makeLeaf());
  ASSERT_EQ(padded->storedSize(), 128U);
  bus->addChild(std::move(padded));
  EXPECT_EQ(bus->bytesPerSample(), 16U);
}

TEST(BusNode, addChildCountsAttachedChildrenNotAnnouncedOnes) {
  auto bus = makeBus(u"bus", 9);
  bus->addChild(makeLeaf(u"first"));
  EXPECT_EQ(bus->children()[0]->childOrderInParent(), 0);
  EXPECT_EQ(bus->numberOfChildren(), 9U);
}

TEST(BusNode, bytesAreThoseOfTheMomentOfAttachment) {
  auto outer = makeBus(u"outer", 1);
  auto inner = makeBus(u"inner", 1);
  BusNode* innerAddress = inner.get();
  outer->addChild(std::move(inner));
  innerAddress->addChild(makeLeaf());
  EXPECT_EQ(innerAddress->bytesPerSample(), 8U);
  EXPECT_EQ(outer->bytesPerSample(), 0U);
}

TEST(BusNode, overrideNumberOfChildrenTakesTheAttachedOnes) {
  auto bus = makeBus(u"bus", 5);
  for (int i = 0; i < 3; ++i) {
    bus->addChild(makeLeaf());
  }
  EXPECT_EQ(bus->numberOfChildren(), 5U);
  bus->overrideNumberOfChildren();
  EXPECT_EQ(bus->numberOfChildren(), 3U);
}

TEST(BusNode, overrideNumberOfChildrenAlsoRaisesTheNumber) {
  auto bus = makeBus(u"bus", 1);
  bus->addChild(makeLeaf());
  bus->addChild(makeLeaf());
  EXPECT_EQ(bus->numberOfChildren(), 1U);
  bus->overrideNumberOfChildren();
  EXPECT_EQ(bus->numberOfChildren(), 2U);
}

TEST(BusNode, destroysItsChildrenLastToFirst) {
  Obituary obituary;
  {
    BusNode bus(-1, u"bus", 3, virtualBus);
    for (const char16_t* name : {u"a", u"b", u"c"}) {
      bus.addChild(std::make_unique<ProbeNode>(name, obituary));
    }
    EXPECT_TRUE(obituary.empty());
  }
  EXPECT_EQ(obituary, (Obituary{u"c", u"b", u"a"}));
}

TEST(BusNode, discardsPolicies) {
  const auto bus = makeBus(u"bus", 0);
  int alive = 0;
  bus->addPolicy(std::make_unique<const ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, true, alive));
  EXPECT_EQ(alive, 0);
  EXPECT_FALSE(bus->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  EXPECT_EQ(bus->policy(SignalDescriptorNodePolicy::splitBuffer), nullptr);
  EXPECT_EQ(bus->transformationPolicies(), nullptr);
  EXPECT_EQ(bus->transformationPolicy(0), nullptr);
}

TEST(BusNode, copyIsDeepAndDetached) {
  auto bus = std::make_unique<BusNode>(17, u"bus", 2, arrayOfNonVirtualBuses);
  bus->addChild(makeLeaf(u"a"));
  bus->addChild(makeLeaf(u"b", "int16", {3}));
  const std::unique_ptr<Node> copy = bus->getCopy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(test::typeOf(*copy), typeid(BusNode));
  EXPECT_EQ(copy->datatypeTableId(), 17);
  EXPECT_EQ(copy->signalName(), u"bus");
  EXPECT_EQ(copy->numberOfChildren(), 2U);
  EXPECT_EQ(copy->getSignalType(), arrayOfNonVirtualBuses);
  EXPECT_EQ(copy->bytesPerSample(), 14U);
  const auto& children = dynamic_cast<const BusNode&>(*copy).children();
  ASSERT_EQ(children.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_NE(children[i], bus->children()[i]);
    EXPECT_EQ(children[i]->signalName(), bus->children()[i]->signalName());
    EXPECT_EQ(children[i]->parent(), nullptr);
    EXPECT_EQ(children[i]->childOrderInParent(), -2);
  }
}

TEST(BusNode, copyOfAnAttachedBusIsDetached) {
  auto outer = makeBus(u"outer", 1);
  outer->addChild(makeBus(u"inner", 0));
  const std::unique_ptr<Node> copy = outer->children()[0]->getCopy();
  EXPECT_EQ(copy->parent(), nullptr);
  EXPECT_EQ(copy->childOrderInParent(), -2);
}

TEST(BusNode, copyTakesTheBytesOfTheSourceNotOfTheChildren) {
  auto outer = makeBus(u"outer", 1);
  outer->addChild(makeBus(u"inner", 1));
  dynamic_cast<BusNode&>(*outer->children()[0]).addChild(makeLeaf());
  const std::unique_ptr<Node> copy = outer->getCopy();
  EXPECT_EQ(copy->bytesPerSample(), 0U);
  EXPECT_EQ(dynamic_cast<const BusNode&>(*copy).children()[0]->bytesPerSample(), 8U);
}

TEST(BusNode, copyTakesTheAnnouncedChildrenOnly) {
  auto bus = makeBus(u"bus", 2);
  for (const char16_t* name : {u"a", u"b", u"c"}) {
    bus->addChild(makeLeaf(name));
  }
  const std::unique_ptr<Node> copy = bus->getCopy();
  EXPECT_EQ(copy->numberOfChildren(), 2U);
  EXPECT_EQ(dynamic_cast<const BusNode&>(*copy).children().size(), 2U);
  EXPECT_EQ(copy->bytesPerSample(), 24U);
}

TEST(BusNode, copyKeepsThePlaceOfAChildThatHasNoCopy) {
  auto bus = makeBus(u"bus", 2);
  bus->addChild(std::make_unique<Node>(u"plain"));
  bus->addChild(makeLeaf(u"leaf"));
  const std::unique_ptr<Node> copy = bus->getCopy();
  const auto& children = dynamic_cast<const BusNode&>(*copy).children();
  ASSERT_EQ(children.size(), 2U);
  EXPECT_EQ(children[0], nullptr);
  ASSERT_NE(children[1], nullptr);
  EXPECT_EQ(children[1]->signalName(), u"leaf");
}

TEST(BusNode, failingCopyLeavesNothingBehind) {
  Obituary obituary;
  auto bus = makeBus(u"bus", 2);
  bus->addChild(std::make_unique<ProbeNode>(u"a", obituary));
  bus->addChild(std::make_unique<UncopyableNode>(u"b"));
  EXPECT_THROW(static_cast<void>(bus->getCopy()), std::runtime_error);
  EXPECT_EQ(obituary, (Obituary{u"a copy"}));
  EXPECT_EQ(bus->children().size(), 2U);
}

}  // namespace
}  // namespace vtio::core::utils
