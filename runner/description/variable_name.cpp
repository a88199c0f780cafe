#include "runner/description/variable_name.hpp"

#include <charconv>
#include <optional>

namespace vtio::runner {
namespace {

// Index of the character behind an identifier or a quoted name; 0 if there is none.
std::size_t endOfBase(std::string_view text) {
  if (!text.empty() && text[0] == '\'') {
    for (std::size_t i = 1; i < text.size(); ++i) {
      if (text[i] == '\\') {
        ++i;
      } else if (text[i] == '\'') {
        return i + 1;
      }
    }
    return 0;
  }
  return std::min(text.find_first_of(".[]()',"), text.size());
}

std::optional<std::uint64_t> takeNumber(std::string_view& text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return value;
}

// Takes "[1,2]" off the text; false if it is malformed.
bool takeIndices(std::string_view& text, std::vector<std::uint64_t>& indices) {
  if (text.empty() || text[0] != '[') return true;
  do {
    text.remove_prefix(1);
    const std::optional<std::uint64_t> index = takeNumber(text);
    if (!index) return false;
    indices.push_back(*index);
  } while (!text.empty() && text[0] == ',');
  if (text.empty() || text[0] != ']') return false;
  text.remove_prefix(1);
  return true;
}

// Takes the next part and the dot behind it off the text.
std::optional<NamePart> takePart(std::string_view& text) {
  const std::string_view whole = text;
  NamePart part;
  const std::size_t end = endOfBase(text);
  if (end == 0) return std::nullopt;
  part.base = text.substr(0, end);
  text.remove_prefix(end);
  if (!takeIndices(text, part.indices)) return std::nullopt;
  part.text = whole.substr(0, whole.size() - text.size());
  if (text.empty()) return part;
  if (text[0] != '.' || text.size() == 1) return std::nullopt;
  text.remove_prefix(1);
  return part;
}

}  // namespace

std::vector<NamePart> splitName(std::string_view name) {
  std::vector<NamePart> parts;
  std::string_view rest = name;
  while (!rest.empty()) {
    std::optional<NamePart> part = takePart(rest);
    if (!part) return {NamePart{name, name, {}}};
    parts.push_back(std::move(*part));
  }
  if (parts.empty()) parts.push_back(NamePart{name, name, {}});
  return parts;
}

}  // namespace vtio::runner
