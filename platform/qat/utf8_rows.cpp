#include "platform/qat/utf8_rows.hpp"

#include <utf8.h>

#include <algorithm>
#include <iterator>

#include "platform/text.hpp"

namespace vtu::qat {
namespace {

std::string asciiOf(std::u16string_view text) {
  std::string out(text.size(), '\0');
  std::transform(text.begin(), text.end(), out.begin(), [](char16_t unit) { return static_cast<char>(unit); });
  return out;
}

}  // namespace

std::optional<std::string> textOfRow(const qxArray* array) {
  if (array == nullptr || array->id != qxCHAR || array->dims.size() != 2 || array->dims.data()[0] != 1) return {};
  const auto* units = reinterpret_cast<const char16_t*>(qalc::storedValues(*array).data);
  const std::u16string_view text(units, array->dims.elements());
  if (std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit != 0 && unit < 0x80; })) {
    return asciiOf(text);
  }
  if (text.find(u'\0') != std::u16string_view::npos) return {};
  std::string utf8;
  try {
    utf8::utf16to8(text.begin(), text.end(), std::back_inserter(utf8));
  } catch (const utf8::exception&) {
    return {};  // an unpaired surrogate
  }
  return utf8;
}

qalc::ArrayPtr rowOfText(std::string_view utf8) {
  const bool isAscii =
      std::all_of(utf8.begin(), utf8.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  const ustring text = isAscii ? ustring(utf8.begin(), utf8.end()) : to_ustring(utf8);
  return qalc::ArrayPtr(qxCreateUString(text.data(), text.size()));
}

}  // namespace vtu::qat
