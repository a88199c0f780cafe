#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"

#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::makeBus;
using test::makeLeaf;
using test::makeNVBus;
using test::walk;
using Names = std::vector<ustring>;

static_assert(std::is_base_of_v<LeafIterator, LeafNVBusIterator>);
static_assert(std::is_move_constructible_v<LeafNVBusIterator>);
static_assert(!std::is_copy_constructible_v<LeafNVBusIterator>);
static_assert(std::is_same_v<decltype(*std::declval<const LeafNVBusIterator&>()), const Node*>);

/// L, V(N(x, y) of the given dimensions, M)
std::unique_ptr<BusNode> makeTree(const Dims& dims) {
  auto inner = makeBus(u"V", 2);
  inner->addChild(makeNVBus(u"N", dims, {u"x", u"y"}));
  inner->addChild(makeLeaf(u"M"));
  auto bus = makeBus(u"bus", 2);
  bus->addChild(makeLeaf(u"L"));
  bus->addChild(std::move(inner));
  return bus;
}

TEST(LeafNVBusIterator, yieldsNonVirtualBusesThemselves) {
  const auto bus = makeTree({1});
  EXPECT_EQ(walk(LeafNVBusIterator(*bus), 3), (Names{u"L", u"N", u"M"}));
}

TEST(LeafNVBusIterator, yieldsAnArrayOnceWhateverItsDimensions) {
  for (const Dims& dims : {Dims{4}, Dims{2, 2}, Dims{}, Dims{0}, Dims{-1}}) {
    EXPECT_EQ(walk(LeafNVBusIterator(*makeTree(dims)), 3), (Names{u"L", u"N", u"M"}));
  }
}

TEST(LeafNVBusIterator, endsWithNull) {
  const auto leaf = makeLeaf(u"only");
  LeafNVBusIterator iterator(*leaf);
  EXPECT_EQ(*iterator, leaf.get());
  ++iterator;
  EXPECT_EQ(*iterator, nullptr);
}

TEST(LeafNVBusIterator, yieldsANonVirtualRoot) {
  const auto root = makeNVBus(u"N", {0}, {u"x"});
  LeafNVBusIterator iterator(*root);
  EXPECT_EQ(*iterator, root.get());
  ++iterator;
  EXPECT_EQ(*iterator, nullptr);
}

TEST(LeafNVBusIterator, yieldsEmptyBusesAndPlainNodes) {
  auto bus = makeBus(u"bus", 3);
  bus->addChild(makeBus(u"empty", 0));
  bus->addChild(std::make_unique<Node>(u"plain"));
  bus->addChild(makeLeaf(u"leaf"));
  EXPECT_EQ(walk(LeafNVBusIterator(*bus), 3), (Names{u"empty", u"plain", u"leaf"}));
}

TEST(LeafNVBusIterator, isALeafIteratorOverTheSameItems) {
  const auto bus = makeTree({1});
  LeafNVBusIterator iterator(*bus);
  const LeafIterator& leaves = iterator;
  EXPECT_EQ(*leaves, bus->children()[0].get());
  ++iterator;
  EXPECT_EQ(*leaves, nullptr);
  EXPECT_EQ((*iterator)->signalName(), u"N");
}

TEST(LeafNVBusIterator, moveTakesOverPlaceAndSwitches) {
  const auto bus = makeTree({2});
  LeafNVBusIterator source(*bus);
  ++source;
  LeafNVBusIterator moved(std::move(source));
  EXPECT_EQ(walk(std::move(moved), 2), (Names{u"N", u"M"}));
}

}  // namespace
}  // namespace vtio::core::utils
