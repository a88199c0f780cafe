#include "platform/text_bytes.hpp"

#include <utf8.h>
#include <utf8/unchecked.h>

#include <cstddef>
#include <iterator>

#include "platform/text.hpp"

namespace vtu {
namespace {

bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00U) == 0xD800U; }
bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00U) == 0xDC00U; }

char32_t pairOf(char16_t high, char16_t low) { return 0x10000U + ((high & 0x3FFU) << 10U) + (low & 0x3FFU); }

// Do the next three bytes encode a surrogate?
bool isSurrogateForm(std::string_view bytes, std::size_t at) {
  const auto byteAt = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  return bytes.size() - at >= 3 && byteAt(at) == 0xED && byteAt(at + 1) >= 0xA0 && byteAt(at + 1) < 0xC0 &&
         (byteAt(at + 2) & 0xC0U) == 0x80;
}

}  // namespace

void appendTextBytes(std::u16string_view text, std::string& bytes) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit < 0x80) {
      bytes.push_back(static_cast<char>(unit));
    } else if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      utf8::unchecked::append(pairOf(unit, text[++i]), std::back_inserter(bytes));
    } else {
      utf8::unchecked::append(unit, std::back_inserter(bytes));
    }
  }
}

std::u16string textFromBytes(std::string_view bytes) {
  std::u16string text;
  std::size_t done = 0;  // bytes in `text`
  for (std::size_t at = 0; at < bytes.size();) {
    if (!isSurrogateForm(bytes, at)) {
      ++at;
      continue;
    }
    text += to_ustring(bytes.substr(done, at - done));
    const auto middle = static_cast<unsigned char>(bytes[at + 1]);
    const auto last = static_cast<unsigned char>(bytes[at + 2]);
    text.push_back(static_cast<char16_t>(0xD000U | ((middle & 0x3FU) << 6U) | (last & 0x3FU)));
    at += 3;
    done = at;
  }
  text += to_ustring(bytes.substr(done));
  return text;
}

}  // namespace vtu
