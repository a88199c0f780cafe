/// @file
/// Text conversion and unescaping: whatever the bytes, a text comes out, and what can be undone is undone.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "fuzz/require.hpp"
#include "platform/text.hpp"

namespace {

using vtio::fuzz::require;
using vtu::ustring;

bool isSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

ustring unescape(std::string_view text) { return vtu::to_ustring_with_unescape(text, false, vtu::kCEscapeStyle); }

/// Writes every code unit as an escape; the choice among equal spellings follows the unit.
std::string escapeAll(const ustring& text) {
  std::string result;
  for (const char16_t unit : text) {
    char escape[16];
    const auto value = static_cast<unsigned>(unit);
    const char* format = value > 0xFF || value % 3 == 0 ? "\\u%04X" : value % 3 == 1 ? "\\x%02x" : "\\%03o";
    std::snprintf(escape, sizeof escape, format, value);
    result += escape;
  }
  return result;
}

/// Doubles every backslash.
std::string escapeBackslashes(std::string_view text) {
  std::string result;
  for (const char byte : text) {
    result.append(byte == '\\' ? 2 : 1, byte);
  }
  return result;
}

void checkConversion(std::string_view bytes, const ustring& text) {
  require(text.size() <= bytes.size(), "no byte becomes more than one code unit");
  require(text == vtu::to_ustring(bytes, true), "the flag has no effect");
  const std::string back = vtu::to_string(text);
  require(vtu::to_ustring(back) == text, "text from 8-bit text survives the way back and forth");
  const bool replaced = std::find(text.begin(), text.end(), u'\uFFFD') != text.end();
  require(replaced || back == bytes, "8-bit text without a replacement survives unchanged");
}

void checkUnescaping(std::string_view bytes, const ustring& text) {
  const ustring unescaped = unescape(bytes);
  require(unescaped.size() <= text.size(), "unescaping never makes a text longer");
  require(bytes.find('\\') != std::string_view::npos || unescaped == text, "text without a backslash stays");
  require(vtu::to_ustring_with_unescape(bytes, false, 0) == text, "another style does not unescape");
  require(unescape(escapeAll(text)) == text, "unescaping undoes escaping of every unit");
  require(unescape(escapeBackslashes(bytes)) == text, "unescaping undoes escaping of backslashes");
  const ustring again = vtu::to_ustring(vtu::to_string(unescaped));
  require(again.size() == unescaped.size() || std::any_of(unescaped.begin(), unescaped.end(), isSurrogate),
          "only surrogates change on the way to 8-bit text");
}

void checkInterning(const ustring& text) {
  const vtu::InternedUstring interned(text);
  require(interned.view() == text, "an interned text is kept");
  require(interned == vtu::InternedUstring(ustring(text)), "equal texts are one");
  const ustring longer = text + u'x';
  const vtu::InternedUstring other(longer);
  require(!(interned == other), "different texts are two");
  require(vtu::str_compare(interned, other) < 0 && vtu::str_compare(other, interned) > 0, "a prefix comes first");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const ustring text = vtu::to_ustring(bytes);
  checkConversion(bytes, text);
  checkUnescaping(bytes, text);
  if (text.size() <= 24) {  // interned texts are kept for good: the long ones would fill the memory
    checkInterning(text);
  }
  return 0;
}
