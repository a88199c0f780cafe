#include "vtio/core/utils/dynamic_string_policy.hpp"

#include <cstring>
#include <set>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"

namespace vtio::core::utils {
namespace {

std::unique_ptr<StringLeafNode> makeStringLeaf(unsigned long maxBytes) {
  return std::make_unique<StringLeafNode>(1, u"text", "zoh", test::Dims{}, "string", units(), u"", maxBytes, 1UL);
}

/// The address of the string that the leaf's policy delivers for `text`.
const ustring* deliver(const StringLeafNode& leaf, const char16_t* text) {
  const ustring* address = nullptr;
  std::memcpy(&address, leaf.transformationPolicy(0)->transformedDataPointer(text), sizeof(address));
  return address;
}

TEST(DynamicStringPolicy, isATransformationOfItsType) {
  const auto leaf = makeStringLeaf(8);
  const auto* policy = dynamic_cast<const DynamicStringPolicy*>(leaf->transformationPolicy(0));
  ASSERT_NE(policy, nullptr);
  EXPECT_EQ(policy->type(), SignalDescriptorNodePolicy::dynamicString);
  EXPECT_TRUE(policy->isTransformationPolicy());
}

TEST(DynamicStringPolicy, deliversTheAddressOfTheString) {
  const auto leaf = makeStringLeaf(8);
  const ustring* delivered = deliver(*leaf, u"orbit \u00e4\u4e2d");
  ASSERT_NE(delivered, nullptr);
  EXPECT_EQ(*delivered, u"orbit \u00e4\u4e2d");
}

TEST(DynamicStringPolicy, deliversTheEmptyStringForNoInput) {
  const auto leaf = makeStringLeaf(8);
  const ustring* delivered = deliver(*leaf, nullptr);
  ASSERT_NE(delivered, nullptr);
  EXPECT_EQ(*delivered, u"");
}

TEST(DynamicStringPolicy, keepsEveryStringForTheLifeOfTheLeaf) {
  const auto leaf = makeStringLeaf(8);
  std::vector<const ustring*> delivered;
  for (int i = 0; i < 500; ++i) {
    const ustring text(static_cast<std::size_t>(i % 40), static_cast<char16_t>(u'a' + i % 26));
    delivered.push_back(deliver(*leaf, text.c_str()));
  }
  EXPECT_EQ(std::set<const ustring*>(delivered.begin(), delivered.end()).size(), 500U);
  for (int i = 0; i < 500; ++i) {
    EXPECT_EQ(*delivered[static_cast<std::size_t>(i)],
              ustring(static_cast<std::size_t>(i % 40), static_cast<char16_t>(u'a' + i % 26)));
  }
}

TEST(DynamicStringPolicy, keepsEqualStringsApart) {
  const auto leaf = makeStringLeaf(8);
  EXPECT_NE(deliver(*leaf, u"same"), deliver(*leaf, u"same"));
}

TEST(DynamicStringPolicy, copiesTheText) {
  const auto leaf = makeStringLeaf(8);
  char16_t text[] = u"before";
  const ustring* delivered = deliver(*leaf, text);
  text[0] = u'X';
  EXPECT_EQ(*delivered, u"before");
}

TEST(DynamicStringPolicy, reusesItsBuffer) {
  const auto leaf = makeStringLeaf(8);
  const TransformationPolicy& policy = *leaf->transformationPolicy(0);
  const void* first = policy.transformedDataPointer(u"a");
  EXPECT_EQ(policy.transformedDataPointer(u"b"), first);
}

TEST(DynamicStringPolicy, deliversTheAddressFirstWhateverTheByteCount) {
  for (const unsigned long maxBytes : {8UL, 9UL, 16UL, 100UL, 4096UL}) {
    const auto leaf = makeStringLeaf(maxBytes);
    EXPECT_EQ(*deliver(*leaf, u"text"), u"text") << maxBytes;
    const auto* bytes = static_cast<const unsigned char*>(leaf->transformationPolicy(0)->transformedDataPointer(u"x"));
    unsigned sum = 0;  // every byte of the count can be read
    for (unsigned long i = 0; i < maxBytes; ++i) {
      sum += bytes[i];
    }
    EXPECT_GT(sum, 0U);
  }
}

TEST(DynamicStringPolicy, worksWithoutAnyBytes) {
  const auto leaf = makeStringLeaf(0);
  EXPECT_NO_THROW(static_cast<void>(leaf->transformationPolicy(0)->transformedDataPointer(u"text")));
}

TEST(DynamicStringPolicy, hasNoCopy) { EXPECT_EQ(makeStringLeaf(8)->transformationPolicy(0)->getCopy(), nullptr); }

}  // namespace
}  // namespace vtio::core::utils
