#include "vtio/core/utils/leaf_iterator.hpp"

#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_bus_node.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::leafNames;
using test::makeBus;
using test::makeLeaf;
using test::makeNVBus;
using test::walk;
using Names = std::vector<ustring>;

static_assert(std::has_virtual_destructor_v<LeafIterator>);
static_assert(std::is_move_constructible_v<LeafIterator>);
static_assert(!std::is_copy_constructible_v<LeafIterator>);
static_assert(std::is_same_v<decltype(*std::declval<const LeafIterator&>()), const LeafNode*>);

/// P, Q(Q1, Q2), R
std::unique_ptr<BusNode> makeSimpleTree() {
  auto inner = makeBus(u"Q", 2);
  inner->addChild(makeLeaf(u"Q1"));
  inner->addChild(makeLeaf(u"Q2"));
  auto bus = makeBus(u"bus", 3);
  bus->addChild(makeLeaf(u"P"));
  bus->addChild(std::move(inner));
  bus->addChild(makeLeaf(u"R"));
  return bus;
}

/// a, N(x, y) of the given dimensions, b
std::unique_ptr<BusNode> makeTreeWithArray(const Dims& dims) {
  auto bus = makeBus(u"bus", 3);
  bus->addChild(makeLeaf(u"a"));
  bus->addChild(makeNVBus(u"N", dims, {u"x", u"y"}));
  bus->addChild(makeLeaf(u"b"));
  return bus;
}

TEST(LeafIterator, yieldsASingleLeafOnce) {
  const auto leaf = makeLeaf(u"only");
  for (const bool stop : {false, true}) {
    for (const bool loop : {false, true}) {
      LeafIterator iterator(*leaf, stop, loop);
      EXPECT_EQ(*iterator, leaf.get());
      EXPECT_EQ(*iterator, leaf.get());
      ++iterator;
      EXPECT_EQ(*iterator, nullptr);
    }
  }
}

TEST(LeafIterator, goesDepthFirstInChildOrder) {
  EXPECT_EQ(leafNames(LeafIterator(*makeSimpleTree())), (Names{u"P", u"Q1", u"Q2", u"R"}));
}

TEST(LeafIterator, yieldsTheNodesThemselves) {
  const auto bus = makeSimpleTree();
  LeafIterator iterator(*bus);
  EXPECT_EQ(*iterator, bus->children()[0].get());
  ++iterator;
  EXPECT_EQ(*iterator, dynamic_cast<const BusNode&>(*bus->children()[1]).children()[0].get());
}

TEST(LeafIterator, doesNotNeedParentLinks) {
  const std::unique_ptr<Node> copy = makeSimpleTree()->getCopy();
  EXPECT_EQ(leafNames(LeafIterator(*copy)), (Names{u"P", u"Q1", u"Q2", u"R"}));
}

TEST(LeafIterator, startsAnywhereInATree) {
  const auto bus = makeSimpleTree();
  EXPECT_EQ(leafNames(LeafIterator(*bus->children()[1])), (Names{u"Q1", u"Q2"}));
}

TEST(LeafIterator, yieldsNullForAnEmptyRootBus) {
  EXPECT_EQ(*LeafIterator(*makeBus(u"empty", 0)), nullptr);
  EXPECT_EQ(*LeafIterator(TopBusNode(-1, u"empty", 0)), nullptr);
  EXPECT_EQ(*LeafIterator(*makeNVBus(u"empty", {3}, {}), false, true), nullptr);
}

TEST(LeafIterator, stopsForItsCallerAtAnEmptyBusAndGoesOnBehindIt) {
  auto bus = makeBus(u"bus", 3);
  bus->addChild(makeLeaf(u"a"));
  bus->addChild(makeBus(u"empty", 0));
  bus->addChild(makeLeaf(u"b"));
  EXPECT_EQ(leafNames(LeafIterator(*bus)), Names{u"a"});
  EXPECT_EQ(walk(LeafIterator(*bus), 3), (Names{u"a", u"-", u"b"}));
}

TEST(LeafIterator, goesByTheAnnouncedNumberOfChildren) {
  auto bus = makeBus(u"bus", 0);
  bus->addChild(makeLeaf(u"a"));
  bus->addChild(makeLeaf(u"b"));
  EXPECT_EQ(leafNames(LeafIterator(*bus)), Names{});
  bus->overrideNumberOfChildren();
  EXPECT_EQ(leafNames(LeafIterator(*bus)), (Names{u"a", u"b"}));
  auto fewer = makeBus(u"fewer", 1);
  fewer->addChild(makeLeaf(u"a"));
  fewer->addChild(makeLeaf(u"b"));
  EXPECT_EQ(leafNames(LeafIterator(*fewer)), Names{u"a"});
}

TEST(LeafIterator, yieldsNullForAChildThatIsNotThere) {
  auto bus = makeBus(u"bus", 3);
  bus->addChild(makeLeaf(u"a"));
  bus->addChild(std::make_unique<Node>(u"plain"));
  bus->addChild(makeLeaf(u"b"));
  EXPECT_EQ(walk(LeafIterator(*bus), 3), (Names{u"a", u"-", u"b"}));
  const std::unique_ptr<Node> copy = bus->getCopy();  // the plain node has no copy
  EXPECT_EQ(walk(LeafIterator(*copy), 3), (Names{u"a", u"-", u"b"}));
  EXPECT_EQ(walk(LeafIterator(*copy, true, true), 3), (Names{u"a", u"-", u"b"}));
}

TEST(LeafIterator, yieldsLeavesOfEveryClass) {
  auto bus = makeBus(u"bus", 2);
  bus->addChild(std::make_unique<StringLeafNode>(1, u"text", "zoh", Dims{}, "string", units(), u"", 8UL, 1UL));
  bus->addChild(
      std::make_unique<LeafNode>(1, u"assessment", false, "zoh", Dims{1}, "int32", units(), u"", assessmentLeaf));
  EXPECT_EQ(leafNames(LeafIterator(*bus, true, true)), (Names{u"text", u"assessment"}));
}

TEST(LeafIterator, entersNonVirtualBusesByDefault) {
  EXPECT_EQ(leafNames(LeafIterator(*makeTreeWithArray({1}))), (Names{u"a", u"x", u"y", u"b"}));
  EXPECT_EQ(leafNames(LeafIterator(*makeTreeWithArray({4}))), (Names{u"a", u"x", u"y", u"b"}));
  EXPECT_EQ(leafNames(LeafIterator(*makeTreeWithArray({0}))), (Names{u"a", u"x", u"y", u"b"}));
}

TEST(LeafIterator, stopsAtNonVirtualBuses) {
  for (const Dims& dims : {Dims{1}, Dims{4}, Dims{}, Dims{0}}) {
    EXPECT_EQ(walk(LeafIterator(*makeTreeWithArray(dims), true, false), 3), (Names{u"a", u"-", u"b"}));
  }
  EXPECT_EQ(walk(LeafIterator(*makeNVBus(u"N", {1}, {u"x", u"y"}), true, false), 1), Names{u"-"});
}

TEST(LeafIterator, stopsByTypeNotByClass) {
  for (const SignalType type : {nonVirtualBus, arrayOfNonVirtualBuses}) {
    BusNode marked(-1, u"marked", 1, type);
    marked.addChild(makeLeaf(u"x"));
    EXPECT_EQ(*LeafIterator(marked, true, false), nullptr);
    EXPECT_EQ(leafNames(LeafIterator(marked)), Names{u"x"});
  }
  for (const SignalType type : {leafSignal, virtualBus, assessmentLeaf, unspecified}) {
    BusNode entered(-1, u"entered", 1, type);
    entered.addChild(makeLeaf(u"x"));
    EXPECT_EQ(leafNames(LeafIterator(entered, true, false)), Names{u"x"}) << type;
  }
}

TEST(LeafIterator, loopsOverARootArray) {
  const std::vector<std::pair<Dims, Names>> cases = {{{3}, {u"X", u"Y", u"X", u"Y", u"X", u"Y"}},
                                                     {{1}, {u"X", u"Y"}},
                                                     {{}, {u"X", u"Y"}},
                                                     {{2, 1}, {u"X", u"Y", u"X", u"Y"}},
                                                     {{-1, -1}, {u"X", u"Y"}},
                                                     {{0}, {}},
                                                     {{-1}, {}},
                                                     {{2, 0}, {}},
                                                     {{-2}, {}},
                                                     {{2, -3}, {}}};
  for (const auto& [dims, names] : cases) {
    const auto root = makeNVBus(u"N", dims, {u"X", u"Y"});
    EXPECT_EQ(leafNames(LeafIterator(*root, false, true)), names) << ::testing::PrintToString(dims);
  }
}

TEST(LeafIterator, loopsOverANestedArray) {
  const std::vector<std::pair<Dims, Names>> cases = {{{2}, {u"a", u"x", u"y", u"x", u"y", u"b"}},
                                                     {{1}, {u"a", u"x", u"y", u"b"}},
                                                     {{}, {u"a", u"x", u"y", u"b"}},
                                                     {{0}, {u"a", u"b"}},
                                                     {{-1}, {u"a", u"b"}}};
  for (const auto& [dims, names] : cases) {
    EXPECT_EQ(leafNames(LeafIterator(*makeTreeWithArray(dims), false, true)), names) << ::testing::PrintToString(dims);
  }
}

TEST(LeafIterator, loopsOverArraysInArrays) {
  NVBusNode outer(-1, u"outer", 2, {2}, {0, 8}, 40);
  outer.addChild(makeLeaf(u"a"));
  outer.addChild(makeNVBus(u"inner", {3}, {u"x"}));
  EXPECT_EQ(leafNames(LeafIterator(outer, false, true)), (Names{u"a", u"x", u"x", u"x", u"a", u"x", u"x", u"x"}));
}

TEST(LeafIterator, loopsByClassNotByType) {
  BusNode marked(-1, u"marked", 1, arrayOfNonVirtualBuses);
  marked.addChild(makeLeaf(u"x"));
  EXPECT_EQ(leafNames(LeafIterator(marked, false, true)), Names{u"x"});
}

TEST(LeafIterator, stopsAtEachElementWhenItLoopsToo) {
  EXPECT_EQ(walk(LeafIterator(*makeTreeWithArray({3}), true, true), 5), (Names{u"a", u"-", u"-", u"-", u"b"}));
}

TEST(LeafIterator, moveTakesOverPlaceAndSwitches) {
  const auto tree = makeTreeWithArray({2});
  LeafIterator source(*tree, false, true);
  ++source;
  ++source;
  EXPECT_EQ(walk(std::move(source), 4), (Names{u"y", u"x", u"y", u"b"}));
  LeafIterator stopping(*tree, true, false);
  EXPECT_EQ(walk(std::move(stopping), 3), (Names{u"a", u"-", u"b"}));
}

TEST(LeafIterator, moveCopiesTheSwitchesBeforeTheArrayIsReached) {
  auto outer = makeBus(u"outer", 2);
  outer->addChild(makeLeaf(u"first"));
  outer->addChild(makeTreeWithArray({2}));
  LeafIterator looping(*outer, false, true);
  LeafIterator moved(std::move(looping));
  EXPECT_EQ(leafNames(std::move(moved)), (Names{u"first", u"a", u"x", u"y", u"x", u"y", u"b"}));
}

}  // namespace
}  // namespace vtio::core::utils
