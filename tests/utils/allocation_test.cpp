// Per-sample functions allocate nothing, except for what they must keep.
#include <algorithm>
#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "tests/allocation/allocation_counter.hpp"
#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"
#include "vtio/core/utils/transformation_policy.hpp"
#include "vtio/core/utils/utilities.hpp"

namespace vtio::core::utils {
namespace {

using test::AllocationCounter;
using test::makeBus;
using test::makeLeaf;
using test::makeSplit;

constexpr std::size_t kSamples = 10'000;

std::unique_ptr<StringLeafNode> makeText(unsigned long maxBytes) {
  return std::make_unique<StringLeafNode>(1, u"text", "zoh", test::Dims{}, "string", units(), u"", maxBytes, 1UL);
}

TEST(Allocation, theCounterCounts) {
  const AllocationCounter counter;
  const auto memory = std::make_unique<std::array<char, 100>>();
  EXPECT_EQ(counter.count(), 1U);
  EXPECT_EQ(counter.bytes(), 100U);
  EXPECT_GE(counter.peakBytes(), 100U);
  EXPECT_LT(counter.peakBytes(), 200U);
  EXPECT_NE(memory, nullptr);
}

TEST(Allocation, splitBufferTransformsWithoutAny) {
  const auto policy = makeSplit(8, {64, 0, 32, 16});
  const auto& transformation = dynamic_cast<const TransformationPolicy&>(*policy);
  const std::array<double, 9> data = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  double sum = 0.0;
  const AllocationCounter counter;
  for (std::size_t i = 0; i < kSamples; ++i) {
    double first = 0.0;
    std::memcpy(&first, transformation.transformedDataPointer(data.data()), sizeof(first));
    sum += first;
  }
  EXPECT_EQ(counter.count(), 0U);
  EXPECT_EQ(sum, 8.0 * kSamples);
}

TEST(Allocation, theNodeIsAskedForItsTransformationWithoutAny) {
  const auto leaf = makeLeaf();
  leaf->addPolicy(test::makeVisualization());
  leaf->addPolicy(makeSplit(1, {3}));
  TopNVBusNode root(-1, u"root", 0, {1}, {}, 8);
  root.addPolicy(makeSplit(1, {2}));
  const std::array<unsigned char, 4> data = {0, 1, 2, 3};
  std::size_t sum = 0;
  const AllocationCounter counter;
  for (std::size_t i = 0; i < kSamples; ++i) {
    sum += *static_cast<const unsigned char*>(Utilities::policyDataTransformations(*leaf, data.data()));
    sum += *static_cast<const unsigned char*>(Utilities::policyDataTransformations(root, data.data()));
  }
  EXPECT_EQ(counter.count(), 0U);
  EXPECT_EQ(sum, 5 * kSamples);
}

TEST(Allocation, nodesAnswerWithoutAny) {
  TopNVBusNode root(-1, u"root", 1, {3}, {0}, 8);
  root.addChild(makeLeaf());
  root.generateLeafDataOffsets();
  long long sum = 0;
  const AllocationCounter counter;
  for (std::size_t i = 0; i < kSamples; ++i) {
    sum += root.leafDataOffset(i % 3) + static_cast<long long>(root.storedSize() + root.bytesPerSample());
    sum += root.hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer) ? 1 : 0;
  }
  EXPECT_EQ(counter.count(), 0U);
  EXPECT_GT(sum, 0);
}

TEST(Allocation, dynamicStringKeepsOneStringPerSample) {
  const auto leaf = makeText(8);
  const TransformationPolicy& policy = *leaf->transformationPolicy(0);
  const AllocationCounter counter;
  for (std::size_t i = 0; i < kSamples; ++i) {
    static_cast<void>(policy.transformedDataPointer(u"short"));
  }
  EXPECT_GE(counter.count(), kSamples);
  EXPECT_LE(counter.count(), kSamples + 32);  // and the store's growth, by doubling
}

TEST(Allocation, dynamicStringDeliversAsMuchOfTheAddressAsThereIsRoomFor) {
  for (const unsigned long maxBytes : {1UL, 3UL, 7UL, 8UL, 20UL}) {
    const auto leaf = makeText(maxBytes);
    test::watchSize(sizeof(ustring));
    const void* delivered = leaf->transformationPolicy(0)->transformedDataPointer(u"short");
    const void* address = test::lastOfWatchedSize();
    test::watchSize(0);
    EXPECT_EQ(std::memcmp(delivered, &address, std::min(maxBytes, sizeof(address))), 0) << maxBytes;
  }
}

TEST(Allocation, aCopiedStringLeafCopiesEveryStoredString) {
  const ustring longText(50'000, u'x');
  const auto leaf = makeText(8);
  for (int i = 0; i < 3; ++i) {
    leaf->addStringElement(&longText);
  }
  const AllocationCounter counter;
  const std::unique_ptr<Node> copy = leaf->getCopy();
  EXPECT_GE(counter.bytes(), 3 * longText.size() * sizeof(char16_t));
  EXPECT_LT(counter.bytes(), 4 * longText.size() * sizeof(char16_t));
}

TEST(Allocation, anIteratorNeedsNoMemoryForDepth) {
  constexpr int kDepth = 2000;
  auto bus = makeBus(u"innermost", 1);
  bus->addChild(makeLeaf(u"leaf"));
  for (int i = 0; i < kDepth; ++i) {
    auto outer = makeBus(u"outer", 1);
    outer->addChild(std::move(bus));
    bus = std::move(outer);
  }
  const AllocationCounter counter;
  LeafIterator iterator(*bus);
  ASSERT_NE(*iterator, nullptr);
  EXPECT_EQ((*iterator)->signalName(), u"leaf");
  EXPECT_LT(counter.peakBytes(), kDepth * sizeof(void*) / 4);
}

}  // namespace
}  // namespace vtio::core::utils
