/// @file
/// Every built-in data type as a C++ type, for typed tests: its class name, its storage and its property record.
///
///     template <typename T> class MyTest : public ::testing::Test {};
///     TYPED_TEST_SUITE(MyTest, vtio::test::DataTypes, vtio::test::DataTypeNames);
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace vtio::test {

/// A string literal that can be a template argument.
template <std::size_t kLength>
struct Text {
  // NOLINTNEXTLINE(google-explicit-constructor): a literal converts where a template argument is expected.
  constexpr Text(const char (&literal)[kLength]) { std::copy_n(literal, kLength, value); }
  char value[kLength] = {};
};

/// One data type class name with the C++ type that has its size and sign.
template <typename Storage, Text kText>
struct DataType {
  using Value = Storage;
  static std::string name() { return kText.value; }
  static constexpr std::size_t kSize = sizeof(Storage);
  static constexpr bool kIsDouble = std::is_same_v<Storage, double>;
  static constexpr bool kIsSingle = std::is_same_v<Storage, float>;
  static constexpr bool kIsBoolean = std::is_same_v<Storage, bool>;
  static constexpr std::int32_t kKind = kIsDouble ? 2 : kIsSingle ? 3 : kIsBoolean ? 4 : 0;
  static constexpr std::int32_t kSigned = std::is_signed_v<Storage> ? 1 : 0;
  static constexpr std::int32_t kWordLength = static_cast<std::int32_t>(8 * sizeof(Storage));
  static constexpr std::int32_t kExponentWidth = kIsDouble ? 11 : kIsSingle ? 8 : 0;
};

/// Every class name that yields a property record, with the C++ type of the same storage.
using DataTypes =
    ::testing::Types<DataType<double, "double">, DataType<float, "single">, DataType<bool, "boolean">,
                     DataType<bool, "logical">, DataType<std::int8_t, "int8">, DataType<std::uint8_t, "uint8">,
                     DataType<std::int16_t, "int16">, DataType<std::uint16_t, "uint16">,
                     DataType<std::int32_t, "int32">, DataType<std::uint32_t, "uint32">,
                     DataType<std::int64_t, "int64">, DataType<std::uint64_t, "uint64">,
                     DataType<std::uint8_t, "string">, DataType<double, "action">, DataType<double, "fcn_call">>;

/// Prints the class name in the name of a typed test.
struct DataTypeNames {
  template <typename T>
  static std::string GetName(int /*index*/) {
    return T::name();
  }
};

}  // namespace vtio::test
