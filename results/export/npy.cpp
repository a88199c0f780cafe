#include "results/export/npy.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "platform/text.hpp"
#include "results/values/number_text.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::array<const char*, 11> kTypes = {"<f8", "<f4", "|i1", "|u1", "<i2", "<u2",
                                                "<i4", "<u4", "<i8", "<u8", "|b1"};

std::vector<std::size_t> shapeOf(const SignalInfo& signal, std::size_t samples) {
  std::vector<std::size_t> shape{samples};
  shape.insert(shape.end(), signal.dimensions.begin(), signal.dimensions.end());
  return shape;
}

// UTF-32 code points of a UTF-8 text.
std::u32string codePoints(std::string_view utf8) {
  const std::u16string units = vtu::to_ustring(utf8);
  std::u32string points;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char32_t unit = units[i];
    const bool isPair =
        unit >= 0xD800 && unit < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000;
    points += isPair ? 0x10000 + ((unit - 0xD800) << 10U) + (units[++i] - 0xDC00U) : unit;
  }
  return points;
}

std::string textValues(const SignalInfo& signal, const SeriesView& series, bool raw) {
  const ShownValues values(signal, raw);
  std::vector<std::u32string> texts;
  std::size_t longest = 1;
  for (std::size_t i = 0; i < series.size(); ++i) {
    for (std::size_t cell = 0; cell < series.width; ++cell) {
      std::string text;
      appendPlain(text, values(series.sample(i), cell));
      texts.push_back(codePoints(text));
      longest = std::max(longest, texts.back().size());
    }
  }
  std::string bytes = npyHeader("<U" + std::to_string(longest), shapeOf(signal, series.size()));
  bytes.reserve(bytes.size() + texts.size() * longest * sizeof(char32_t));
  for (std::u32string& text : texts) {
    text.resize(longest);
    bytes.append(reinterpret_cast<const char*>(text.data()), longest * sizeof(char32_t));
  }
  return bytes;
}

std::string realValues(const SignalInfo& signal, const SeriesView& series, bool raw) {
  const ShownValues values(signal, raw);
  std::string bytes = npyHeader(series.type.isComplex ? "<c16" : "<f8", shapeOf(signal, series.size()));
  const std::size_t cells = series.width * series.type.parts();
  bytes.reserve(bytes.size() + series.size() * cells * sizeof(double));
  for (std::size_t i = 0; i < series.size(); ++i) {
    for (std::size_t cell = 0; cell < cells; ++cell) {
      const double value = values.number(series.sample(i), cell);
      bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
  }
  return bytes;
}

std::string storedValues(const SignalInfo& signal, const SeriesView& series) {
  std::string type = kTypes.at(static_cast<std::size_t>(series.type.id));
  if (series.type.isComplex) type = series.type.id == ElementClass::float64 ? "<c16" : "<c8";
  std::string bytes = npyHeader(type, shapeOf(signal, series.size()));
  const std::size_t sampleBytes = series.width * series.type.bytes();
  bytes.reserve(bytes.size() + series.size() * sampleBytes);
  for (std::size_t i = 0; i < series.size(); ++i) {
    bytes.append(reinterpret_cast<const char*>(series.sample(i).bytes), sampleBytes);
  }
  return bytes;
}

}  // namespace

std::string npyHeader(const std::string& type, const std::vector<std::size_t>& shape) {
  std::string description = "{'descr': '" + type + "', 'fortran_order': False, 'shape': (";
  for (const std::size_t dimension : shape) description += std::to_string(dimension) + ",";
  description += "), }";
  constexpr std::size_t kBefore = 10;  // magic, version, length
  description.append(63 - (kBefore + description.size()) % 64, ' ');
  description += '\n';
  const std::size_t size = description.size();
  if (size > 0xFFFF) throw std::length_error("too many dimensions for a NumPy array");
  std::string header("\x93NUMPY\x01\x00", 8);
  header += static_cast<char>(size & 0xFFU);
  header += static_cast<char>(size >> 8U);
  return header + description;
}

std::string npyTimes(const SeriesView& series) {
  std::string bytes = npyHeader("<f8", {series.size()});
  bytes.append(reinterpret_cast<const char*>(series.times.data()), series.times.size_bytes());
  return bytes;
}

std::string npyValues(const SignalInfo& signal, const SeriesView& series, bool raw) {
  if (series.texts != nullptr || (signal.labels && !raw)) return textValues(signal, series, raw);
  const bool isComplexInteger = series.type.isComplex && series.type.id > ElementClass::float32;
  if ((signal.fixedPoint && !raw) || isComplexInteger || series.type.words > 1) return realValues(signal, series, raw);
  return storedValues(signal, series);
}

}  // namespace vtio::results
