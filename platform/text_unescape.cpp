#include "platform/text_unescape.hpp"

#include <cstddef>
#include <cstdint>

namespace vtu {

namespace {

/// Value of a digit of a base up to 16; -1 if it is none.
int digitValue(char16_t unit, int base) {
  int value = -1;
  if (unit >= u'0' && unit <= u'9') {
    value = unit - u'0';
  } else if (unit >= u'a' && unit <= u'f') {
    value = unit - u'a' + 10;
  } else if (unit >= u'A' && unit <= u'F') {
    value = unit - u'A' + 10;
  }
  return value < base ? value : -1;
}

/// A number at the start of a text.
struct Number {
  std::uint32_t value = 0;
  std::size_t digits = 0;
};

Number readNumber(std::u16string_view text, int base, std::size_t maxDigits) {
  Number number;
  while (number.digits < maxDigits && number.digits < text.size()) {
    const int digit = digitValue(text[number.digits], base);
    if (digit < 0) {
      break;
    }
    number.value = number.value * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit);
    ++number.digits;
  }
  return number;
}

void appendCodePoint(std::uint32_t codePoint, ustring& result) {
  if (codePoint < 0x10000) {
    result += static_cast<char16_t>(codePoint);
  } else {
    result += static_cast<char16_t>(0xD7C0U + (codePoint >> 10U));
    result += static_cast<char16_t>(0xDC00U + (codePoint & 0x3FFU));
  }
}

/// The character of a one-letter escape; 0 if it is none.
char16_t simpleEscape(char16_t letter) {
  constexpr std::u16string_view kLetters = u"ntrabfv\\\"'?";
  constexpr std::u16string_view kMeanings = u"\n\t\r\a\b\f\v\\\"'?";
  const std::size_t found = kLetters.find(letter);
  return found != std::u16string_view::npos ? kMeanings[found] : u'\0';
}

/// Resolves an escape without its backslash.
/// @return Number of code units it takes; 0 if it is unknown or unfinished.
std::size_t unescapeOne(std::u16string_view rest, ustring& result) {
  if (rest.empty()) {
    return 0;
  }
  if (const char16_t meaning = simpleEscape(rest[0]); meaning != u'\0') {
    result += meaning;
    return 1;
  }
  if (const Number octal = readNumber(rest, 8, 3); octal.digits != 0) {
    result += static_cast<char16_t>(octal.value);
    return octal.digits;
  }
  const std::size_t wanted = rest[0] == u'x' ? 2 : rest[0] == u'u' ? 4 : rest[0] == u'U' ? 8 : 0;
  const Number hexadecimal = readNumber(rest.substr(1), 16, wanted);
  const bool finished = wanted == 2 ? hexadecimal.digits != 0 : wanted != 0 && hexadecimal.digits == wanted;
  if (!finished || hexadecimal.value > 0x10FFFF) {
    return 0;
  }
  appendCodePoint(hexadecimal.value, result);
  return 1 + hexadecimal.digits;
}

}  // namespace

ustring unescapeC(std::u16string_view text) {
  ustring result;
  result.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t taken = text[i] == u'\\' ? unescapeOne(text.substr(i + 1), result) : 0;
    if (taken == 0) {
      result += text[i];
    }
    i += 1 + taken;
  }
  return result;
}

}  // namespace vtu
