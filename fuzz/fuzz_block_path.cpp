/// @file
/// Block-path decoding, compared with a decoder that works on bytes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.hpp"
#include "platform/block_path.hpp"
#include "platform/diagnostics.hpp"

namespace {

using vtio::fuzz::require;
using vtu::FullBlkPathToTopMdl;
using vtu::ustring;
using Elements = std::vector<ustring>;

int hexadecimal(char digit) {
  const std::string_view digits = "0123456789abcdef";
  const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
  const std::size_t found = digits.find(lower);
  return found != std::string_view::npos ? static_cast<int>(found) : -1;
}

/// One element's bytes with the escapes resolved; empty if an escape is bad.
std::optional<std::string> unescaped(std::string_view element) {
  std::string result;
  for (std::size_t i = 0; i < element.size(); ++i) {
    if (element[i] != '%') {
      result += element[i];
      continue;
    }
    if (element.size() - i < 3 || hexadecimal(element[i + 1]) < 0 || hexadecimal(element[i + 2]) < 0) {
      return std::nullopt;
    }
    result += static_cast<char>(hexadecimal(element[i + 1]) * 16 + hexadecimal(element[i + 2]));
    i += 2;
  }
  return result;
}

/// The elements of an encoded path in UTF-8; empty if it is malformed.
std::optional<Elements> expectedElements(std::string_view encoded) {
  Elements elements;
  if (encoded.empty()) {
    return elements;
  }
  while (true) {
    const std::size_t bar = encoded.find('|');
    const std::optional<std::string> bytes = unescaped(encoded.substr(0, bar));
    // Malformed UTF-8 does not come back as it was.
    if (!bytes || vtu::to_string(vtu::to_ustring(*bytes)) != *bytes) {
      return std::nullopt;
    }
    elements.push_back(vtu::to_ustring(*bytes));
    if (bar == std::string_view::npos) {
      return elements;
    }
    encoded.remove_prefix(bar + 1);
  }
}

Elements elementsOf(const FullBlkPathToTopMdl& path) {
  Elements result;
  for (std::size_t i = 0; i < path.size(); ++i) {
    result.emplace_back(path.element(i).view());
  }
  return result;
}

std::string encode(const Elements& elements) {
  std::string result;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    result += i == 0 ? "" : "|";
    for (const char byte : vtu::to_string(elements[i])) {
      result += byte == '|' ? "%7c" : byte == '%' ? "%25" : std::string(1, byte);
    }
  }
  return result;
}

void checkDecoding(const ustring& encoded, const std::optional<Elements>& expected) {
  Elements before = {u"first"};
  FullBlkPathToTopMdl path;
  path.append(vtu::InternedUstring(before[0]));
  try {
    vtu::BlockPathUtil::decodeBlockPath(encoded, path);
    require(expected.has_value(), "a malformed path is refused");
    before.insert(before.end(), expected->begin(), expected->end());
    require(elementsOf(path) == before, "the elements are appended");
  } catch (const vtsv::IException& exception) {
    require(!expected.has_value(), "a well-formed path is decoded");
    require(exception.diagnostic().key == "BadEncoding", "the error is BadEncoding");
    require(exception.diagnostic().arguments == Elements{encoded}, "the error holds the encoded text");
    require(elementsOf(path) == before, "a refused path leaves the target as it was");
  }
}

void checkOrder(const FullBlkPathToTopMdl& path) {
  FullBlkPathToTopMdl longer = path;
  longer.append(vtu::InternedUstring());
  require(path < longer && !(longer < path), "a shorter path comes first");
  require(!(path < path), "no path comes before itself");
  FullBlkPathToTopMdl spaced = path;
  spaced.replaceNewlineWithSpace();
  for (const ustring& element : elementsOf(spaced)) {
    require(element.find(u'\n') == ustring::npos, "no line feed is left");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 256) {  // interned texts are kept for good: long ones would fill the memory
    return 0;
  }
  // 16-bit text without unpaired surrogates, as 8-bit text; replaced bytes count as they are replaced.
  const ustring encoded = vtu::to_ustring(std::string_view(reinterpret_cast<const char*>(data), size));
  const std::optional<Elements> expected = expectedElements(vtu::to_string(encoded));
  checkDecoding(encoded, expected);
  if (expected && *expected != Elements{u""}) {
    checkDecoding(vtu::to_ustring(encode(*expected)), expected);
    FullBlkPathToTopMdl path;
    vtu::BlockPathUtil::decodeBlockPath(encoded, path);
    checkOrder(path);
  }
  return 0;
}
