/// @file
/// What the entry functions share: handle cells, and strings and arrays as generated code passes them. Not installed.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vtio/ustring.hpp"

namespace mdlref_simtarget {

/// Escape style of C string literals.
inline constexpr int kCLiteralEscapes = 4;

/// A handle is the address of a heap cell of one pointer that owns the object.
template <typename T>
void** newHandle(T* owned) {
  return new void*(owned);
}

/// The object in a handle's cell.
template <typename T>
T* inHandle(void* handle) {
  return static_cast<T*>(*static_cast<void**>(handle));
}

/// The object that generated code points at.
/// @param what Names it in the error.
/// @throws std::invalid_argument for null.
template <typename T>
T& required(void* pointer, const char* what) {
  if (pointer == nullptr) throw std::invalid_argument(std::string("the ") + what + " is null");
  return *static_cast<T*>(pointer);
}
template <typename T>
const T& required(const void* pointer, const char* what) {
  return required<T>(const_cast<void*>(pointer), what);
}

/// The text; empty for null.
inline std::string_view textOrEmpty(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

inline ustring plainText(const char* text) { return vtu::to_ustring(textOrEmpty(text), false); }

inline ustring unescapedText(const char* text) {
  return vtu::to_ustring_with_unescape(textOrEmpty(text), false, kCLiteralEscapes);
}

/// Widens values[0..count) element by element.
/// @throws std::invalid_argument for a null array of a count above 0.
template <typename To>
std::vector<To> widened(const unsigned* values, std::size_t count) {
  if (values == nullptr && count > 0)
    throw std::invalid_argument("a null array of " + std::to_string(count) + " values");
  std::vector<To> result;
  result.reserve(count);
  for (std::size_t i = 0; i < count; ++i) result.push_back(static_cast<To>(values[i]));
  return result;
}

}  // namespace mdlref_simtarget
