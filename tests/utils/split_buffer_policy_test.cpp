#include "vtio/core/utils/split_buffer_policy.hpp"

#include <cstring>
#include <numeric>
#include <random>
#include <utility>

#include <gtest/gtest.h>

#include "tests/utils/data_types.hpp"

namespace vtio::core::utils {
namespace {

using Bytes = std::vector<unsigned char>;

/// The bytes 0, 1, 2, ...
Bytes countingBytes(std::size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  return bytes;
}

Bytes read(const void* data, std::size_t length) {
  const auto* first = static_cast<const unsigned char*>(data);
  return {first, first + length};
}

TEST(SplitBufferPolicy, isATransformationOfItsType) {
  const SplitBufferPolicy policy(4, {0});
  EXPECT_EQ(policy.type(), SignalDescriptorNodePolicy::splitBuffer);
  EXPECT_TRUE(policy.isTransformationPolicy());
}

TEST(SplitBufferPolicy, takesTheOffsetsOver) {
  std::vector<unsigned long> offsets = {8, 0};
  const SplitBufferPolicy policy(4, std::move(offsets));
  EXPECT_TRUE(offsets.empty());  // NOLINT(bugprone-use-after-move): this is what is tested
}

TEST(SplitBufferPolicy, gathersThePiecesInTheOrderOfTheOffsets) {
  const SplitBufferPolicy policy(4, {8, 0});
  const Bytes data = countingBytes(12);
  EXPECT_EQ(read(policy.transformedDataPointer(data.data()), 8), (Bytes{8, 9, 10, 11, 0, 1, 2, 3}));
}

TEST(SplitBufferPolicy, takesOverlappingAndRepeatedPieces) {
  const SplitBufferPolicy policy(3, {1, 2, 1});
  const Bytes data = countingBytes(5);
  EXPECT_EQ(read(policy.transformedDataPointer(data.data()), 9), (Bytes{1, 2, 3, 2, 3, 4, 1, 2, 3}));
}

TEST(SplitBufferPolicy, returnsNullWithoutOffsets) {
  const SplitBufferPolicy policy(4, {});
  const Bytes data = countingBytes(12);
  EXPECT_EQ(policy.transformedDataPointer(data.data()), nullptr);
}

TEST(SplitBufferPolicy, reusesItsBuffer) {
  const SplitBufferPolicy policy(2, {2, 0});
  const Bytes first = countingBytes(4);
  const Bytes second = {9, 8, 7, 6};
  const void* firstResult = policy.transformedDataPointer(first.data());
  EXPECT_EQ(read(firstResult, 4), (Bytes{2, 3, 0, 1}));
  const void* secondResult = policy.transformedDataPointer(second.data());
  EXPECT_EQ(secondResult, firstResult);
  EXPECT_EQ(read(secondResult, 4), (Bytes{7, 6, 9, 8}));
}

TEST(SplitBufferPolicy, leavesTheDataAlone) {
  const SplitBufferPolicy policy(4, {8, 0});
  const Bytes data = countingBytes(12);
  const void* result = policy.transformedDataPointer(data.data());
  EXPECT_EQ(data, countingBytes(12));
  EXPECT_NE(result, static_cast<const void*>(data.data()));
}

TEST(SplitBufferPolicy, hasNoCopy) { EXPECT_EQ(SplitBufferPolicy(4, {8, 0}).getCopy(), nullptr); }

TEST(SplitBufferPolicy, gathersAsBytesDoOneByOne) {
  std::mt19937 random(20260102);
  for (int round = 0; round < 300; ++round) {
    const unsigned long elementSize = 1 + random() % 17;
    Bytes data(elementSize + 1 + random() % 200);
    for (unsigned char& byte : data) {
      byte = static_cast<unsigned char>(random() % 256);
    }
    std::vector<unsigned long> offsets(1 + random() % 9);
    Bytes expected;
    for (unsigned long& offset : offsets) {
      offset = random() % (data.size() - elementSize + 1);
      for (unsigned long i = 0; i < elementSize; ++i) {
        expected.push_back(data[offset + i]);
      }
    }
    const SplitBufferPolicy policy(elementSize, std::move(offsets));
    ASSERT_EQ(read(policy.transformedDataPointer(data.data()), expected.size()), expected);
  }
}

template <typename T>
class SplitBufferPolicyOfType : public ::testing::Test {};
TYPED_TEST_SUITE(SplitBufferPolicyOfType, test::DataTypes, test::DataTypeNames);

TYPED_TEST(SplitBufferPolicyOfType, gathersValuesOfAStructure) {
  struct Piece {
    typename TypeParam::Value value;
    double gap;
  };
  const Piece pieces[3] = {{static_cast<typename TypeParam::Value>(1), 0.5},
                           {static_cast<typename TypeParam::Value>(0), 0.5},
                           {static_cast<typename TypeParam::Value>(100), 0.5}};
  const SplitBufferPolicy policy(TypeParam::kSize, {2 * sizeof(Piece), 0, sizeof(Piece)});
  typename TypeParam::Value values[3] = {};
  std::memcpy(values, policy.transformedDataPointer(pieces), sizeof(values));
  EXPECT_EQ(values[0], static_cast<typename TypeParam::Value>(100));
  EXPECT_EQ(values[1], static_cast<typename TypeParam::Value>(1));
  EXPECT_EQ(values[2], static_cast<typename TypeParam::Value>(0));
}

}  // namespace
}  // namespace vtio::core::utils
