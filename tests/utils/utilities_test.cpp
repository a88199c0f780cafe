#include "vtio/core/utils/utilities.hpp"

#include <cstring>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::core::utils {
namespace {

using test::makeLeaf;
using test::makeSplit;
using test::makeVisualization;

constexpr unsigned char kData[] = {0, 1, 2, 3, 4, 5, 6, 7};

TEST(Utilities, appliesTheFirstTransformationOnly) {
  const auto leaf = makeLeaf();
  leaf->addPolicy(makeVisualization());
  leaf->addPolicy(makeSplit(1, {6, 2}));
  leaf->addPolicy(makeSplit(1, {1, 0}));
  const void* result = Utilities::policyDataTransformations(*leaf, kData);
  const auto* bytes = static_cast<const unsigned char*>(result);
  EXPECT_EQ(bytes[0], 6);
  EXPECT_EQ(bytes[1], 2);
  EXPECT_EQ(result, leaf->transformationPolicy(1)->transformedDataPointer(kData));
}

TEST(Utilities, appliesTheTransformationOfANonVirtualRoot) {
  TopNVBusNode root(-1, u"root", 1, {1}, {0}, 8);
  root.addChild(makeLeaf());
  root.addPolicy(makeSplit(2, {4}));
  const auto* bytes = static_cast<const unsigned char*>(Utilities::policyDataTransformations(root, kData));
  EXPECT_EQ(bytes[0], 4);
  EXPECT_EQ(bytes[1], 5);
}

TEST(Utilities, appliesTheTransformationOfAStringLeafBeforeThoseAddedLater) {
  const StringLeafNode leaf(1, u"text", "zoh", test::Dims{}, "string", units(), u"", 8UL, 1UL);
  leaf.addPolicy(makeSplit(1, {0}));
  const ustring* delivered = nullptr;
  std::memcpy(&delivered, Utilities::policyDataTransformations(leaf, u"text"), sizeof(delivered));
  EXPECT_EQ(*delivered, u"text");
}

TEST(Utilities, handsOnNullFromATransformation) {
  const auto leaf = makeLeaf();
  leaf->addPolicy(makeSplit(4, {}));
  EXPECT_EQ(Utilities::policyDataTransformations(*leaf, kData), nullptr);
}

}  // namespace
}  // namespace vtio::core::utils
