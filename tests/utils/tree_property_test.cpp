// Random trees of every node class against the same rules written for plain values.
#include <algorithm>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/tree_model.hpp"
#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/leaf_iterator.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::core::utils {
namespace {

using test::build;
using test::expectedBytes;
using test::expectedItems;
using test::expectedOffsets;
using test::Item;
using test::Shape;
using test::TreeGenerator;

constexpr std::uint32_t kRounds = 300;

/// Random trees with a virtual root and with a non-virtual one, in turns.
Shape randomShape(std::uint32_t seed) {
  TreeGenerator generator(seed);
  return seed % 2 == 0 ? generator.virtualRoot() : generator.nonVirtualRoot();
}

void expectAttached(const Node& node, const Shape& shape) {
  ASSERT_EQ(node.signalName(), shape.name);
  ASSERT_EQ(node.bytesPerSample(), expectedBytes(shape)) << ::testing::PrintToString(shape.name);
  if (!shape.isBus()) {
    return;
  }
  const auto& bus = dynamic_cast<const BusNode&>(node);
  ASSERT_EQ(bus.children().size(), shape.children.size());
  for (std::size_t i = 0; i < shape.children.size(); ++i) {
    ASSERT_EQ(bus.children()[i]->parent(), &node);
    ASSERT_EQ(bus.children()[i]->childOrderInParent(), static_cast<int>(i));
    expectAttached(*bus.children()[i], shape.children[i]);
  }
}

void expectSameLeaf(const LeafNode& copy, const LeafNode& source) {
  ASSERT_EQ(copy.dataDimensions(), source.dataDimensions());
  ASSERT_EQ(copy.datatypeClassName(), source.datatypeClassName());
  ASSERT_EQ(copy.isComplexDataType(), source.isComplexDataType());
  ASSERT_EQ(copy.numberOfValuesPerSample(), source.numberOfValuesPerSample());
}

void expectDetachedCopy(const Node& copy, const Node& source) {
  ASSERT_NE(&copy, &source);
  ASSERT_EQ(typeid(copy), typeid(source));
  ASSERT_EQ(copy.signalName(), source.signalName());
  ASSERT_EQ(copy.getSignalType(), source.getSignalType());
  ASSERT_EQ(copy.datatypeTableId(), source.datatypeTableId());
  ASSERT_EQ(copy.numberOfChildren(), source.numberOfChildren());
  ASSERT_EQ(copy.bytesPerSample(), source.bytesPerSample());
  ASSERT_EQ(copy.storedSize(), source.storedSize());
  ASSERT_EQ(copy.parent(), nullptr);
  ASSERT_EQ(copy.childOrderInParent(), -2);
  if (const auto* sourceLeaf = dynamic_cast<const LeafNode*>(&source)) {
    expectSameLeaf(dynamic_cast<const LeafNode&>(copy), *sourceLeaf);
    return;
  }
  const auto& copyBus = dynamic_cast<const BusNode&>(copy);
  const auto& sourceBus = dynamic_cast<const BusNode&>(source);
  ASSERT_EQ(copyBus.children().size(), sourceBus.children().size());
  for (std::size_t i = 0; i < sourceBus.children().size(); ++i) {
    expectDetachedCopy(*copyBus.children()[i], *sourceBus.children()[i]);
  }
}

/// Expects that the iterator yields the items' leaves, null for the others, and null after the last.
void expectLeaves(LeafIterator iterator, const std::vector<Item>& items) {
  for (const Item& item : items) {
    ASSERT_EQ(*iterator != nullptr, item.isLeaf) << ::testing::PrintToString(item.name);
    if (item.isLeaf) {
      ASSERT_EQ((*iterator)->signalName(), item.name);
    }
    ++iterator;
  }
  ASSERT_EQ(*iterator, nullptr);
}

void expectNodes(LeafNVBusIterator iterator, const std::vector<Item>& items) {
  for (const Item& item : items) {
    ASSERT_NE(*iterator, nullptr);
    ASSERT_EQ((*iterator)->signalName(), item.name);
    ++iterator;
  }
  ASSERT_EQ(*iterator, nullptr);
}

class TreeProperty : public ::testing::TestWithParam<std::uint32_t> {
 protected:
  Shape shape_ = randomShape(GetParam());
  std::unique_ptr<Node> root_ = build(shape_);
};

TEST_P(TreeProperty, bytesOrderAndParents) {
  EXPECT_EQ(root_->parent(), nullptr);
  EXPECT_EQ(root_->childOrderInParent(), -2);
  expectAttached(*root_, shape_);
}

TEST_P(TreeProperty, copies) { expectDetachedCopy(*root_->getCopy(), *root_); }

TEST_P(TreeProperty, iterationWithAndWithoutStopsAndLoops) {
  const std::unique_ptr<Node> copy = root_->getCopy();
  for (const bool stop : {false, true}) {
    for (const bool loop : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "stop " << stop << " loop " << loop);
      const std::vector<Item> items = expectedItems(shape_, stop, loop);
      expectLeaves(LeafIterator(*root_, stop, loop), items);
      expectLeaves(LeafIterator(*copy, stop, loop), items);
    }
  }
  expectLeaves(root_->leafIterator(), expectedItems(shape_, false, false));
  expectLeaves(root_->leafIteratorAobLoop(), expectedItems(shape_, false, true));
  expectNodes(LeafNVBusIterator(*root_), expectedItems(shape_, true, false));
}

/// Trees with a non-virtual root only.
class NonVirtualTreeProperty : public TreeProperty {};

TEST_P(NonVirtualTreeProperty, leafDataOffsets) {
  auto* root = dynamic_cast<TopNVBusNode*>(root_.get());
  ASSERT_NE(root, nullptr);
  const std::unique_ptr<Node> copy = root->getCopy();
  const std::vector<long long> expected = expectedOffsets(shape_);
  root->generateLeafDataOffsets();
  ASSERT_EQ(root->leafDataOffsets(), expected);
  auto& copiedRoot = dynamic_cast<TopNVBusNode&>(*copy);
  copiedRoot.generateLeafDataOffsets();
  ASSERT_EQ(copiedRoot.leafDataOffsets(), expected);
  for (std::size_t i = 0; i < 3 * expected.size(); ++i) {
    const auto element = static_cast<long long>(i / expected.size());
    ASSERT_EQ(root->leafDataOffset(i),
              expected[i % expected.size()] + element * static_cast<long long>(shape_.busSize));
  }
}

INSTANTIATE_TEST_SUITE_P(RandomTrees, TreeProperty, ::testing::Range(std::uint32_t{0}, kRounds));
INSTANTIATE_TEST_SUITE_P(RandomTrees, NonVirtualTreeProperty,
                         ::testing::Range(std::uint32_t{1}, kRounds, std::uint32_t{2}));

/// The generator must reach what the properties are about.
TEST(TreePropertyGenerator, reachesEveryKindOfTree) {
  int emptyBuses = 0;
  int looped = 0;
  int offsetsInArrays = 0;
  for (std::uint32_t seed = 0; seed < kRounds; ++seed) {
    const Shape shape = randomShape(seed);
    const auto plain = expectedItems(shape, false, false);
    const auto loops = expectedItems(shape, false, true);
    emptyBuses += std::any_of(plain.begin(), plain.end(), [](const Item& item) { return !item.isLeaf; }) ? 1 : 0;
    looped += loops.size() > plain.size() ? 1 : 0;
    offsetsInArrays += expectedOffsets(shape).size() > shape.children.size() ? 1 : 0;
  }
  EXPECT_GT(emptyBuses, 20);
  EXPECT_GT(looped, 20);
  EXPECT_GT(offsetsInArrays, 20);
}

}  // namespace
}  // namespace vtio::core::utils
