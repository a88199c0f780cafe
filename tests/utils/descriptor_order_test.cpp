// Equality and ordering of descriptors of every kind, against the same rules written for plain values.
#include <algorithm>
#include <compare>
#include <limits>
#include <optional>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::DescriptorArguments;
using test::makeDescriptor;
using test::makePath;

/// What equality and order compare.
struct Key {
  std::vector<ustring> elements;
  ustring subPath;
  ustring name;
  unsigned long port = 0;
  std::optional<unsigned long> inportOrder = std::nullopt;  ///< a root port if set
};

DescriptorArguments argumentsOf(const Key& key) {
  DescriptorArguments a;
  a.blockPath = makePath(key.elements, key.subPath);
  a.signalName = key.name;
  a.connectedPortIndex = key.port;
  return a;
}

std::unique_ptr<SignalDescriptor> build(const Key& key) {
  if (key.inportOrder.has_value()) {
    return test::makeInport(argumentsOf(key), *key.inportOrder);
  }
  return makeDescriptor(argumentsOf(key));
}

/// Whether path a comes before path b. Comparing code units as numbers is what std::u16string does.
bool pathBefore(const Key& a, const Key& b) {
  if (a.elements.size() != b.elements.size()) {
    return a.elements.size() < b.elements.size();
  }
  if (a.subPath.empty() != b.subPath.empty()) {
    return a.subPath.empty();
  }
  return !a.elements.empty() && std::tie(a.elements, a.subPath) < std::tie(b.elements, b.subPath);
}

bool samePath(const Key& a, const Key& b) { return a.elements == b.elements && a.subPath == b.subPath; }

int orderOf(const Key& a, const Key& b) {
  if (a.inportOrder.has_value()) {
    const unsigned long other = b.inportOrder.value_or(0);
    if (*a.inportOrder != other) {
      return *a.inportOrder < other ? 1 : -1;
    }
  }
  if (pathBefore(a, b)) {
    return 1;
  }
  if (!samePath(a, b)) {
    return -1;
  }
  const auto order = std::tie(a.name, a.port) <=> std::tie(b.name, b.port);
  return order < 0 ? 1 : order > 0 ? -1 : 0;
}

bool equal(const Key& a, const Key& b) { return samePath(a, b) && a.name == b.name && a.port == b.port; }

std::ostream& operator<<(std::ostream& stream, const Key& key) {
  return stream << ::testing::PrintToString(key.elements) << " sub " << ::testing::PrintToString(key.subPath)
                << " name " << ::testing::PrintToString(key.name) << " port " << key.port << " inport "
                << (key.inportOrder.has_value() ? std::to_string(*key.inportOrder) : "none");
}

/// Every combination of a few values of each part of the key.
std::vector<Key> manyKeys(const std::vector<std::optional<unsigned long>>& inportOrders) {
  const std::vector<std::vector<ustring>> paths = {
      {}, {u""}, {u"a"}, {u"b"}, {u"\xd83d\xde00"}, {u"\xe000"}, {u"a", u"a"}, {u"a", u"b"}, {u"b", u"a"}, {u"aa"}};
  std::vector<Key> keys;
  for (const auto& elements : paths) {
    for (const char16_t* subPath : {u"", u"s", u"st"}) {
      for (const char16_t* name : {u"", u"n", u"nm"}) {
        for (const unsigned long port : {0UL, 1UL}) {
          for (const auto& inportOrder : inportOrders) {
            keys.push_back({elements, subPath, name, port, inportOrder});
          }
        }
      }
    }
  }
  return keys;
}

void expectEveryPairAsInTheRules(const std::vector<Key>& keys) {
  std::vector<std::unique_ptr<SignalDescriptor>> descriptors;
  std::transform(keys.begin(), keys.end(), std::back_inserter(descriptors), build);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    for (std::size_t j = 0; j < keys.size(); ++j) {
      const int expected = i == j ? -1 : orderOf(keys[i], keys[j]);
      ASSERT_EQ(*descriptors[i] < *descriptors[j], expected) << keys[i] << "\n  against " << keys[j];
      ASSERT_EQ(*descriptors[i] == *descriptors[j], equal(keys[i], keys[j])) << keys[i] << "\n  and " << keys[j];
    }
  }
}

TEST(SignalDescriptorOrder, followsTheKeysInEveryCombination) { expectEveryPairAsInTheRules(manyKeys({std::nullopt})); }

TEST(SignalDescriptorOrder, followsTheKeysInEveryCombinationWithPorts) {
  expectEveryPairAsInTheRules(manyKeys({std::nullopt, 0, 1}));
}

TEST(SignalDescriptorOrder, isConsistentWhereverThePathHasElements) {
  std::vector<Key> keys = manyKeys({std::nullopt});
  std::erase_if(keys, [](const Key& key) { return key.elements.empty(); });
  std::vector<std::unique_ptr<SignalDescriptor>> descriptors;
  std::transform(keys.begin(), keys.end(), std::back_inserter(descriptors), build);
  for (const auto& a : descriptors) {
    for (const auto& b : descriptors) {
      if (a != b) {
        ASSERT_EQ(*a < *b, -(*b < *a));
      }
    }
  }
}

TEST(SignalDescriptorOrder, sortsByTheKeys) {
  std::vector<Key> keys = manyKeys({std::nullopt});
  std::erase_if(keys, [](const Key& key) { return key.elements.empty(); });
  std::vector<std::unique_ptr<SignalDescriptor>> descriptors;
  std::transform(keys.rbegin(), keys.rend(), std::back_inserter(descriptors), build);
  std::sort(descriptors.begin(), descriptors.end(),
            [](const auto& a, const auto& b) { return a != b && (*a < *b) == 1; });
  std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    return std::make_tuple(a.elements.size(), !a.subPath.empty(), a.elements, a.subPath, a.name, a.port) <
           std::make_tuple(b.elements.size(), !b.subPath.empty(), b.elements, b.subPath, b.name, b.port);
  });
  for (std::size_t i = 0; i < keys.size(); ++i) {
    ASSERT_TRUE(*descriptors[i] == *build(keys[i])) << i;
  }
}

int compare(const Key& a, const Key& b) { return *build(a) < *build(b); }

TEST(SignalDescriptorOrder, anObjectComesAfterItself) {
  const auto plain = build({{u"m"}, u"", u"n", 0});
  EXPECT_EQ(*plain < *plain, -1);
  EXPECT_TRUE(*plain == *plain);
}

TEST(SignalDescriptorOrder, equalKeysTie) {
  const Key key = {{u"m", u"b"}, u"s", u"n", 4};
  EXPECT_EQ(compare(key, key), 0);
  EXPECT_TRUE(*build(key) == *build(key));
}

TEST(SignalDescriptorOrder, shorterPathsComeFirst) {
  EXPECT_EQ(compare({{u"z", u"z"}, u"z", u"z", 9}, {{u"a", u"a", u"a"}, u"", u"a", 0}), 1);
  EXPECT_EQ(compare({{u"a", u"a", u"a"}, u"", u"a", 0}, {{u"z", u"z"}, u"z", u"z", 9}), -1);
}

TEST(SignalDescriptorOrder, anEmptyStringMemberComesBeforeTheElements) {
  EXPECT_EQ(compare({{u"z"}, u"", u"", 0}, {{u"a"}, u"s", u"", 0}), 1);
  EXPECT_EQ(compare({{u"a"}, u"s", u"", 0}, {{u"z"}, u"", u"", 0}), -1);
}

TEST(SignalDescriptorOrder, elementsComeBeforeTheStringMembers) {
  EXPECT_EQ(compare({{u"a"}, u"t", u"", 0}, {{u"b"}, u"s", u"", 0}), 1);
  EXPECT_EQ(compare({{u"a"}, u"t", u"", 0}, {{u"a"}, u"s", u"", 0}), -1);
  EXPECT_EQ(compare({{u"a"}, u"s", u"", 0}, {{u"a"}, u"st", u"", 0}), 1);
}

TEST(SignalDescriptorOrder, pathsWithoutElementsNeitherComeFirst) {
  EXPECT_EQ(compare({{}, u"s", u"", 0}, {{}, u"t", u"", 0}), -1);
  EXPECT_EQ(compare({{}, u"t", u"", 0}, {{}, u"s", u"", 0}), -1);
  EXPECT_EQ(compare({{}, u"", u"", 0}, {{}, u"t", u"", 0}), 1);
  EXPECT_EQ(compare({{}, u"s", u"a", 0}, {{}, u"s", u"b", 0}), 1);
}

TEST(SignalDescriptorOrder, namesComeBeforePorts) {
  EXPECT_EQ(compare({{u"m"}, u"", u"a", 9}, {{u"m"}, u"", u"b", 0}), 1);
  EXPECT_EQ(compare({{u"m"}, u"", u"b", 0}, {{u"m"}, u"", u"a", 9}), -1);
  EXPECT_EQ(compare({{u"m"}, u"", u"n", 1}, {{u"m"}, u"", u"n", 2}), 1);
  EXPECT_EQ(compare({{u"m"}, u"", u"n", 2}, {{u"m"}, u"", u"n", 1}), -1);
}

TEST(SignalDescriptorOrder, portsAreUnsigned) {
  EXPECT_EQ(compare({{u"m"}, u"", u"n", 1}, {{u"m"}, u"", u"n", std::numeric_limits<unsigned long>::max()}), 1);
}

TEST(SignalDescriptorOrder, textIsComparedByCodeUnitNotByCharacter) {
  // As characters U+1F600 comes after U+E000; its first code unit, 0xD83D, comes before.
  EXPECT_EQ(compare({{u"m"}, u"", u"\xd83d\xde00", 0}, {{u"m"}, u"", u"\xe000", 0}), 1);
  EXPECT_EQ(compare({{u"\xd83d\xde00"}, u"", u"n", 0}, {{u"\xe000"}, u"", u"n", 0}), 1);
  EXPECT_EQ(compare({{u"m"}, u"\xd83d\xde00", u"n", 0}, {{u"m"}, u"\xe000", u"n", 0}), 1);
  EXPECT_EQ(compare({{u"m"}, u"", u"\x7fff", 0}, {{u"m"}, u"", u"\x8000", 0}), 1);  // unsigned
}

TEST(SignalDescriptorOrder, namesMayHoldNulCharacters) {
  EXPECT_EQ(compare({{u"m"}, u"", ustring(u"a\0a", 3), 0}, {{u"m"}, u"", ustring(u"a\0b", 3), 0}), 1);
  EXPECT_FALSE(*build({{u"m"}, u"", ustring(u"a\0a", 3), 0}) == *build({{u"m"}, u"", ustring(u"a\0b", 3), 0}));
}

TEST(SignalDescriptorOrder, lineFeedsInPathsCountAsSpaces) {
  const Key withLineFeed = {{u"a\nb"}, u"", u"n", 0};
  const Key withSpace = {{u"a b"}, u"", u"n", 0};
  EXPECT_EQ(compare(withLineFeed, withSpace), 0);
  EXPECT_TRUE(*build(withLineFeed) == *build(withSpace));
}

TEST(SignalDescriptorOrder, nothingElseTakesPart) {
  DescriptorArguments a;
  DescriptorArguments b;
  b.catalogueIndex = 5;
  b.numberOfInputPorts = 6;
  b.maxPoints = 7;
  b.decimation = 8;
  b.propagatedName = u"another";
  b.blockPath.subPathType(9);
  b.foreachDimensions = {2};
  b.foreachIterationIndices = {1};
  const auto first = makeDescriptor(a);
  const auto second = makeDescriptor(b, test::makeNVBus(u"root", {2}, {u"x"}));
  EXPECT_TRUE(*first == *second);
  EXPECT_TRUE(*second == *first);
  EXPECT_EQ(*first < *second, 0);
  EXPECT_EQ(*second < *first, 0);
}

}  // namespace
}  // namespace vtio::core::utils
