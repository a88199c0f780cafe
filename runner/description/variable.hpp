/// @file
/// A variable of an FMU as its description gives it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "results/values/element_type.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

/// Types of both versions of FMI. `Real` of FMI 2 is float64, `Integer` int32.
enum class VariableType : std::uint8_t {
  float64,
  float32,
  int8,
  uint8,
  int16,
  uint16,
  int32,
  uint32,
  int64,
  uint64,
  boolean,
  enumeration,
  string,
  binary,
  clock
};
inline constexpr std::size_t kVariableTypes = 15;

enum class Causality : std::uint8_t {
  parameter,
  calculatedParameter,
  structuralParameter,
  input,
  output,
  local,
  independent
};

enum class Variability : std::uint8_t { constant, fixed, tunable, discrete, continuous };

enum class Initial : std::uint8_t { none, exact, approx, calculated };

/// The names as they stand in descriptions: "float64" is "Float64", and so on.
[[nodiscard]] VTIO_RUNNER_EXPORT std::string_view nameOf(VariableType type);
[[nodiscard]] VTIO_RUNNER_EXPORT std::string_view nameOf(Causality causality);
[[nodiscard]] VTIO_RUNNER_EXPORT std::string_view nameOf(Variability variability);
/// Empty for none.
[[nodiscard]] VTIO_RUNNER_EXPORT std::string_view nameOf(Initial initial);

/// The class that values of a type are stored and handed over as: logicals for booleans and clocks, int64 for
/// enumerations, texts for strings and binaries.
[[nodiscard]] VTIO_RUNNER_EXPORT results::ElementClass storedClassOf(VariableType type);

/// Bytes of one value as Instance hands it over; 0 for texts and binaries.
[[nodiscard]] VTIO_RUNNER_EXPORT std::size_t bytesOf(VariableType type);

/// When a clock ticks: by its interval, except for a triggered one.
enum class IntervalVariability : std::uint8_t { constant, fixed, tunable, changing, countdown, triggered };

/// What the description says of a clock. Times in seconds.
struct ClockTimes {
  IntervalVariability variability = IntervalVariability::triggered;
  std::optional<double> interval;
  double shift = 0.0;              ///< from the start of the simulation to the first tick
  bool supportsFractions = false;  ///< the FMU gives intervals as fractions as well
};

/// One dimension of an array: a size, or the structural parameter that holds it.
struct Dimension {
  std::uint64_t size = 0;  ///< the start value of the parameter, if there is one
  std::optional<std::uint32_t> parameter;
};

/// One variable. Texts are as in the description; an absent one is empty.
struct Variable {
  std::string name;
  std::string description;
  std::string declaredType;
  std::string unit, displayUnit, quantity;    ///< own ones, else those of the declared type
  std::string min, max, nominal;              ///< likewise
  std::vector<std::string> start;             ///< one text for all elements, or one per element, row-major
  std::vector<Dimension> dimensions;          ///< empty: a scalar
  std::optional<std::size_t> aliasOf;         ///< index of the variable with the same value, declared earlier
  std::optional<std::uint32_t> derivativeOf;  ///< FMI 2: index from 1; FMI 3: value reference
  std::optional<std::uint64_t> maxSize;       ///< of a binary, in bytes
  std::optional<ClockTimes> clock;            ///< of a clock
  std::vector<std::uint32_t> clocks;          ///< value references of the clocks with which it changes; empty: any time
  int enumeration = -1;                       ///< index among the description's enumerations
  std::uint32_t valueReference = 0;
  int line = 0;
  VariableType type = VariableType::float64;
  Causality causality = Causality::local;
  Variability variability = Variability::continuous;
  Initial initial = Initial::none;
  bool relativeQuantity = false;
  bool isIntermediate = false;  ///< FMI 3: may be read within a step
  bool isTuned = false;         ///< a parameter that a table of inputs changes

  /// Elements of an array, 1 for a scalar.
  [[nodiscard]] VTIO_RUNNER_EXPORT std::uint64_t elements() const;

  /// Does not change while a run goes on: constants, and parameters that are not tuned.
  [[nodiscard]] VTIO_RUNNER_EXPORT bool isParameter() const;
};

}  // namespace vtio::runner
