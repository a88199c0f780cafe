#include "vtio/core/utils/fxp_properties.hpp"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "platform/text.hpp"
#include "tests/utils/data_types.hpp"
#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using test::expectDiagnostic;
using test::expectSameProperties;

template <typename T>
class FxpPropertiesOfType : public ::testing::Test {};
TYPED_TEST_SUITE(FxpPropertiesOfType, test::DataTypes, test::DataTypeNames);

TYPED_TEST(FxpPropertiesOfType, recordOfTheClassName) {
  const fxpDataTypeProp record = Node::getFxpDataTypeProperties(TypeParam::name());
  EXPECT_EQ(record.dataTypeKind, TypeParam::kKind);
  EXPECT_EQ(record.isSigned, TypeParam::kSigned);
  EXPECT_EQ(record.wordLength, TypeParam::kWordLength);
  EXPECT_EQ(record.exponentWidth, TypeParam::kExponentWidth);
  EXPECT_EQ(record.fixedExponent, 0);
  EXPECT_EQ(record.slopeAdjustmentFactor, 1.0);
  EXPECT_EQ(record.bias, 0.0);
  EXPECT_EQ(record.reserved, 0);
}

TYPED_TEST(FxpPropertiesOfType, sizeIsThatOfTheStorage) {
  const fxpDataTypeProp record = Node::getFxpDataTypeProperties(TypeParam::name());
  EXPECT_EQ(fxpDataTypeProp_GetSize(&record), TypeParam::kSize);
}

TYPED_TEST(FxpPropertiesOfType, integersAreScaledByOne) {
  if (TypeParam::kKind == 0) {
    expectSameProperties(Node::getFxpDataTypeProperties(TypeParam::name()),
                         fxpPropertiesFromScaling(TypeParam::kSigned != 0, TypeParam::kWordLength, 1.0, 0.0));
  } else {
    EXPECT_NE(Node::getFxpDataTypeProperties(TypeParam::name()).dataTypeKind,
              fxpPropertiesFromScaling(TypeParam::kSigned != 0, TypeParam::kWordLength, 1.0, 0.0).dataTypeKind);
  }
}

TYPED_TEST(FxpPropertiesOfType, classNamesAreComparedExactly) {
  const std::string name = TypeParam::name();
  std::string capital = name;
  capital[0] = static_cast<char>(capital[0] - 'a' + 'A');
  std::string withNul = name;
  withNul.push_back('\0');
  for (const std::string& wrong : {capital, " " + name, name + " ", name + "x", withNul, name.substr(1)}) {
    const std::string argument = wrong;
    if (argument == "int8" || argument == "int16" || argument == "int32" || argument == "int64") {
      continue;  // what "uint8" and its kin become without their first letter
    }
    expectDiagnostic([&] { static_cast<void>(Node::getFxpDataTypeProperties(argument)); }, "Vortan:logLoadBlocks",
                     "UnhandledDatatype", {vtu::to_ustring(argument)});
  }
}

TEST(FxpProperties, otherClassNamesAreRejectedByName) {
  for (const char* name : {"fixed-point", "scaled-double", "date-time", "int24", "half", "", "float", "char", "struct",
                           "uint1", "fcn-call", "sfix8",
                           "gr\xc3\xb6\xc3\x9f"
                           "e"}) {
    expectDiagnostic([&] { static_cast<void>(Node::getFxpDataTypeProperties(name)); }, "Vortan:logLoadBlocks",
                     "UnhandledDatatype", {vtu::to_ustring(name)});
  }
}

TEST(FxpProperties, fromScaling) {
  struct Case {
    double slope;
    double factor;
    int exponent;
  };
  for (const Case& c : {Case{1.0, 1.0, 0}, Case{0.75, 1.5, -1}, Case{2.0, 1.0, 1}, Case{0.5, 1.0, -1},
                        Case{3.0, 1.5, 1}, Case{1.999, 1.999, 0}, Case{0.0009765625, 1.0, -10}, Case{10.0, 1.25, 3},
                        Case{0x1p-1074, 1.0, -1074}, Case{0x1p1023, 1.0, 1023}}) {
    for (const bool isSigned : {false, true}) {
      const fxpDataTypeProp record = fxpPropertiesFromScaling(isSigned, 12, c.slope, -2.5);
      EXPECT_EQ(record.dataTypeKind, 0);
      EXPECT_EQ(record.isSigned, isSigned ? 1 : 0);
      EXPECT_EQ(record.wordLength, 12);
      EXPECT_EQ(record.exponentWidth, 0);
      EXPECT_EQ(record.slopeAdjustmentFactor, c.factor) << c.slope;
      EXPECT_EQ(record.fixedExponent, c.exponent) << c.slope;
      EXPECT_EQ(record.bias, -2.5);
      EXPECT_EQ(record.reserved, 0);
    }
  }
}

TEST(FxpProperties, fromScalingGivesBackTheSlope) {
  std::mt19937_64 random(20260101);
  for (int i = 0; i < 2000; ++i) {
    const double mantissa = 0.5 + static_cast<double>(random() % 1'000'000) / 2'000'000.0;
    const double slope = std::ldexp(mantissa, static_cast<int>(random() % 200) - 100);
    const fxpDataTypeProp record = fxpPropertiesFromScaling(true, 32, slope, 0.0);
    ASSERT_GE(record.slopeAdjustmentFactor, 1.0);
    ASSERT_LT(record.slopeAdjustmentFactor, 2.0);
    ASSERT_EQ(std::ldexp(record.slopeAdjustmentFactor, record.fixedExponent), slope);
  }
}

}  // namespace
}  // namespace vtio::core::utils
