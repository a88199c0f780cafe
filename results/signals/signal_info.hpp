/// @file
/// What a results file says about a signal, apart from its samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "results/export.hpp"
#include "results/values/element_type.hpp"

namespace vtio::results {

/// How the stored integers of a fixed-point signal become values.
struct FixedPoint {
  bool isSigned = true;
  int wordLength = 0;  ///< bits
  int fixedExponent = 0;
  double slopeAdjustmentFactor = 1;
  double bias = 0;

  /// slopeAdjustmentFactor x 2^fixedExponent: value = integer x slope + bias.
  [[nodiscard]] VTIO_RESULTS_EXPORT double slope() const;

  friend bool operator==(const FixedPoint&, const FixedPoint&) = default;
};

/// Labels of an enumeration with their values, in the order of its definition.
using EnumLabels = std::vector<std::pair<std::string, std::int64_t>>;

/// Where the samples of a signal are: columns of the dataset of its element class in a sample table, and rows.
struct SignalPlace {
  std::uint32_t table = 0;
  std::uint32_t column = 0;     ///< number of its record in the table
  std::size_t firstColumn = 0;  ///< of its elements, in the dataset of its class
  std::uint64_t begin = 0;      ///< first row
  std::uint64_t count = 0;      ///< rows
};

/// One recorded leaf. Texts are UTF-8.
struct SignalInfo {
  std::string name;     ///< unique in the file
  std::string dataset;  ///< name of the dataset, for example `logsout`; empty if no dataset has it
  std::string element;  ///< the element's own name
  std::vector<std::string> blockPath;
  std::uint64_t port = 0;
  std::string portKind;  ///< `inport`, `outport` or empty
  std::string typeName;  ///< as people read it: the stored class, or the class name of an enumeration
  ElementType type;
  std::vector<std::size_t> dimensions;  ///< of one sample; empty for a scalar
  std::string unit;
  std::string interpolation;  ///< `linear` interpolates, anything else holds
  double first = 0;           ///< time of the first sample in seconds; NaN if there is none
  double last = 0;
  std::optional<EnumLabels> labels;  ///< of an enumeration
  std::optional<FixedPoint> fixedPoint;
  std::uint64_t decimation = 0;
  std::string sampleTime;  ///< as recorded
  SignalPlace place;

  /// Elements of one sample.
  [[nodiscard]] VTIO_RESULTS_EXPORT std::size_t width() const;

  /// Bytes of all samples in memory, texts counted as 32 bytes each.
  [[nodiscard]] std::uint64_t valueBytes() const {
    return place.count * width() * (type.id == ElementClass::text ? 32 : type.bytes());
  }

  /// Whether values between samples are interpolated: "linear" numbers that are no enumeration.
  [[nodiscard]] VTIO_RESULTS_EXPORT bool interpolates() const;
};

/// "3x3", "" for a scalar.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string dimensionsText(const std::vector<std::size_t>& dimensions);

/// The names of the elements of a sample, last index fastest: "NAME", "NAME[0]", "NAME[0][1]".
[[nodiscard]] VTIO_RESULTS_EXPORT std::vector<std::string> elementNames(const SignalInfo& signal);

/// The names of all numbers of a sample: those of its elements, of a complex one "NAME.re", "NAME.im".
[[nodiscard]] VTIO_RESULTS_EXPORT std::vector<std::string> cellNames(const SignalInfo& signal);

}  // namespace vtio::results
