/// @file
/// Values as people see them: labels of enumerations, real values of fixed-point integers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>

#include "results/export.hpp"
#include "results/signals/signal_info.hpp"
#include "results/values/sample_view.hpp"

namespace vtio::results {

/// A logical is a bool; labels and texts are UTF-8 and valid as long as what they were taken from.
using ShownValue = std::variant<double, float, std::int64_t, std::uint64_t, bool, std::string_view>;

/// Reads a number from anywhere in memory.
template <class T>
[[nodiscard]] T loadNumber(const std::byte* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

/// A stored number as double, whatever its class; `bytes` points at the part. Not for texts.
[[nodiscard]] VTIO_RESULTS_EXPORT double numberAt(ElementClass id, const std::byte* bytes);

/// A stored number of a sample that is of no texts, as double: `cell` counts elements times parts, plus the part.
[[nodiscard]] VTIO_RESULTS_EXPORT double storedNumber(const SampleView& sample, std::size_t cell);

/// Turns samples of one signal into values.
class VTIO_RESULTS_EXPORT ShownValues final {
 public:
  /// @param raw Stored integers in place of labels and real values.
  explicit ShownValues(const SignalInfo& signal, bool raw = false);

  /// A number of a sample that exists: element `cell` / parts, part `cell` % parts. The sample may be of another
  /// class than the signal: an interpolated one is of doubles.
  [[nodiscard]] ShownValue operator()(const SampleView& sample, std::size_t cell) const;

  /// The same as a number: an enumeration's stored one. NaN for texts.
  [[nodiscard]] double number(const SampleView& sample, std::size_t cell) const;

  /// What is drawn of an element: its number, of a complex one the magnitude; NaN where no sample exists.
  [[nodiscard]] double drawn(const SampleView& sample, std::size_t element) const;

 private:
  std::unordered_map<std::int64_t, std::string> labels_;
  bool scaled_ = false;
  double slope_ = 1;
  double bias_ = 0;
};

/// As plain text: numbers in their shortest form, logicals 0 and 1.
VTIO_RESULTS_EXPORT void appendPlain(std::string& out, const ShownValue& value);

}  // namespace vtio::results
