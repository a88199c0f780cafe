#include "results/terminal/style.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace vtio::results {
namespace {

bool beginsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }

// The byte at which character `index` begins.
std::size_t byteOf(std::string_view text, std::size_t index) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (beginsCharacter(text[i]) && index-- == 0) return i;
  }
  return text.size();
}

}  // namespace

Style styleOf(int fileDescriptor) {
  Style style;
  style.isTerminal = isatty(fileDescriptor) == 1;
  const char* noColour = std::getenv("NO_COLOR");
  style.hasColour = style.isTerminal && (noColour == nullptr || *noColour == '\0');
  winsize size{};
  if (style.isTerminal && ioctl(fileDescriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) style.width = size.ws_col;
  return style;
}

std::string printable(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string result;
  const auto escape = [&](unsigned char byte) {
    result += "\\x";
    result += kDigits[byte >> 4U];
    result += kDigits[byte & 15U];
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    if (byte < 0x20 || byte == 0x7F) {
      escape(byte);
    } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {  // U+0080 to U+009F
      escape(next);
      ++i;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  for (const char c : text) width += beginsCharacter(c) ? 1 : 0;
  return width;
}

std::string shortened(std::string_view text, std::size_t width) {
  const std::size_t whole = displayWidth(text);
  if (whole <= width) return std::string(text);
  if (width == 0) return "";
  const std::size_t head = width / 2;
  const std::size_t tail = width - 1 - head;
  return std::string(text.substr(0, byteOf(text, head))) + "…" + std::string(text.substr(byteOf(text, whole - tail)));
}

}  // namespace vtio::results
