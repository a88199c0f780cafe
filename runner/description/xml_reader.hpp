/// @file
/// XML with places: attributes as values of C++, mistakes collected with line, element and attribute.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runner/description/mistakes.hpp"

namespace vtio::runner {

/// A parsed document. DOCTYPE, and with it every entity but the five of XML, is refused.
class XmlDocument final {
 public:
  /// @param text UTF-8; kept, the document refers to it.
  /// @throws RunnerError with the line of what is not XML.
  XmlDocument(std::string text, Mistakes& mistakes);
  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;

  [[nodiscard]] pugi::xml_node root() const { return document_.document_element(); }

  /// Line of an element, from 1.
  [[nodiscard]] int lineOf(const pugi::xml_node& node) const;

  void report(const pugi::xml_node& node, std::string_view attribute, std::string what, bool preventsRun = false);

 private:
  [[nodiscard]] int lineAt(std::ptrdiff_t offset) const;

  std::string text_;
  std::vector<std::ptrdiff_t> lineEnds_;
  pugi::xml_document document_;
  Mistakes& mistakes_;
};

/// An element whose attributes are read as values. A value that cannot be read is reported and counts as absent.
class XmlElement final {
 public:
  XmlElement(pugi::xml_node node, XmlDocument& document) : node_(node), document_(document) {}

  [[nodiscard]] const pugi::xml_node& node() const { return node_; }
  [[nodiscard]] int line() const { return document_.lineOf(node_); }
  [[nodiscard]] bool has(const char* attribute) const { return !node_.attribute(attribute).empty(); }

  /// Empty if absent.
  [[nodiscard]] std::string text(const char* attribute) const { return node_.attribute(attribute).value(); }
  /// Reported if absent or empty; a run is impossible without it.
  [[nodiscard]] std::string requiredText(const char* attribute) const;
  [[nodiscard]] bool flag(const char* attribute, bool otherwise = false) const;
  [[nodiscard]] std::optional<double> number(const char* attribute) const;
  [[nodiscard]] std::optional<std::uint64_t> count(const char* attribute) const;
  /// A value reference or the like: up to 32 bits. Reported if it is required and absent.
  [[nodiscard]] std::optional<std::uint32_t> reference(const char* attribute, bool required) const;

  /// One of the names, as its index; reported with the choices if it is none of them.
  [[nodiscard]] std::optional<std::size_t> choice(const char* attribute,
                                                  const std::vector<std::string_view>& names) const;

  void report(std::string_view attribute, std::string what, bool preventsRun = false) const {
    document_.report(node_, attribute, std::move(what), preventsRun);
  }

  /// Reports attributes that stand twice. To be called once per element.
  void checkAttributes() const;

 private:
  pugi::xml_node node_;
  XmlDocument& document_;
};

/// Texts to numbers as XML Schema writes them (blanks around are ignored, INF and NaN are numbers); empty if it is
/// none.
[[nodiscard]] std::optional<double> parseXmlNumber(std::string_view text);
[[nodiscard]] std::optional<std::int64_t> parseXmlInteger(std::string_view text);
[[nodiscard]] std::optional<std::uint64_t> parseXmlUnsigned(std::string_view text);
[[nodiscard]] std::optional<bool> parseXmlBoolean(std::string_view text);

/// The words of a list that blanks separate.
[[nodiscard]] std::vector<std::string> splitBlanks(std::string_view text);

}  // namespace vtio::runner
