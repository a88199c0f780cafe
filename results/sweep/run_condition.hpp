/// @file
/// Conditions on the runs of a sweep.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "results/export.hpp"

namespace vtio::results {

/// `COLUMN OPERATOR VALUE`, blanks around them left out.
struct RunCondition {
  enum class Operator : std::uint8_t { less, lessOrEqual, greater, greaterOrEqual, equal, notEqual };

  std::string column;
  Operator op = Operator::equal;
  std::string value;

  [[nodiscard]] VTIO_RESULTS_EXPORT bool holds(double number, double limit) const;
};

/// Reads a condition. A column's name may itself hold operators: the longest name that fits counts.
/// @param columns The names there are; a column that is none of them is the text before the first operator.
/// @throws ResultsError if there is no operator or nothing before it.
[[nodiscard]] VTIO_RESULTS_EXPORT RunCondition parseCondition(std::string_view text,
                                                              std::span<const std::string> columns);

}  // namespace vtio::results
