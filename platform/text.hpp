/// @file
/// Text: UTF-16 strings, their conversion from and to 8-bit text, and interned strings.
///
///     vtu::ustring name = vtu::to_ustring("caf\xC3\xA9");             // UTF-8 in, UTF-16 out
///     vtu::InternedUstring a(name), b(name);
///     assert(a == b);                                              // one comparison of one word
///
/// 8-bit text is UTF-8. No text is ever refused: what cannot be converted becomes U+FFFD. See also block_path.hpp.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/export.hpp"

namespace vtu {

/// A string of 16-bit code units, normally UTF-16; unpaired surrogates are allowed.
using ustring = std::u16string;

/// The escape style that to_ustring_with_unescape() resolves: that of C string literals.
inline constexpr int kCEscapeStyle = 4;

/// Converts UTF-8 to UTF-16. Each malformed byte becomes one U+FFFD.
/// @param flag For the binary interface alone; no effect.
VTIO_PLATFORM_EXPORT ustring to_ustring(std::string_view utf8, bool flag = false);

/// Converts UTF-8 to UTF-16 and resolves escapes.
///
/// Style 4 is that of C string literals: `\n \t \r \a \b \f \v \\ \" \' \?`, `\xHH` of one or two digits and octal of
/// one to three digits (each one code unit), `\uXXXX` (one code unit) and `\UXXXXXXXX` (a code point up to 10FFFF). An
/// unknown or unfinished escape is not changed.
/// @param flag For the binary interface alone; no effect.
/// @param escapeStyle kCEscapeStyle; any other value means that nothing is unescaped.
VTIO_PLATFORM_EXPORT ustring to_ustring_with_unescape(std::string_view utf8, bool flag, int escapeStyle);

/// Converts UTF-16 to UTF-8. Each unpaired surrogate becomes U+FFFD.
VTIO_PLATFORM_EXPORT std::string to_string(std::u16string_view text);

/// A text that is stored once for the whole process: one word wide, compared and copied as one pointer.
///
/// Two objects are equal exactly when their texts are. The null text and the empty text are the same. Safe to make and
/// to use from several threads. Texts are never released: intern names, not data.
class VTIO_PLATFORM_EXPORT InternedUstring {
 public:
  /// The null text, one with the empty text.
  InternedUstring() = default;

  /// The one object of this text; the text is copied if it is new.
  explicit InternedUstring(std::u16string_view text);

  /// The text, null-terminated, valid until the process ends; nullptr for the empty text.
  [[nodiscard]] const char16_t* c_str() const { return text_ != nullptr ? text_->c_str() : nullptr; }

  /// The text with its length, valid until the process ends.
  [[nodiscard]] std::u16string_view view() const { return text_ != nullptr ? *text_ : std::u16string_view(); }

  friend bool operator==(InternedUstring a, InternedUstring b) { return a.text_ == b.text_; }

 private:
  friend struct std::hash<InternedUstring>;

  const ustring* text_ = nullptr;  // in the pool; null for the empty text
};

/// Orders two texts by unsigned 16-bit code unit, a proper prefix first.
/// @return Less than, equal to or greater than 0.
VTIO_PLATFORM_EXPORT int str_compare(InternedUstring a, InternedUstring b);

}  // namespace vtu

template <>
struct std::hash<vtu::InternedUstring> {
  std::size_t operator()(vtu::InternedUstring text) const noexcept {
    return std::hash<const vtu::ustring*>()(text.text_);
  }
};
