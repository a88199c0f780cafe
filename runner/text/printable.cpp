#include "runner/text/printable.hpp"

#include <charconv>

namespace vtio::runner {
namespace {

void append(std::string& line, std::string_view text) {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f) {
      line += c;
    } else {
      line += "\\x";
      line += kDigits[byte >> 4];
      line += kDigits[byte & 15];
    }
  }
}

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string printable(std::string_view text, std::size_t longest) {
  std::string line;
  if (text.size() <= longest) {
    append(line, text);
    return line;
  }
  std::size_t head = longest / 2;
  while (head > 0 && continuesCharacter(text[head])) --head;
  std::size_t tail = text.size() - longest / 2;
  while (tail < text.size() && continuesCharacter(text[tail])) ++tail;
  append(line, text.substr(0, head));
  line += "...";
  append(line, text.substr(tail));
  return line;
}

std::string numberText(double value) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

}  // namespace vtio::runner
