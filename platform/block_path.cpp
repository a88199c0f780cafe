#include "platform/block_path.hpp"

#include <utf8/checked.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "platform/diagnostics.hpp"

namespace vtu {

void FullBlkPathToTopMdl::append(InternedUstring element) { elements_.push_back(element); }

void FullBlkPathToTopMdl::subPath(ustring text) { subPath_ = std::move(text); }

void FullBlkPathToTopMdl::replaceNewlineWithSpace() {
  static const ustring newline = u"\n";
  static const ustring space = u" ";
  for (InternedUstring& element : elements_) {
    std::size_t found = element.view().find(newline);
    if (found == ustring::npos) {
      continue;
    }
    ustring text(element.view());
    for (; found != ustring::npos; found = text.find(newline, found + space.size())) {
      text.replace(found, newline.size(), space);
    }
    element = InternedUstring(text);
  }
}

bool operator<(const FullBlkPathToTopMdl& a, const FullBlkPathToTopMdl& b) {
  if (a.elements_.size() != b.elements_.size()) {
    return a.elements_.size() < b.elements_.size();
  }
  if (a.subPath_.empty() != b.subPath_.empty()) {
    return a.subPath_.empty();
  }
  if (a.elements_.empty()) {
    return false;
  }
  for (std::size_t i = 0; i < a.elements_.size(); ++i) {
    const int order = str_compare(a.elements_[i], b.elements_[i]);
    if (order != 0) {
      return order < 0;
    }
  }
  return a.subPath_ < b.subPath_;
}

namespace BlockPathUtil {

namespace {

[[noreturn]] void failBadEncoding(const ustring& encoded) {
  vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic("Vortan:BlockPath", "BadEncoding", {encoded}));
}

int hexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') {
    return unit - u'0';
  }
  const char16_t lower = unit | 0x20U;
  return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : -1;
}

/// Decodes the escapes at the start of a text, one right after the other.
/// @param length Receives the number of code units that they take.
/// @return The decoded text; throws if it is not UTF-8.
ustring decodeEscapes(std::u16string_view text, const ustring& encoded, std::size_t& length) {
  std::string bytes;
  for (length = 0; length < text.size() && text[length] == u'%'; length += 3) {
    const int high = length + 2 < text.size() ? hexDigit(text[length + 1]) : -1;
    const int low = high >= 0 ? hexDigit(text[length + 2]) : -1;
    if (low < 0) {
      failBadEncoding(encoded);
    }
    bytes += static_cast<char>(high * 16 + low);
  }
  if (!utf8::is_valid(bytes.begin(), bytes.end())) {
    failBadEncoding(encoded);
  }
  return to_ustring(bytes);
}

}  // namespace

void decodeBlockPath(const ustring& encoded, FullBlkPathToTopMdl& path) {
  if (encoded.empty()) {
    return;
  }
  FullBlkPathToTopMdl decoded = path;
  ustring element;
  const std::u16string_view text = encoded;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t length = 1;
    if (text[i] == u'|') {
      decoded.append(InternedUstring(element));
      element.clear();
    } else if (text[i] == u'%') {
      element += decodeEscapes(text.substr(i), encoded, length);
    } else {
      element += text[i];
    }
    i += length;
  }
  decoded.append(InternedUstring(element));
  path = std::move(decoded);
}

}  // namespace BlockPathUtil
}  // namespace vtu
