#include "platform/types.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

fxpDataTypeProp properties(std::int32_t kind, std::int32_t wordLength) {
  return {kind, 1, wordLength, 0, 0, 1.0, 0.0, 0};
}

unsigned size(std::int32_t kind, std::int32_t wordLength) {
  const fxpDataTypeProp record = properties(kind, wordLength);
  return fxpDataTypeProp_GetSize(&record);
}

TEST(FxpDataTypeProp, sizesOfTheFloatingKindsIgnoreTheWordLength) {
  for (const std::int32_t wordLength : {0, 8, 64, 100}) {
    EXPECT_EQ(size(1, wordLength), 8U);
    EXPECT_EQ(size(2, wordLength), 8U);
    EXPECT_EQ(size(3, wordLength), 4U);
    EXPECT_EQ(size(4, wordLength), 1U);
  }
}

TEST(FxpDataTypeProp, fixedPointSizeIsTheSmallestContainer) {
  for (std::int32_t bits = 1; bits <= 1024; ++bits) {
    const unsigned bytes = size(0, bits);
    EXPECT_GE(bytes * 8, static_cast<unsigned>(bits));
    if (bits > 64) {
      EXPECT_EQ(bytes % 8, 0U) << bits;
      EXPECT_LT(bytes * 8 - static_cast<unsigned>(bits), 64U) << bits;
    } else {
      EXPECT_TRUE(bytes == 1 || bytes == 2 || bytes == 4 || bytes == 8) << bits;
      EXPECT_TRUE(bytes == 1 || bytes * 4 < static_cast<unsigned>(bits)) << bits;
    }
  }
  EXPECT_EQ(size(0, 33), 8U);
  EXPECT_EQ(size(0, 65), 16U);
  EXPECT_EQ(size(0, 128), 16U);
}

TEST(FxpDataTypeProp, sizeOfTheLargestWordLengthDoesNotOverflow) {
  EXPECT_EQ(size(0, std::numeric_limits<std::int32_t>::max()), 268435456U);
}

TEST(FxpDataTypeProp, sizeOfWhatIsNoTypeIsZero) {
  EXPECT_EQ(fxpDataTypeProp_GetSize(nullptr), 0U);
  EXPECT_EQ(size(5, 32), 0U);
  EXPECT_EQ(size(-1, 32), 0U);
  EXPECT_EQ(size(0, 0), 0U);
  EXPECT_EQ(size(0, -8), 0U);
}

TEST(FxpDataTypeProp, hasItsFieldsInOrder) {
  EXPECT_EQ(offsetof(fxpDataTypeProp, dataTypeKind), 0U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, isSigned), 4U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, wordLength), 8U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, exponentWidth), 12U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, fixedExponent), 16U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, slopeAdjustmentFactor), 24U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, bias), 32U);
  EXPECT_EQ(offsetof(fxpDataTypeProp, reserved), 40U);
}

TEST(StringDataType, readsTextUpToItsTerminator) {
  using VTTypeSys::StringDataType;
  EXPECT_EQ(StringDataType::getUStringScalarFromVoidPtrInput(u"mode\0hidden"), u"mode");
  EXPECT_EQ(StringDataType::getUStringScalarFromVoidPtrInput(u""), u"");
  EXPECT_EQ(StringDataType::getUStringScalarFromVoidPtrInput(nullptr), u"");
}

}  // namespace
