/// @file
/// What one element of a sample is: its class and whether it has an imaginary part.
///
///     withNumber(type.id, [&]<class T>(T) { sum += loadNumber<T>(bytes); });
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "results/export.hpp"

namespace vtio::results {

/// Classes of stored elements. A logical is one byte, 0 or 1.
enum class ElementClass : std::uint8_t {
  float64,
  float32,
  int8,
  uint8,
  int16,
  uint16,
  int32,
  uint32,
  int64,
  uint64,
  logical,
  text
};

struct ElementType {
  ElementClass id = ElementClass::float64;
  bool isComplex = false;
  std::uint8_t words = 1;  ///< 64-bit words of a number, lowest first: 2 and more for wide fixed-point integers
  bool isSigned = false;   ///< whether a number of several words may be negative

  /// Bytes of one element; 0 for texts.
  [[nodiscard]] VTIO_RESULTS_EXPORT std::size_t bytes() const;

  /// Numbers per element: 2 with an imaginary part, else 1.
  [[nodiscard]] std::size_t parts() const { return isComplex ? 2 : 1; }

  friend bool operator==(const ElementType&, const ElementType&) = default;
};

/// The stored name: `double`, `single`, `int8` … `uint64`, `logical`, `text`. Static storage.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string_view nameOf(ElementClass id);

/// Reads a stored name, with or without `.complex` behind it.
/// @throws std::invalid_argument naming the text if there is no such class.
[[nodiscard]] VTIO_RESULTS_EXPORT ElementType elementTypeOf(std::string_view name);

/// Whether values between two samples may be interpolated: neither logicals nor texts.
[[nodiscard]] inline bool isNumber(ElementClass id) { return id != ElementClass::logical && id != ElementClass::text; }

[[noreturn]] VTIO_RESULTS_EXPORT void throwNotANumber();

/// Calls `function` with a zero of the C++ type of a class; a logical is a std::uint8_t.
/// @throws std::logic_error for texts, which have none.
template <class Function>
decltype(auto) withNumber(ElementClass id, Function&& function) {
  switch (id) {
    case ElementClass::float64:
      return function(double{});
    case ElementClass::float32:
      return function(float{});
    case ElementClass::int8:
      return function(std::int8_t{});
    case ElementClass::int16:
      return function(std::int16_t{});
    case ElementClass::uint16:
      return function(std::uint16_t{});
    case ElementClass::int32:
      return function(std::int32_t{});
    case ElementClass::uint32:
      return function(std::uint32_t{});
    case ElementClass::int64:
      return function(std::int64_t{});
    case ElementClass::uint64:
      return function(std::uint64_t{});
    case ElementClass::uint8:
    case ElementClass::logical:
      return function(std::uint8_t{});
    case ElementClass::text:
      break;
  }
  throwNotANumber();
}

}  // namespace vtio::results
