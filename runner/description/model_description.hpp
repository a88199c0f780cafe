/// @file
/// What an FMU says of itself in modelDescription.xml.
///
///     Mistakes mistakes;
///     ModelDescription model = readModelDescription(archive.read("modelDescription.xml"), mistakes);
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "runner/description/mistakes.hpp"
#include "runner/description/variable.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

enum class FmiVersion : std::uint8_t { fmi2, fmi3 };

/// Ways in which an FMU may be run.
enum class Kind : std::uint8_t { coSimulation, modelExchange, scheduledExecution };

/// One way, with the attributes of its element as they stand there.
struct Interface {
  Kind kind = Kind::coSimulation;
  std::string modelIdentifier;
  std::vector<std::pair<std::string, std::string>> attributes;

  /// A flag; false if it is absent. Both spellings of FMI 2 and FMI 3 count: canGetAndSetFMUstate, …FMUState.
  [[nodiscard]] VTIO_RUNNER_EXPORT bool flag(std::string_view attribute) const;
};

/// A named set of values.
struct Enumeration {
  std::string name;
  std::vector<std::pair<std::string, std::int64_t>> items;
};

/// Times in seconds; what is absent stays empty.
struct DefaultExperiment {
  std::optional<double> start, stop, tolerance, step;
};

struct ModelDescription {
  FmiVersion version = FmiVersion::fmi2;
  std::string fmiVersion;  ///< as it stands
  std::string modelName, description, generationTool;
  std::string instantiationToken;  ///< the guid of FMI 2
  bool structuredNames = false;
  std::uint64_t eventIndicators = 0;  ///< FMI 2: as stated; FMI 3: those listed, elements counted once
  std::vector<Interface> interfaces;
  std::vector<std::string> units;
  std::vector<std::string> logCategories;
  std::vector<Enumeration> enumerations;
  DefaultExperiment experiment;
  std::vector<Variable> variables;       ///< in declared order, FMI 3 aliases behind their variable
  std::vector<std::size_t> derivatives;  ///< indices of the derivatives of continuous states, in state order

  [[nodiscard]] VTIO_RUNNER_EXPORT const Interface* find(Kind kind) const;

  /// The first variable of that name; null if there is none. Linear in the number of variables.
  [[nodiscard]] VTIO_RUNNER_EXPORT const Variable* find(std::string_view name) const;
};

/// Reads and checks a description. Mistakes are collected; what they touch keeps a default.
/// @param xml UTF-8.
/// @throws RunnerError for what is no description at all: not XML, with a DOCTYPE, of another root element or version.
[[nodiscard]] VTIO_RUNNER_EXPORT ModelDescription readModelDescription(std::string xml, Mistakes& mistakes);

}  // namespace vtio::runner
