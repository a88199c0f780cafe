#include "results/signals/glob.hpp"

#include <cstddef>

namespace vtio::results {
namespace {

// Bytes of the character that begins at `position`; a malformed byte is a character of its own.
std::size_t characterBytes(std::string_view text, std::size_t position) {
  const auto lead = static_cast<unsigned char>(text[position]);
  const std::size_t wanted = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  for (std::size_t i = 1; i < wanted; ++i) {
    if (position + i >= text.size() || (static_cast<unsigned char>(text[position + i]) & 0xC0U) != 0x80) return 1;
  }
  return wanted;
}

}  // namespace

bool matchesGlob(std::string_view pattern, std::string_view name) {
  std::size_t p = 0;
  std::size_t n = 0;
  std::size_t star = std::string_view::npos;  // the last star, and where the text after it was tried last
  std::size_t tried = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      tried = n;
    } else if (p < pattern.size() && pattern[p] == '?') {
      ++p;
      n += characterBytes(name, n);
    } else if (p < pattern.size() && pattern[p] == name[n]) {
      ++p;
      ++n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      tried += characterBytes(name, tried);
      n = tried;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

}  // namespace vtio::results
