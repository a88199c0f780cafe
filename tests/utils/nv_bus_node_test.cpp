#include "vtio/core/utils/nv_bus_node.hpp"

#include <limits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::makeBus;
using test::makeLeaf;
using test::makeNVBus;

constexpr long long kLargest = std::numeric_limits<long long>::max();
constexpr long long kSmallest = std::numeric_limits<long long>::min();

static_assert(std::is_same_v<decltype(std::declval<const NVBusNode&>().busSize()), unsigned long>);

/// The offsets that `bus` appends to a list that holds 77 already, without the 77.
Dims appendedOffsets(const NVBusNode& bus, long long base, bool isTop) {
  Dims offsets = {77};
  bus.generateLeafDataOffsetsRecursive(offsets, base, isTop);
  EXPECT_EQ(offsets.front(), 77);
  offsets.erase(offsets.begin());
  return offsets;
}

TEST(NVBusNode, typeFollowsTheDimensions) {
  const std::vector<std::pair<Dims, SignalType>> cases = {{{1}, nonVirtualBus},
                                                          {{2}, arrayOfNonVirtualBuses},
                                                          {{1, 1}, arrayOfNonVirtualBuses},
                                                          {{}, arrayOfNonVirtualBuses},
                                                          {{0}, arrayOfNonVirtualBuses},
                                                          {{-1}, arrayOfNonVirtualBuses},
                                                          {{1, 2}, arrayOfNonVirtualBuses}};
  for (const auto& [dims, type] : cases) {
    EXPECT_EQ(NVBusNode(-1, u"bus", 0, dims).getSignalType(), type) << ::testing::PrintToString(dims);
    EXPECT_EQ(NVBusNode(-1, u"bus", 0, dims, {}, 8).getSignalType(), type) << ::testing::PrintToString(dims);
  }
}

TEST(NVBusNode, madeWithoutASize) {
  const NVBusNode bus(-1, u"bus", 3, {2, 2});
  EXPECT_EQ(bus.datatypeTableId(), -1);
  EXPECT_EQ(bus.signalName(), u"bus");
  EXPECT_EQ(bus.numberOfChildren(), 3U);
  EXPECT_EQ(bus.arrayOfBusDimensions(), (Dims{2, 2}));
  EXPECT_EQ(bus.busSize(), 0U);
  EXPECT_FALSE(bus.busSizeKnown());
  EXPECT_EQ(bus.bytesPerSample(), 0U);
  EXPECT_GE(bus.children().capacity(), 3U);
}

TEST(NVBusNode, madeWithASize) {
  const NVBusNode bus(12, u"bus", 1, {4}, {8}, 24);
  EXPECT_EQ(bus.datatypeTableId(), 12);
  EXPECT_EQ(bus.signalName(), u"bus");
  EXPECT_EQ(bus.numberOfChildren(), 1U);
  EXPECT_EQ(bus.arrayOfBusDimensions(), (Dims{4}));
  EXPECT_EQ(bus.busSize(), 24U);
  EXPECT_TRUE(bus.busSizeKnown());
}

TEST(NVBusNode, aSizeOfZeroIsNotKnown) {
  EXPECT_FALSE(NVBusNode(-1, u"bus", 0, {1}, {}, 0).busSizeKnown());
  EXPECT_TRUE(NVBusNode(-1, u"bus", 0, {1}, {}, 1).busSizeKnown());
}

TEST(NVBusNode, addChildMultipliesBytesByTheElements) {
  NVBusNode bus(-1, u"bus", 2, {4}, {0, 8}, 12);
  bus.addChild(makeLeaf(u"a"));
  EXPECT_EQ(bus.bytesPerSample(), 32U);
  bus.addChild(makeLeaf(u"b", "single"));
  EXPECT_EQ(bus.bytesPerSample(), 48U);
  EXPECT_EQ(bus.storedSize(), 48U);
  for (int i = 0; i < 2; ++i) {
    const Node& child = *bus.children()[static_cast<std::size_t>(i)];
    EXPECT_EQ(child.childOrderInParent(), i);
    EXPECT_EQ(child.parent(), &bus);
  }
  EXPECT_EQ(bus.children()[1]->signalName(), u"b");
}

TEST(NVBusNode, addChildNormalisesTheNumberOfElements) {
  const std::vector<std::pair<Dims, long long>> cases = {
      {{}, 8},       {{1}, 8},         {{2, 3}, 48},        {{0}, 0},    {{3, 0}, 0}, {{-1}, -16}, {{1, -1}, -16},
      {{-1, -1}, 8}, {{kLargest}, -8}, {{kLargest, 1}, -8}, {{-2}, -16}, {{-3}, -24}};
  for (const auto& [dims, bytes] : cases) {
    NVBusNode bus(-1, u"bus", 1, dims);
    bus.addChild(makeLeaf());
    EXPECT_EQ(static_cast<long long>(bus.bytesPerSample()), bytes) << ::testing::PrintToString(dims);
  }
}

TEST(NVBusNode, addChildAsksTheChildForItsBytes) {
  NVBusNode bus(-1, u"bus", 1, {3});
  bus.addChild(std::make_unique<StringLeafNode>(1, u"text", "zoh", Dims{}, "string", units(), u"", 10UL, 2UL));
  EXPECT_EQ(bus.bytesPerSample(), 60U);
}

TEST(NVBusNode, addChildAddsTheSampleNotTheStoredSize) {
  NVBusNode bus(-1, u"bus", 1, {3});
  auto padded = std::make_unique<TopNVBusNode>(-1, u"padded", 1UL, Dims{2}, Dims{0}, 64UL);
  padded->addChild(makeLeaf());
  bus.addChild(std::move(padded));
  EXPECT_EQ(bus.bytesPerSample(), 48U);
}

TEST(NVBusNode, offsetsOfASingleBus) {
  EXPECT_EQ(appendedOffsets(*makeNVBus(u"bus", {1}, {u"a", u"b"}), 100, false), (Dims{100, 108}));
}

TEST(NVBusNode, offsetsOfAnArrayAreElementMajor) {
  const auto bus = makeNVBus(u"bus", {3}, {u"a", u"b"});
  EXPECT_EQ(appendedOffsets(*bus, 24, false), (Dims{24, 32, 40, 48, 56, 64}));
}

TEST(NVBusNode, offsetsOfATopAreNotUnrolled) {
  const auto bus = makeNVBus(u"bus", {3}, {u"a", u"b"});
  EXPECT_EQ(appendedOffsets(*bus, 24, true), (Dims{24, 32}));
}

TEST(NVBusNode, offsetsOfNoDimensionsAreOneElement) {
  EXPECT_EQ(appendedOffsets(*makeNVBus(u"bus", {}, {u"a", u"b"}), 4, false), (Dims{4, 12}));
}

TEST(NVBusNode, offsetsOfNoElementsAreNone) {
  for (const Dims& dims : {Dims{0}, Dims{4, 0}, Dims{-1}, Dims{-3}}) {
    EXPECT_EQ(appendedOffsets(*makeNVBus(u"bus", dims, {u"a"}), 4, false), Dims{}) << ::testing::PrintToString(dims);
    EXPECT_EQ(appendedOffsets(*makeNVBus(u"bus", dims, {u"a"}), 4, true), Dims{4}) << ::testing::PrintToString(dims);
  }
}

TEST(NVBusNode, offsetsCountTheProductOfNegativeDimensions) {
  EXPECT_EQ(appendedOffsets(*makeNVBus(u"bus", {-1, -1}, {u"a"}), 0, false), Dims{0});
  EXPECT_EQ(appendedOffsets(*makeNVBus(u"bus", {-1, -2}, {u"a"}), 0, false), (Dims{0, 8}));
}

TEST(NVBusNode, offsetsStepByTheBusSize) {
  const std::vector<std::pair<unsigned long, long long>> strides = {{16, 16},
                                                                    {0, 0},
                                                                    {static_cast<unsigned long>(-1L), kLargest},
                                                                    {static_cast<unsigned long>(-2L), -1},
                                                                    {static_cast<unsigned long>(-3L), -3},
                                                                    {static_cast<unsigned long>(kSmallest), kSmallest},
                                                                    {static_cast<unsigned long>(kLargest), kLargest}};
  for (const auto& [busSize, stride] : strides) {
    NVBusNode bus(-1, u"bus", 1, {2}, {0}, busSize);
    bus.addChild(makeLeaf());
    EXPECT_EQ(appendedOffsets(bus, 0, false), (Dims{0, stride})) << busSize;
  }
}

TEST(NVBusNode, offsetsEnterNonVirtualBusesOnly) {
  NVBusNode bus(-1, u"bus", 3, {1}, {0, 8, 40}, 80);
  auto virtualChild = makeBus(u"virtual", 2);
  virtualChild->addChild(makeLeaf(u"v1"));
  virtualChild->addChild(makeLeaf(u"v2"));
  bus.addChild(makeLeaf(u"a"));
  bus.addChild(std::move(virtualChild));
  bus.addChild(makeNVBus(u"inner", {2}, {u"x", u"y"}));
  EXPECT_EQ(appendedOffsets(bus, 1000, false), (Dims{1000, 1008, 1040, 1048, 1056, 1064}));
}

TEST(NVBusNode, offsetsTakeAVirtualBusMarkedNonVirtualForALeaf) {
  NVBusNode bus(-1, u"bus", 1, {1}, {16}, 32);
  auto marked = std::make_unique<BusNode>(-1, u"marked", 1, nonVirtualBus);
  marked->addChild(makeLeaf());
  bus.addChild(std::move(marked));
  EXPECT_EQ(appendedOffsets(bus, 0, false), Dims{16});
}

TEST(NVBusNode, offsetsEnterARootClassInsideATree) {
  NVBusNode bus(-1, u"bus", 1, {1}, {8}, 40);
  auto inner = std::make_unique<TopNVBusNode>(-1, u"inner", 1UL, Dims{2}, Dims{4}, 16UL);
  inner->addChild(makeLeaf());
  bus.addChild(std::move(inner));
  EXPECT_EQ(appendedOffsets(bus, 0, false), (Dims{12, 28}));
}

TEST(NVBusNode, offsetsOfArraysInArrays) {
  NVBusNode outer(-1, u"outer", 2, {2}, {0, 8}, 48);
  outer.addChild(makeLeaf(u"a"));
  outer.addChild(makeNVBus(u"inner", {2}, {u"x", u"y"}));
  EXPECT_EQ(appendedOffsets(outer, 0, false), (Dims{0, 8, 16, 24, 32, 48, 56, 64, 72, 80}));
}

TEST(NVBusNode, copyKeepsDimensionsOffsetsSizeAndBytes) {
  NVBusNode bus(9, u"bus", 2, {3}, {0, 12}, 20);
  bus.addChild(makeLeaf(u"a"));
  bus.addChild(makeLeaf(u"b", "int16", {2}));
  const std::unique_ptr<Node> copy = bus.getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(NVBusNode));
  const auto& copied = dynamic_cast<const NVBusNode&>(*copy);
  EXPECT_EQ(copied.datatypeTableId(), 9);
  EXPECT_EQ(copied.signalName(), u"bus");
  EXPECT_EQ(copied.numberOfChildren(), 2U);
  EXPECT_EQ(copied.getSignalType(), arrayOfNonVirtualBuses);
  EXPECT_EQ(copied.arrayOfBusDimensions(), Dims{3});
  EXPECT_EQ(copied.busSize(), 20U);
  EXPECT_EQ(copied.bytesPerSample(), 36U);
  EXPECT_EQ(appendedOffsets(copied, 0, false), (Dims{0, 12, 20, 32, 40, 52}));
  ASSERT_EQ(copied.children().size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_NE(copied.children()[i], bus.children()[i]);
    EXPECT_EQ(copied.children()[i]->signalName(), bus.children()[i]->signalName());
    EXPECT_EQ(copied.children()[i]->parent(), nullptr);
    EXPECT_EQ(copied.children()[i]->childOrderInParent(), -2);
  }
}

TEST(NVBusNode, copyTakesTheAnnouncedChildrenAndTheBytesOfTheSource) {
  NVBusNode bus(-1, u"bus", 1, {2}, {0, 8}, 16);
  bus.addChild(makeLeaf(u"a"));
  bus.addChild(makeLeaf(u"b"));
  const std::unique_ptr<Node> copy = bus.getCopy();
  EXPECT_EQ(dynamic_cast<const NVBusNode&>(*copy).children().size(), 1U);
  EXPECT_EQ(copy->bytesPerSample(), 32U);
}

TEST(NVBusNode, failingCopyLeavesNothingBehind) {
  test::Obituary obituary;
  NVBusNode bus(-1, u"bus", 2, {1}, {0, 8}, 16);
  bus.addChild(std::make_unique<test::ProbeNode>(u"a", obituary));
  bus.addChild(std::make_unique<test::UncopyableNode>(u"b"));
  EXPECT_THROW(static_cast<void>(bus.getCopy()), std::runtime_error);
  EXPECT_EQ(obituary, (test::Obituary{u"a copy"}));
}

TEST(NVBusNode, discardsPolicies) {
  const NVBusNode bus(-1, u"bus", 0, {1});
  int alive = 0;
  bus.addPolicy(std::make_unique<const test::ProbePolicy>(SignalDescriptorNodePolicy::splitBuffer, true, alive));
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(bus.transformationPolicies(), nullptr);
  EXPECT_FALSE(bus.hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
}

}  // namespace
}  // namespace vtio::core::utils
