#include "vtio/core/utils/string_leaf_node.hpp"

#include <cstring>
#include <set>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::Dims;
using test::expectDiagnostic;
using test::expectSameProperties;

std::unique_ptr<StringLeafNode> makeText(unsigned long maxBytes, unsigned long bytesPerCharacter,
                                         const Dims& dims = {}) {
  return std::make_unique<StringLeafNode>(11, u"text", "zoh", dims, "string", units(u"1"), u"now", maxBytes,
                                          bytesPerCharacter);
}

void expectText(const StringLeafNode& leaf) {
  EXPECT_EQ(leaf.datatypeTableId(), 11);
  EXPECT_EQ(leaf.userDefinedDatatypeTableId(), 11);
  EXPECT_EQ(leaf.signalName(), u"text");
  EXPECT_EQ(leaf.getSignalType(), leafSignal);
  EXPECT_FALSE(leaf.isComplexDataType());
  EXPECT_EQ(leaf.interpolationMethod(), "zoh");
  EXPECT_EQ(leaf.dataDimensions(), Dims{3});
  EXPECT_EQ(leaf.datatypeClassName(), "string");
  EXPECT_EQ(leaf.unit().getUnits(), u"1");
  EXPECT_EQ(leaf.startDate(), u"now");
  EXPECT_EQ(leaf.numberOfValuesPerSample(), 3);
  EXPECT_EQ(leaf.maxBytes(), 10U);
  EXPECT_EQ(leaf.bytesPerCharacter(), 2U);
  EXPECT_EQ(leaf.bytesPerSample(), 20U);
  EXPECT_EQ(leaf.storedSize(), 20U);
  expectSameProperties(leaf.fxpDataTypeProperties(), Node::getFxpDataTypeProperties("string"));
}

TEST(StringLeafNode, keepsItsValues) { expectText(*makeText(10, 2, {3})); }

TEST(StringLeafNode, sizesDoNotDependOnTheDimensions) {
  for (const Dims& dims : {Dims{}, Dims{1}, Dims{7}, Dims{0}, Dims{-1}, Dims{2, 3}}) {
    const auto leaf = makeText(10, 2, dims);
    EXPECT_EQ(leaf->bytesPerSample(), 20U) << ::testing::PrintToString(dims);
    EXPECT_EQ(leaf->storedSize(), 20U) << ::testing::PrintToString(dims);
  }
}

TEST(StringLeafNode, sizesAreTheProductOfItsTwoSizes) {
  const std::vector<std::vector<unsigned long>> cases = {
      {0, 2, 0}, {10, 0, 0}, {1, 1, 1}, {256, 4, 1024}, {2, 1UL << 63, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(makeText(c[0], c[1])->bytesPerSample(), c[2]);
    EXPECT_EQ(makeText(c[0], c[1])->storedSize(), c[2]);
  }
}

TEST(StringLeafNode, hasItsOwnDynamicStringPolicyOnly) {
  const auto leaf = makeText(10, 2);
  EXPECT_TRUE(leaf->hasNodePolicy(SignalDescriptorNodePolicy::dynamicString));
  EXPECT_FALSE(leaf->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  EXPECT_FALSE(leaf->hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
  ASSERT_NE(leaf->transformationPolicies(), nullptr);
  EXPECT_EQ(*leaf->transformationPolicies(), (std::vector<unsigned long>{0}));
  EXPECT_EQ(leaf->transformationPolicy(0), leaf->policy(SignalDescriptorNodePolicy::dynamicString));
  leaf->addPolicy(test::makeSplit(1, {0}));
  EXPECT_EQ(*leaf->transformationPolicies(), (std::vector<unsigned long>{0, 1}));
}

TEST(StringLeafNode, addStringElementKeepsACopyAtASteadyAddress) {
  const auto leaf = makeText(8, 1);
  std::vector<const ustring*> stored;
  for (int i = 0; i < 300; ++i) {
    ustring text(static_cast<std::size_t>(i % 30), u'x');
    const ustring* address = leaf->addStringElement(&text);
    EXPECT_NE(address, &text);
    text = u"overwritten afterwards";
    stored.push_back(address);
  }
  EXPECT_EQ(std::set<const ustring*>(stored.begin(), stored.end()).size(), 300U);
  for (std::size_t i = 0; i < 300; ++i) {
    EXPECT_EQ(*stored[i], ustring(i % 30, u'x'));
  }
}

TEST(StringLeafNode, unknownClassNameIsRejectedWithTheName) {
  expectDiagnostic([] { StringLeafNode(1, u"t", "zoh", Dims{}, "text", units(), u"", 8UL, 1UL); },
                   "Vortan:logLoadBlocks", "UnhandledDatatype", {u"text"});
}

TEST(StringLeafNode, propertiesFollowTheClassName) {
  const StringLeafNode leaf(1, u"t", "zoh", Dims{}, "uint16", units(), u"", 8UL, 2UL);
  EXPECT_EQ(leaf.datatypeClassName(), "uint16");
  expectSameProperties(leaf.fxpDataTypeProperties(), Node::getFxpDataTypeProperties("uint16"));
}

TEST(StringLeafNode, copyIsEqual) {
  const std::unique_ptr<Node> copy = makeText(10, 2, {3})->getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(StringLeafNode));
  expectText(dynamic_cast<const StringLeafNode&>(*copy));
  EXPECT_EQ(copy->parent(), nullptr);
  EXPECT_EQ(copy->childOrderInParent(), -2);
}

TEST(StringLeafNode, copyHasADynamicStringPolicyOfItsOwn) {
  auto leaf = makeText(8, 1);
  leaf->addPolicy(test::makeVisualization());
  const ustring text = u"before the copy";
  leaf->addStringElement(&text);
  const std::unique_ptr<Node> copy = leaf->getCopy();
  ASSERT_NE(copy->transformationPolicies(), nullptr);
  EXPECT_EQ(*copy->transformationPolicies(), (std::vector<unsigned long>{0}));
  EXPECT_NE(copy->transformationPolicy(0), nullptr);
  EXPECT_NE(copy->transformationPolicy(0), leaf->transformationPolicy(0));
  EXPECT_TRUE(copy->hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  leaf.reset();  // the copy's policy must not be bound to the store of the source
  const ustring* delivered = nullptr;
  std::memcpy(&delivered, copy->transformationPolicy(0)->transformedDataPointer(u"after"), sizeof(delivered));
  EXPECT_EQ(*delivered, u"after");
}

TEST(StringLeafNode, copyListsItsOwnPolicyFirstAndCopiedOnesBehindIt) {
  const auto leaf = makeText(8, 1);
  leaf->addPolicy(test::makeVisualization());
  const std::unique_ptr<Node> copy = leaf->getCopy();
  copy->addPolicy(test::makeSplit(1, {0}));
  EXPECT_EQ(*copy->transformationPolicies(), (std::vector<unsigned long>{0, 2}));
}

}  // namespace
}  // namespace vtio::core::utils
