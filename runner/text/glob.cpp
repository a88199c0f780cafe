#include "runner/text/glob.hpp"

#include <cstddef>

namespace vtio::runner {
namespace {

// Bytes of the character that begins here.
std::size_t characterBytes(std::string_view text) {
  std::size_t bytes = 1;
  while (bytes < text.size() && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) ++bytes;
  return bytes;
}

}  // namespace

bool matches(std::string_view pattern, std::string_view name) {
  std::string_view afterStar;  // the pattern behind the last star
  std::string_view retry;      // what the star has not taken yet
  bool seenStar = false;
  while (!name.empty() || !pattern.empty()) {
    if (!pattern.empty() && pattern[0] == '*') {
      pattern.remove_prefix(1);
      afterStar = pattern;
      retry = name;
      seenStar = true;
    } else if (!pattern.empty() && !name.empty() && pattern[0] == '?') {
      pattern.remove_prefix(1);
      name.remove_prefix(characterBytes(name));
    } else if (!pattern.empty() && !name.empty() && pattern[0] == name[0]) {
      pattern.remove_prefix(1);
      name.remove_prefix(1);
    } else if (seenStar && !retry.empty()) {
      retry.remove_prefix(1);
      name = retry;
      pattern = afterStar;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace vtio::runner
