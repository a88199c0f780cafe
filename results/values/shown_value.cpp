#include "results/values/shown_value.hpp"

#include <cmath>
#include <limits>
#include <type_traits>

#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

ShownValue stored(ElementClass id, const std::byte* bytes) {
  if (id == ElementClass::logical) return loadNumber<std::uint8_t>(bytes) != 0;
  return withNumber(id, [&]<class T>(T) -> ShownValue {
    const T value = loadNumber<T>(bytes);
    if constexpr (std::is_floating_point_v<T>)
      return value;
    else if constexpr (std::is_signed_v<T>)
      return std::int64_t{value};
    else
      return std::uint64_t{value};
  });
}

}  // namespace

double numberAt(ElementClass id, const std::byte* bytes) {
  return withNumber(id, [&]<class T>(T) { return static_cast<double>(loadNumber<T>(bytes)); });
}

double storedNumber(const SampleView& sample, std::size_t cell) {
  const std::size_t parts = sample.type.parts();
  const std::size_t words = sample.type.words;
  if (words == 1) return numberAt(sample.type.id, sample.bytes + cell * (sample.type.bytes() / parts));
  const std::byte* first = sample.bytes + cell / parts * sample.type.bytes() + cell % parts * sizeof(std::uint64_t);
  const auto word = [&](std::size_t i) { return loadNumber<std::uint64_t>(first + i * parts * sizeof(std::uint64_t)); };
  const bool isNegative = sample.type.isSigned && (word(words - 1) >> 63U) != 0;
  double magnitude = 0;  // of a negative number: one less
  for (std::size_t i = words; i-- > 0;) {
    magnitude = magnitude * 0x1p64 + static_cast<double>(isNegative ? ~word(i) : word(i));
  }
  return isNegative ? -magnitude - 1 : magnitude;
}

ShownValues::ShownValues(const SignalInfo& signal, bool raw) {
  if (raw) return;
  if (signal.labels) {
    for (const auto& [label, value] : *signal.labels) labels_.emplace(value, label);
  }
  if (signal.fixedPoint) {
    scaled_ = true;
    slope_ = signal.fixedPoint->slope();
    bias_ = signal.fixedPoint->bias;
  }
}

ShownValue ShownValues::operator()(const SampleView& sample, std::size_t cell) const {
  if (sample.texts != nullptr) return std::string_view(sample.texts[cell]);
  if (scaled_ || sample.type.words > 1) return number(sample, cell);
  const std::byte* bytes = sample.bytes + cell * (sample.type.bytes() / sample.type.parts());
  const ShownValue value = stored(sample.type.id, bytes);
  if (labels_.empty()) return value;
  const auto* integer = std::get_if<std::int64_t>(&value);
  const double number = integer != nullptr ? 0.0 : numberAt(sample.type.id, bytes);
  if (!(std::abs(number) < 0x1p63)) return value;  // NaN, or more than a label can stand for
  const auto label = labels_.find(integer != nullptr ? *integer : static_cast<std::int64_t>(number));
  if (label == labels_.end()) return value;
  return std::string_view(label->second);
}

double ShownValues::number(const SampleView& sample, std::size_t cell) const {
  if (sample.texts != nullptr) return std::numeric_limits<double>::quiet_NaN();
  const double value = storedNumber(sample, cell);
  if (!scaled_) return value;
  // The imaginary part of a fixed-point value has no bias.
  return value * slope_ + (sample.type.isComplex && cell % 2 == 1 ? 0.0 : bias_);
}

double ShownValues::drawn(const SampleView& sample, std::size_t element) const {
  if (!sample.exists()) return std::numeric_limits<double>::quiet_NaN();
  if (!sample.type.isComplex) return number(sample, element);
  return std::hypot(number(sample, 2 * element), number(sample, 2 * element + 1));
}

void appendPlain(std::string& out, const ShownValue& value) {
  std::visit(
      [&]<class T>(const T& shown) {
        if constexpr (std::is_same_v<T, std::string_view>)
          out += shown;
        else if constexpr (std::is_same_v<T, bool>)
          out += shown ? '1' : '0';
        else
          appendNumber(out, shown);
      },
      value);
}

}  // namespace vtio::results
