#include "platform/text.hpp"

#include <utf8/checked.h>
#include <utf8/unchecked.h>

#include <functional>
#include <iterator>
#include <mutex>
#include <unordered_set>

#include "platform/text_unescape.hpp"

namespace vtu {

namespace {

constexpr char16_t kReplacement = u'\uFFFD';

bool isLeadSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isTrailSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// Finds texts by content, also by a view of them.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::u16string_view text) const { return std::hash<std::u16string_view>()(text); }
};

/// All interned texts. Their addresses stay valid: the set is node-based and nothing is ever removed.
class TextPool final {
 public:
  const ustring* intern(std::u16string_view text) {
    const std::lock_guard lock(mutex_);
    const auto found = texts_.find(text);
    return found != texts_.end() ? &*found : &*texts_.emplace(text).first;
  }

 private:
  std::mutex mutex_;
  std::unordered_set<ustring, TextHash, std::equal_to<>> texts_;
};

/// The pool of the process. Never destroyed, so that texts stay valid for every static object that refers to one.
TextPool& textPool() {
  static TextPool& pool = *new TextPool;
  return pool;
}

}  // namespace

ustring to_ustring(std::string_view utf8, bool /*flag*/) {
  ustring result;
  result.reserve(utf8.size());
  auto position = utf8.begin();
  while (true) {
    const auto malformed = utf8::find_invalid(position, utf8.end());
    utf8::unchecked::utf8to16(position, malformed, std::back_inserter(result));
    if (malformed == utf8.end()) {
      return result;
    }
    result += kReplacement;
    position = malformed + 1;
  }
}

ustring to_ustring_with_unescape(std::string_view utf8, bool flag, int escapeStyle) {
  ustring text = to_ustring(utf8, flag);
  return escapeStyle == kCEscapeStyle ? unescapeC(text) : text;
}

std::string to_string(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t codePoint = text[i];
    if (isLeadSurrogate(text[i]) && i + 1 < text.size() && isTrailSurrogate(text[i + 1])) {
      codePoint = 0x10000U + ((codePoint - 0xD800U) << 10U) + (text[i + 1] - 0xDC00U);
      ++i;
    } else if (isLeadSurrogate(text[i]) || isTrailSurrogate(text[i])) {
      codePoint = kReplacement;
    }
    utf8::unchecked::append(codePoint, std::back_inserter(result));
  }
  return result;
}

InternedUstring::InternedUstring(std::u16string_view text) : text_(text.empty() ? nullptr : textPool().intern(text)) {}

int str_compare(InternedUstring a, InternedUstring b) { return a == b ? 0 : a.view().compare(b.view()); }

}  // namespace vtu
