#include "runner/description/start_values.hpp"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>

#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

using Bytes = std::vector<std::byte>;

template <typename T>
void append(Bytes& bytes, T value) {
  const auto* first = reinterpret_cast<const std::byte*>(&value);
  bytes.insert(bytes.end(), first, first + sizeof value);
}

template <typename T>
bool appendSigned(Bytes& bytes, std::string_view text) {
  const std::optional<std::int64_t> value = parseXmlInteger(text);
  if (!value || *value < std::numeric_limits<T>::min() || *value > std::numeric_limits<T>::max()) return false;
  append(bytes, static_cast<T>(*value));
  return true;
}

template <typename T>
bool appendUnsigned(Bytes& bytes, std::string_view text) {
  const std::optional<std::uint64_t> value = parseXmlUnsigned(text);
  if (!value || *value > std::numeric_limits<T>::max()) return false;
  append(bytes, static_cast<T>(*value));
  return true;
}

bool appendFloat(Bytes& bytes, std::string_view text, bool isDouble) {
  const std::optional<double> value = parseXmlNumber(text);
  if (!value) return false;
  isDouble ? append(bytes, *value) : append(bytes, static_cast<float>(*value));
  return true;
}

// Appends one value; false if the text is none of the type.
bool appendValue(Bytes& bytes, std::string_view text, VariableType type) {
  switch (type) {
    case VariableType::float64:
    case VariableType::float32:
      return appendFloat(bytes, text, type == VariableType::float64);
    case VariableType::int8:
      return appendSigned<std::int8_t>(bytes, text);
    case VariableType::int16:
      return appendSigned<std::int16_t>(bytes, text);
    case VariableType::int32:
      return appendSigned<std::int32_t>(bytes, text);
    case VariableType::int64:
    case VariableType::enumeration:
      return appendSigned<std::int64_t>(bytes, text);
    case VariableType::uint8:
      return appendUnsigned<std::uint8_t>(bytes, text);
    case VariableType::uint16:
      return appendUnsigned<std::uint16_t>(bytes, text);
    case VariableType::uint32:
      return appendUnsigned<std::uint32_t>(bytes, text);
    case VariableType::uint64:
      return appendUnsigned<std::uint64_t>(bytes, text);
    case VariableType::boolean:
    case VariableType::clock: {
      const std::optional<bool> value = parseXmlBoolean(text);
      if (value) append(bytes, static_cast<std::uint8_t>(*value));
      return value.has_value();
    }
    default:
      return false;
  }
}

std::optional<std::string> bytesOfHexadecimal(std::string_view text) {
  static constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  const auto digit = [](char c) {
    const std::size_t found = kDigits.find(c);
    return found < 16 || found == std::string_view::npos ? found : found - 6;
  };
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::size_t high = digit(text[i]);
    const std::size_t low = digit(text[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    bytes += static_cast<char>(high * 16 + low);
  }
  return bytes;
}

[[noreturn]] void refuse(const Variable& variable, const std::string& what) {
  throw RunnerError(what, "variable '" + printable(variable.name) + "'");
}

// The number of a label; a number stays, if a label has it.
std::string labelToNumber(const std::string& text, const Variable& variable, const ModelDescription& model) {
  if (variable.enumeration < 0) return text;
  const Enumeration& enumeration = model.enumerations[static_cast<std::size_t>(variable.enumeration)];
  const std::optional<std::int64_t> number = parseXmlInteger(text);
  for (const auto& [label, value] : enumeration.items) {
    if (label == text || number == value) return std::to_string(value);
  }
  refuse(variable, "'" + printable(text) + "' is no label or value of " + printable(enumeration.name));
}

void checkRange(const std::string& text, const Variable& variable) {
  const std::optional<double> value = parseXmlNumber(text);
  if (!value) return;
  const std::optional<double> least = parseXmlNumber(variable.min);
  const std::optional<double> most = parseXmlNumber(variable.max);
  if ((least || most) && std::isnan(*value)) refuse(variable, "nan is outside the minimum and maximum");
  if (least && *value < *least) refuse(variable, printable(text) + " is below the minimum " + variable.min);
  if (most && *value > *most) refuse(variable, printable(text) + " is above the maximum " + variable.max);
}

void appendElement(Values& values, const std::string& word, const Variable& variable, const ModelDescription& model) {
  const std::string text = labelToNumber(word, variable, model);
  if (variable.type == VariableType::binary) {
    std::optional<std::string> bytes = bytesOfHexadecimal(text);
    if (!bytes) refuse(variable, "'" + printable(word) + "' is not hexadecimal");
    values.texts.push_back(std::move(*bytes));
    return;
  }
  if (!appendValue(values.numbers, text, variable.type)) {
    refuse(variable, "'" + printable(word) + "' is no value of type " + std::string(nameOf(variable.type)));
  }
  checkRange(text, variable);
}

}  // namespace

bool isValue(std::string_view text, VariableType type) {
  if (type == VariableType::string) return true;
  if (type == VariableType::binary) return bytesOfHexadecimal(text).has_value();
  Bytes ignored;
  return appendValue(ignored, text, type);
}

Values parseValues(std::string_view text, const Variable& variable, const ModelDescription& model) {
  const std::uint64_t elements = variable.elements();
  const bool isScalar = variable.dimensions.empty();
  Values values;
  if (variable.type == VariableType::string && isScalar) {
    values.texts.emplace_back(text);
    return values;
  }
  std::vector<std::string> words = splitBlanks(text);
  if (isScalar && words.empty()) words.emplace_back();
  if (words.size() == 1 && elements != 1) words.assign(elements, words[0]);
  if (words.size() != elements) {
    refuse(variable, std::to_string(words.size()) + " values for " + std::to_string(elements) +
                         (elements == 1 ? " element" : " elements"));
  }
  for (const std::string& word : words) {
    if (variable.type == VariableType::string) {
      values.texts.push_back(word);
    } else {
      appendElement(values, word, variable, model);
    }
  }
  return values;
}

}  // namespace vtio::runner
