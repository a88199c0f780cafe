#include "runner/description/xml_reader.hpp"

#include <algorithm>
#include <charconv>
#include <limits>

#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// One sign '+' is allowed in XML, but not in std::from_chars.
template <typename T>
std::optional<T> parse(std::string_view text) {
  text = trimmed(text);
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

std::string quoted(std::string_view text) { return "'" + printable(text) + "'"; }

}  // namespace

XmlDocument::XmlDocument(std::string text, Mistakes& mistakes) : text_(std::move(text)), mistakes_(mistakes) {
  for (std::size_t at = text_.find('\n'); at != std::string::npos; at = text_.find('\n', at + 1)) {
    lineEnds_.push_back(static_cast<std::ptrdiff_t>(at));
  }
  constexpr unsigned kOptions = pugi::parse_default | pugi::parse_doctype;
  const pugi::xml_parse_result result =
      document_.load_buffer_inplace(text_.data(), text_.size(), kOptions, pugi::encoding_utf8);
  const bool hasDoctype = std::any_of(document_.begin(), document_.end(),
                                      [](const pugi::xml_node& node) { return node.type() == pugi::node_doctype; });
  if (hasDoctype || result.status == pugi::status_bad_doctype) {
    throw RunnerError("a DOCTYPE is not allowed", "modelDescription.xml");
  }
  if (!result) {
    throw RunnerError(std::string("not well-formed XML: ") + result.description(),
                      "modelDescription.xml, line " + std::to_string(lineAt(result.offset)));
  }
}

int XmlDocument::lineAt(std::ptrdiff_t offset) const {
  const auto found = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
  return static_cast<int>(found - lineEnds_.begin()) + 1;
}

int XmlDocument::lineOf(const pugi::xml_node& node) const { return lineAt(node.offset_debug()); }

void XmlDocument::report(const pugi::xml_node& node, std::string_view attribute, std::string what, bool preventsRun) {
  mistakes_.add({lineOf(node), printable(node.name()), std::string(attribute), std::move(what), preventsRun});
}

std::string XmlElement::requiredText(const char* attribute) const {
  std::string value = text(attribute);
  if (value.empty()) report(attribute, has(attribute) ? "is empty" : "is missing", true);
  return value;
}

bool XmlElement::flag(const char* attribute, bool otherwise) const {
  if (!has(attribute)) return otherwise;
  const std::optional<bool> value = parseXmlBoolean(node_.attribute(attribute).value());
  if (!value) report(attribute, quoted(text(attribute)) + " is not true or false");
  return value.value_or(otherwise);
}

std::optional<double> XmlElement::number(const char* attribute) const {
  if (!has(attribute)) return std::nullopt;
  const std::optional<double> value = parseXmlNumber(node_.attribute(attribute).value());
  if (!value) report(attribute, quoted(text(attribute)) + " is not a number");
  return value;
}

std::optional<std::uint64_t> XmlElement::count(const char* attribute) const {
  if (!has(attribute)) return std::nullopt;
  const std::optional<std::uint64_t> value = parseXmlUnsigned(node_.attribute(attribute).value());
  if (!value) report(attribute, quoted(text(attribute)) + " is not a whole number from 0", true);
  return value;
}

std::optional<std::uint32_t> XmlElement::reference(const char* attribute, bool required) const {
  if (!has(attribute)) {
    if (required) report(attribute, "is missing", true);
    return std::nullopt;
  }
  const std::optional<std::uint64_t> value = count(attribute);
  if (!value) return std::nullopt;
  if (*value > std::numeric_limits<std::uint32_t>::max()) {
    report(attribute, std::to_string(*value) + " is larger than 32 bits hold", true);
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(*value);
}

std::optional<std::size_t> XmlElement::choice(const char* attribute, const std::vector<std::string_view>& names) const {
  if (!has(attribute)) return std::nullopt;
  const std::string value = text(attribute);
  const auto found = std::find(names.begin(), names.end(), value);
  if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
  std::string list;
  for (const std::string_view name : names) list += (list.empty() ? "" : ", ") + std::string(name);
  report(attribute, quoted(value) + " is none of " + list, true);
  return std::nullopt;
}

void XmlElement::checkAttributes() const {
  std::vector<std::string_view> names;
  for (const pugi::xml_attribute& attribute : node_.attributes()) names.emplace_back(attribute.name());
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) report(printable(*twice), "stands twice in one element", true);
}

std::optional<double> parseXmlNumber(std::string_view text) { return parse<double>(text); }
std::optional<std::int64_t> parseXmlInteger(std::string_view text) { return parse<std::int64_t>(text); }
std::optional<std::uint64_t> parseXmlUnsigned(std::string_view text) { return parse<std::uint64_t>(text); }

std::optional<bool> parseXmlBoolean(std::string_view text) {
  text = trimmed(text);
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  return std::nullopt;
}

std::vector<std::string> splitBlanks(std::string_view text) {
  std::vector<std::string> words;
  while (true) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return words;
    text.remove_prefix(first);
    const std::size_t end = std::min(text.find_first_of(kBlanks), text.size());
    words.emplace_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

}  // namespace vtio::runner
