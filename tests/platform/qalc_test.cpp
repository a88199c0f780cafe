#include "platform/qalc.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/text.hpp"

namespace {

using vtu::qxArrayWrapper;
using Extents = std::vector<std::size_t>;

Extents extentsOf(const qxArray* array) {
  const std::size_t* dims = qxGetDimensions(array);
  return {dims, dims + qxGetNumberOfDimensions(array)};
}

qxArrayWrapper numeric(const Extents& dims, qxClassID id = qxDOUBLE, bool isComplex = false) {
  return qxArrayWrapper(qxCreateNumericArray(dims.size(), dims.data(), id, isComplex));
}

double* doubles(const qxArrayWrapper& array) { return static_cast<double*>(qxGetData(array.get())); }
const double* constDoubles(const qxArrayWrapper& array) {
  return static_cast<const double*>(qxGetConstData(array.get()));
}

TEST(QalcDimensions, areAtLeastTwoWithoutTrailingOnes) {
  struct Case {
    Extents given, expected;
  };
  for (const Case& c : std::vector<Case>{{{}, {1, 1}},
                                         {{5}, {5, 1}},
                                         {{1}, {1, 1}},
                                         {{0}, {0, 1}},
                                         {{2, 3}, {2, 3}},
                                         {{2, 3, 1}, {2, 3}},
                                         {{2, 1, 1, 1}, {2, 1}},
                                         {{1, 1, 1}, {1, 1}},
                                         {{2, 1, 3, 1}, {2, 1, 3}},
                                         {{2, 3, 0}, {2, 3, 0}},
                                         {{2, 3, 0, 1}, {2, 3, 0}},
                                         {{1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}},
                                         {{2, 2, 2, 2, 2, 1}, {2, 2, 2, 2, 2}}}) {
    EXPECT_EQ(extentsOf(numeric(c.given).get()), c.expected) << testing::PrintToString(c.given);
    const qxArrayWrapper cells(qxCreateCellArray(c.given.size(), c.given.data()));
    EXPECT_EQ(extentsOf(cells.get()), c.expected);
    const qxArrayWrapper structures(qxCreateStructArray(c.given.size(), c.given.data(), 0, nullptr));
    EXPECT_EQ(extentsOf(structures.get()), c.expected);
  }
}

TEST(QalcDimensions, giveTheNumberOfElementsAndEmptiness) {
  EXPECT_EQ(qxGetNumberOfElements(numeric({2, 3, 4}).get()), 24U);
  EXPECT_EQ(qxGetNumberOfElements(numeric({2, 0, 4}).get()), 0U);
  EXPECT_EQ(qxGetNumberOfElements(numeric({2, 2, 2, 2, 3}).get()), 48U);
  EXPECT_TRUE(qxIsEmpty(numeric({2, 0, 4}).get()));
  EXPECT_FALSE(qxIsEmpty(numeric({1, 1}).get()));
  EXPECT_TRUE(qxIsEmpty(nullptr));
}

TEST(QalcDimensions, thatCannotBeAreRefused) {
  constexpr std::size_t kHuge = std::size_t{1} << 40U;
  EXPECT_THROW(numeric({kHuge, kHuge}), std::length_error);
  EXPECT_THROW(numeric({std::numeric_limits<std::size_t>::max() / 4, 1}), std::length_error) << "in bytes";
  EXPECT_THROW(qxCreateNumericArray(2, nullptr, qxDOUBLE, false), std::invalid_argument);
  EXPECT_EQ(qxGetNumberOfElements(numeric({kHuge, kHuge, 0}).get()), 0U) << "nothing is stored";
}

template <typename T>
struct ClassOf;
template <>
struct ClassOf<double> : std::integral_constant<qxClassID, qxDOUBLE> {};
template <>
struct ClassOf<float> : std::integral_constant<qxClassID, qxSINGLE> {};
template <>
struct ClassOf<std::int8_t> : std::integral_constant<qxClassID, qxINT8> {};
template <>
struct ClassOf<std::uint8_t> : std::integral_constant<qxClassID, qxUINT8> {};
template <>
struct ClassOf<std::int16_t> : std::integral_constant<qxClassID, qxINT16> {};
template <>
struct ClassOf<std::uint16_t> : std::integral_constant<qxClassID, qxUINT16> {};
template <>
struct ClassOf<std::int32_t> : std::integral_constant<qxClassID, qxINT32> {};
template <>
struct ClassOf<std::uint32_t> : std::integral_constant<qxClassID, qxUINT32> {};
template <>
struct ClassOf<std::int64_t> : std::integral_constant<qxClassID, qxINT64> {};
template <>
struct ClassOf<std::uint64_t> : std::integral_constant<qxClassID, qxUINT64> {};
template <>
struct ClassOf<bool> : std::integral_constant<qxClassID, qxLOGICAL> {};
template <>
struct ClassOf<char16_t> : std::integral_constant<qxClassID, qxCHAR> {};

template <typename T>
class QalcOfType : public testing::Test {};
using Types = testing::Types<double, float, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                             std::uint32_t, std::int64_t, std::uint64_t, bool, char16_t>;
TYPED_TEST_SUITE(QalcOfType, Types);

TYPED_TEST(QalcOfType, isZeroFilledAndHoldsItsElements) {
  const qxArrayWrapper array = numeric({7, 11}, ClassOf<TypeParam>::value);
  EXPECT_EQ(qxGetClassID(array.get()), ClassOf<TypeParam>::value);
  EXPECT_FALSE(qxIsComplex(array.get()));
  auto* data = static_cast<TypeParam*>(qxGetData(array.get()));
  for (std::size_t i = 0; i < 77; ++i) EXPECT_EQ(data[i], TypeParam{}) << i;
  for (std::size_t i = 0; i < 77; ++i) data[i] = static_cast<TypeParam>(i);
  const auto* read = static_cast<const TypeParam*>(qxGetConstData(array.get()));
  for (std::size_t i = 0; i < 77; ++i) EXPECT_EQ(read[i], static_cast<TypeParam>(i));
}

TYPED_TEST(QalcOfType, givesItsExtremeValuesAsScalars) {
  for (const TypeParam value : {std::numeric_limits<TypeParam>::lowest(), std::numeric_limits<TypeParam>::max()}) {
    const qxArrayWrapper array = numeric({1, 2}, ClassOf<TypeParam>::value);
    std::memcpy(qxGetData(array.get()), &value, sizeof value);
    EXPECT_EQ(qxGetScalar(array.get()), static_cast<double>(value));
  }
}

TYPED_TEST(QalcOfType, keepsItsValuesInADeepCopy) {
  const qxArrayWrapper array = numeric({3, 20}, ClassOf<TypeParam>::value);
  static_cast<TypeParam*>(qxGetData(array.get()))[59] = static_cast<TypeParam>(1);
  const qxArrayWrapper copy(qxDuplicateArray(array.get()));
  EXPECT_NE(qxGetConstData(copy.get()), qxGetConstData(array.get()));
  EXPECT_EQ(static_cast<const TypeParam*>(qxGetConstData(copy.get()))[59], static_cast<TypeParam>(1));
  EXPECT_EQ(qxGetClassID(copy.get()), ClassOf<TypeParam>::value);
  EXPECT_EQ(extentsOf(copy.get()), (Extents{3, 20}));
}

TEST(QalcComplex, isInterleaved) {
  const qxArrayWrapper array = numeric({2, 2}, qxDOUBLE, true);
  EXPECT_TRUE(qxIsComplex(array.get()));
  EXPECT_EQ(qxGetNumberOfElements(array.get()), 4U);
  for (int i = 0; i < 8; ++i) doubles(array)[i] = i + 0.5;
  EXPECT_EQ(qxGetScalar(array.get()), 0.5);
  EXPECT_EQ(constDoubles(array)[7], 7.5);
}

TEST(QalcScalars, holdTheirValue) {
  const qxArrayWrapper number(qxCreateDoubleScalar(-2.5));
  EXPECT_EQ(qxGetClassID(number.get()), qxDOUBLE);
  EXPECT_EQ(extentsOf(number.get()), (Extents{1, 1}));
  EXPECT_EQ(qxGetScalar(number.get()), -2.5);
  for (const bool value : {false, true}) {
    const qxArrayWrapper logical(qxCreateLogicalScalar(value));
    EXPECT_EQ(qxGetClassID(logical.get()), qxLOGICAL);
    EXPECT_EQ(qxGetLogicals(logical.get())[0], value);
    EXPECT_EQ(qxGetScalar(logical.get()), value ? 1.0 : 0.0);
  }
}

TEST(QalcLogicals, areReadInOrder) {
  const Extents dims = {2, 2};
  const qxArrayWrapper array(qxCreateLogicalArray(2, dims.data()));
  static_cast<bool*>(qxGetData(array.get()))[2] = true;
  const bool* values = qxGetLogicals(array.get());
  EXPECT_EQ((std::vector<bool>(values, values + 4)), (std::vector<bool>{false, false, true, false}));
}

std::u16string textOf(const qxArray* array) { return {qxGetChars(array), qxGetNumberOfElements(array)}; }

TEST(QalcText, isMadeFromUtf8) {
  const qxArrayWrapper array(qxCreateString("caf\xC3\xA9 \xF0\x9F\x9A\x80 \xFF"));
  EXPECT_EQ(qxGetClassID(array.get()), qxCHAR);
  EXPECT_EQ(textOf(array.get()), u"caf\u00E9 \U0001F680 \uFFFD");
  EXPECT_EQ(extentsOf(array.get()), (Extents{1, 9}));
  char* text = qxArrayToString(array.get());
  EXPECT_STREQ(text, "caf\xC3\xA9 \xF0\x9F\x9A\x80 \xEF\xBF\xBD");
  qxFree(text);
}

TEST(QalcText, isKeptUnitByUnit) {
  const std::u16string text = {u'a', 0xD800, 0, 0xDC00, u'z'};
  const qxArrayWrapper array(qxCreateUString(text.data(), text.size()));
  EXPECT_EQ(textOf(array.get()), text);
  EXPECT_THROW(qxCreateUString(nullptr, 3), std::invalid_argument);
}

TEST(QalcText, mayBeEmpty) {
  for (qxArray* made : {qxCreateString(""), qxCreateString(nullptr), qxCreateUString(nullptr, 0)}) {
    const qxArrayWrapper array(made);
    EXPECT_EQ(extentsOf(array.get()), (Extents{1, 0}));
    EXPECT_NE(qxGetChars(array.get()), nullptr);
    char* text = qxArrayToString(array.get());
    EXPECT_STREQ(text, "");
    qxFree(text);
  }
}

TEST(QalcSharing, sharesStorageUntilOneSideIsWritten) {
  for (const std::size_t n : {std::size_t{1}, std::size_t{1000}}) {
    for (const bool writeTheCopy : {false, true}) {
      const qxArrayWrapper original = numeric({n, 1});
      doubles(original)[0] = 1.0;
      const qxArrayWrapper copy(qxShareArray(original.get()));
      EXPECT_EQ(constDoubles(original), constDoubles(copy));
      const qxArrayWrapper& written = writeTheCopy ? copy : original;
      const qxArrayWrapper& kept = writeTheCopy ? original : copy;
      doubles(written)[0] = 2.0;
      EXPECT_EQ(constDoubles(written)[0], 2.0);
      EXPECT_EQ(constDoubles(kept)[0], 1.0);
      EXPECT_NE(constDoubles(original), constDoubles(copy));
    }
  }
}

TEST(QalcSharing, outlivesTheOriginal) {
  qxArrayWrapper original = numeric({100, 1});
  doubles(original)[99] = 3.0;
  const double* before = constDoubles(original);
  const qxArrayWrapper copy(qxShareArray(original.get()));
  original.reset();
  EXPECT_EQ(constDoubles(copy), before) << "not copied";
  EXPECT_EQ(doubles(copy), before) << "the last owner writes in place";
  EXPECT_EQ(constDoubles(copy)[99], 3.0);
}

TEST(QxArrayWrapper, isAMoveOnlyOwner) {
  EXPECT_FALSE(std::is_copy_constructible_v<qxArrayWrapper>);
  EXPECT_FALSE(std::is_copy_assignable_v<qxArrayWrapper>);
  EXPECT_FALSE((std::is_convertible_v<qxArray*, qxArrayWrapper>));
  qxArrayWrapper empty;
  EXPECT_EQ(empty.get(), nullptr);
  EXPECT_FALSE(empty);
  qxArray* raw = qxCreateDoubleScalar(1.0);
  qxArrayWrapper owner(raw);
  EXPECT_TRUE(owner);
  qxArrayWrapper next(std::move(owner));
  EXPECT_EQ(owner.get(), nullptr);
  EXPECT_EQ(next.get(), raw);
  empty = std::move(next);
  EXPECT_EQ(empty.get(), raw);
  qxArray* released = empty.release();
  EXPECT_EQ(released, raw);
  EXPECT_FALSE(empty);
  empty.reset(released);
  empty.reset(released);
  EXPECT_EQ(qxGetScalar(empty.get()), 1.0) << "resetting to itself destroys nothing";
  empty.reset();
  EXPECT_FALSE(empty);
}

TEST(QalcDestroy, allowsNull) {
  qxDestroyArray(nullptr);
  qxFree(nullptr);
  const qxArrayWrapper still(qxCreateDoubleScalar(4.0));
  EXPECT_EQ(qxGetScalar(still.get()), 4.0);
}

}  // namespace
