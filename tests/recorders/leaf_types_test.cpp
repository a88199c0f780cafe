// Every class of leaf, alone as a signal.
#include <array>
#include <complex>
#include <cstdint>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;
using ::testing::Test;

template <typename T>
struct TypeInfo;
#define VTIO_TYPE(type, name, classId)           \
  template <>                                    \
  struct TypeInfo<type> {                        \
    static constexpr const char* kName = name;   \
    static constexpr qxClassID kClass = classId; \
  }
VTIO_TYPE(double, "double", qxDOUBLE);
VTIO_TYPE(float, "single", qxSINGLE);
VTIO_TYPE(std::int8_t, "int8", qxINT8);
VTIO_TYPE(std::uint8_t, "uint8", qxUINT8);
VTIO_TYPE(std::int16_t, "int16", qxINT16);
VTIO_TYPE(std::uint16_t, "uint16", qxUINT16);
VTIO_TYPE(std::int32_t, "int32", qxINT32);
VTIO_TYPE(std::uint32_t, "uint32", qxUINT32);
VTIO_TYPE(std::int64_t, "int64", qxINT64);
VTIO_TYPE(std::uint64_t, "uint64", qxUINT64);
#undef VTIO_TYPE

template <typename T>
class BuiltInLeaf : public Recording {};
using BuiltInTypes = ::testing::Types<double, float, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t,
                                      std::int32_t, std::uint32_t, std::int64_t, std::uint64_t>;
TYPED_TEST_SUITE(BuiltInLeaf, BuiltInTypes);

TYPED_TEST(BuiltInLeaf, ScalarGivesNByOne) {
  Recorded r = this->record(leaf(u"x", TypeInfo<TypeParam>::kName));
  std::vector<TypeParam> expected;
  for (int i = 0; i < 1000; ++i) {
    expected.push_back(static_cast<TypeParam>(i - 100));
    r.add(i * 0.5, expected.back());
  }
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  EXPECT_EQ(qxGetClassID(data), TypeInfo<TypeParam>::kClass);
  EXPECT_EQ(dimensions(data), (std::vector<std::size_t>{1000, 1}));
  EXPECT_EQ(numbers<TypeParam>(data), expected);
  EXPECT_EQ(numbers<double>(values(element, "Time"))[999], 499.5);
  EXPECT_EQ(text(values(element, "DataType")), TypeInfo<TypeParam>::kName);
}

// Four samples of 2 by 3 elements: element (n, i, j) is 10 n + 3 i + j.
template <typename T>
void expectMatrixSamples(const qxArray* data) {
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{4, 2, 3}));
  const std::vector<T> columnMajor = numbers<T>(data);
  for (std::size_t n = 0; n < 4; ++n) {
    for (std::size_t i = 0; i < 2; ++i) {
      for (std::size_t j = 0; j < 3; ++j) {
        EXPECT_EQ(columnMajor[n + 4 * i + 8 * j], static_cast<T>(10 * n + 3 * i + j));
      }
    }
  }
}

TYPED_TEST(BuiltInLeaf, MatrixSampleIsRowMajorAndReadsAtItsIndices) {
  Recorded r = this->record(leaf(u"x", TypeInfo<TypeParam>::kName, {2, 3}));
  for (int n = 0; n < 4; ++n) {
    TypeParam sample[2][3];
    for (int i = 0; i < 2; ++i) {
      for (int j = 0; j < 3; ++j) sample[i][j] = static_cast<TypeParam>(10 * n + 3 * i + j);
    }
    r.add(n, sample);
  }
  const vtu::qxArrayWrapper element = r.element();
  expectMatrixSamples<TypeParam>(values(element, "Data"));
}

TYPED_TEST(BuiltInLeaf, MatrixDeliveredColumnMajorReadsAtTheSameIndices) {
  this->session_.sampleOrder(vtio::recorders::SampleOrder::columnMajor);
  Recorded r = this->record(leaf(u"x", TypeInfo<TypeParam>::kName, {2, 3}));
  for (int n = 0; n < 4; ++n) {
    TypeParam sample[3][2];
    for (int i = 0; i < 2; ++i) {
      for (int j = 0; j < 3; ++j) sample[j][i] = static_cast<TypeParam>(10 * n + 3 * i + j);
    }
    r.add(n, sample);
  }
  const vtu::qxArrayWrapper element = r.element();
  expectMatrixSamples<TypeParam>(values(element, "Data"));
}

TYPED_TEST(BuiltInLeaf, ComplexIsInterleaved) {
  Recorded r = this->record(leaf(u"x", TypeInfo<TypeParam>::kName, {2}, true));
  r.add(0.0, std::array<TypeParam, 4>{1, 2, 3, 4});
  r.add(1.0, std::array<TypeParam, 4>{5, 6, 7, 8});
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  EXPECT_TRUE(qxIsComplex(data));
  EXPECT_EQ(dimensions(data), (std::vector<std::size_t>{2, 2}));
  EXPECT_EQ(numbers<TypeParam>(data), (std::vector<TypeParam>{1, 2, 5, 6, 3, 4, 7, 8}));
}

class LeafTypes : public Recording {};

TEST_F(LeafTypes, DimensionsOfOneAddNone) {
  for (const Dims& dims : {Dims{}, Dims{1}, Dims{1, 1}}) {
    Recorded r = record(leaf(u"x", "double", dims));
    r.add(0.0, 1.0);
    r.add(1.0, 2.0);
    EXPECT_EQ(dimensions(values(r.element(), "Data")), (std::vector<std::size_t>{2, 1}));
  }
}

TEST_F(LeafTypes, OtherDimensionsAreKept) {
  const auto shape = [this](const Dims& dims) {
    Recorded r = record(leaf(u"x", "int8", dims));
    r.add(0.0, std::array<std::int8_t, 24>{});
    return dimensions(values(r.element(), "Data"));
  };
  EXPECT_EQ(shape({1, 3}), (std::vector<std::size_t>{1, 1, 3}));
  EXPECT_EQ(shape({3, 1}), (std::vector<std::size_t>{1, 3}));
  EXPECT_EQ(shape({2, 3, 4}), (std::vector<std::size_t>{1, 2, 3, 4}));
  EXPECT_EQ(shape({0}), (std::vector<std::size_t>{1, 0}));
}

TEST_F(LeafTypes, BooleanGivesLogical) {
  for (const char* name : {"boolean", "logical"}) {
    Recorded r = record(leaf(u"x", name, {2}));
    r.add(0.0, std::array<unsigned char, 2>{0, 1});
    r.add(1.0, std::array<unsigned char, 2>{7, 0});  // anything but 0 is true
    const vtu::qxArrayWrapper element = r.element();
    const qxArray* data = values(element, "Data");
    EXPECT_EQ(qxGetClassID(data), qxLOGICAL);
    EXPECT_EQ(numbers<unsigned char>(data), (std::vector<unsigned char>{0, 1, 1, 0}));
  }
}

TEST_F(LeafTypes, ActionAndFunctionCallAreDoubles) {
  for (const char* name : {"action", "fcn_call"}) {
    Recorded r = record(leaf(u"x", name));
    r.add(0.0, 2.5);
    EXPECT_EQ(numbers<double>(values(r.element(), "Data")), std::vector<double>{2.5});
  }
}

TEST_F(LeafTypes, EnumerationKeepsNumbersAndLabels) {
  Recorded r = record(std::make_unique<EnumLeafNode>(0, u"mode", "zoh", Dims{}, "Mode", units(), u"", "int16",
                                                     std::vector<int>{-1, 5}, std::vector<std::string>{"Off", "Ön"}));
  r.add(0.0, std::int16_t{5});
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(numbers<std::int16_t>(values(element, "Data")), std::vector<std::int16_t>{5});
  EXPECT_EQ(text(values(element, "DataType")), "Mode");
  EXPECT_EQ(qxGetClassID(values(element, "EnumValues")), qxINT32);
  EXPECT_EQ(numbers<std::int32_t>(values(element, "EnumValues")), (std::vector<std::int32_t>{-1, 5}));
  const qxArray* labels = values(element, "EnumLabels");
  ASSERT_EQ(qxGetNumberOfElements(labels), 2U);
  EXPECT_EQ(text(qxGetCell(labels, 0)), "Off");
  EXPECT_EQ(text(qxGetCell(labels, 1)), "Ön");
}

template <typename T>
void expectFixedPoint(Recorded r, T stored, qxClassID id) {
  r.add(0.0, stored);
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(qxGetClassID(values(element, "Data")), id);
  EXPECT_EQ(numbers<T>(values(element, "Data")), std::vector<T>{stored});
}

std::unique_ptr<LeafNode> fixedPoint(bool isSigned, int bits, const char* type = "fixed-point",
                                     bool isComplex = false) {
  return std::make_unique<FixedPointLeafNode>(0, u"q", isComplex, "zoh", Dims{}, type, units(u"Ah"), u"", isSigned,
                                              bits, 1.25, -7, 3.5);
}

TEST_F(LeafTypes, FixedPointKeepsStoredIntegers) {
  expectFixedPoint<std::int8_t>(record(fixedPoint(true, 7)), -3, qxINT8);
  expectFixedPoint<std::uint8_t>(record(fixedPoint(false, 8)), 200, qxUINT8);
  expectFixedPoint<std::int16_t>(record(fixedPoint(true, 12)), -2000, qxINT16);
  expectFixedPoint<std::uint32_t>(record(fixedPoint(false, 17)), 100000, qxUINT32);
  expectFixedPoint<std::int64_t>(record(fixedPoint(true, 33)), -5000000000, qxINT64);
}

TEST_F(LeafTypes, FixedPointScaling) {
  Recorded r = record(fixedPoint(true, 12));
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* scaling = values(element, "FixedPoint");
  EXPECT_EQ(fieldNames(scaling),
            (std::vector<std::string>{"Signed", "WordLength", "FixedExponent", "SlopeAdjustmentFactor", "Bias"}));
  EXPECT_EQ(qxGetScalar(field(scaling, "Signed")), 1.0);
  EXPECT_EQ(qxGetScalar(field(scaling, "WordLength")), 12.0);
  EXPECT_EQ(qxGetScalar(field(scaling, "FixedExponent")), -7.0);
  EXPECT_EQ(qxGetScalar(field(scaling, "SlopeAdjustmentFactor")), 1.25);
  EXPECT_EQ(qxGetScalar(field(scaling, "Bias")), 3.5);
}

TEST_F(LeafTypes, FixedPointBeyond64BitsGivesWords) {
  Recorded r = record(fixedPoint(false, 100));
  r.add(0.0, std::array<std::uint64_t, 2>{1, 2});
  r.add(1.0, std::array<std::uint64_t, 2>{3, 4});
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  EXPECT_EQ(qxGetClassID(data), qxUINT64);
  EXPECT_EQ(dimensions(data), (std::vector<std::size_t>{2, 2}));
  EXPECT_EQ(numbers<std::uint64_t>(data), (std::vector<std::uint64_t>{1, 3, 2, 4}));
}

TEST_F(LeafTypes, ComplexFixedPointBeyond64BitsHasTheTwoPartsOfEachWord) {
  Recorded r = record(fixedPoint(false, 128, "fixed-point", true));
  r.add(0.0, std::array<std::uint64_t, 4>{1, 2, 30, 40});  // real low, real high, imaginary low, imaginary high
  EXPECT_EQ(numbers<std::uint64_t>(values(r.element(), "Data")), (std::vector<std::uint64_t>{1, 30, 2, 40}));
}

TEST_F(LeafTypes, ScaledDoubleIsDouble) {
  expectFixedPoint<double>(record(fixedPoint(true, 16, "scaled-double")), 0.1, qxDOUBLE);
}

TEST_F(LeafTypes, DateTimeHasFormatAndTimeZone) {
  const fxpDataTypeProp properties = fxpPropertiesFromScaling(true, 64, 1.0, 0.0);
  Recorded r =
      record(std::make_unique<DateTimeLeafNode>(0, u"when", "zoh", Dims{}, "date-time", units(), u"", properties,
                                                VTDateTime::DateTimeTypeAttribs{"yyyy-MM-dd", "UTC"}));
  r.add(0.0, std::int64_t{1700000000});
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(numbers<std::int64_t>(values(element, "Data")), std::vector<std::int64_t>{1700000000});
  EXPECT_EQ(text(values(element, "Format")), "yyyy-MM-dd");
  EXPECT_EQ(text(values(element, "TimeZone")), "UTC");
}

TEST_F(LeafTypes, AssessmentIsInt32) {
  Recorded r = record(std::make_unique<AssessmentLeafNode>(u"verdict"));
  r.add(0.0, std::int32_t{2});
  EXPECT_EQ(numbers<std::int32_t>(values(r.element(), "Data")), std::vector<std::int32_t>{2});
}

TEST_F(LeafTypes, TextIsFollowedAtOnce) {
  Recorded r = record(std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 16, 2));
  std::vector<std::u16string> texts{u"one", u"", u"größer", std::u16string(3000, u'x')};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const auto time = static_cast<double>(i);
    std::u16string buffer = texts[i];
    r.accessor->update(&time, buffer.c_str(), 0);
    buffer.assign(buffer.size(), u'!');
  }
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  ASSERT_EQ(qxGetClassID(data), qxCELL);
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{4, 1}));
  for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_EQ(text(qxGetCell(data, i)), vtu::to_string(texts[i])) << i;
}

TEST_F(LeafTypes, TextAddressMayLeadAnywhereAndBeNull) {
  const SignalDescriptor& descriptor =
      describe(std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2));
  MemoryRecorder recorder(descriptor);
  const double time = 0.0;
  {
    const auto kept = std::make_unique<std::u16string>(u"gone soon");
    const std::u16string* address = kept.get();
    recorder.update(&time, &address);
  }
  const std::u16string* nothing = nullptr;
  recorder.update(&time, &nothing);
  const vtu::qxArrayWrapper element = recorder.datasetElement();
  EXPECT_EQ(text(qxGetCell(values(element, "Data"), 0)), "gone soon");
  EXPECT_EQ(text(qxGetCell(values(element, "Data"), 1)), "");
}

std::string refusal(const SignalDescriptor& descriptor) {
  try {
    MemoryRecorder recorder(descriptor);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "accepted";
}

TEST_F(LeafTypes, WhatCannotBeRecordedIsRefusedByName) {
  EXPECT_EQ(refusal(describe(std::make_unique<StringLeafNode>(0, u"tiny", "", Dims{}, "string", units(), u"", 4, 2))),
            "Cannot record 'tiny': a text of at most 4 bytes cannot be delivered by address");
  EXPECT_EQ(refusal(describe(leaf(u"neg", "double", {-1}))), "Cannot record 'neg': it has the dimension -1");
  EXPECT_EQ(refusal(describe(leaf(u"big", "double", {1LL << 62, 8}))),
            "Cannot record 'big': its dimensions are too large");
  EXPECT_EQ(refusal(describe(std::make_unique<Node>(u"bare"))), "Cannot record 'bare': it is neither a bus nor a leaf");
  EXPECT_EQ(refusal(describe(fixedPoint(true, 0))), "Cannot record 'q': a word length of 0 bits holds no values");
}

}  // namespace
