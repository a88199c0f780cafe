/// @file
/// Values of variables as texts: start values, `--set`, cells of a table.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "runner/description/model_description.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

/// Values of one variable, row-major, in the form in which Instance takes them.
struct Values {
  std::vector<std::byte> numbers;  ///< of every type but string and binary, bytesOf() each
  std::vector<std::string> texts;  ///< of string: UTF-8; of binary: the bytes
};

/// Whether the text is a value of the type; of a binary: hexadecimal.
[[nodiscard]] VTIO_RUNNER_EXPORT bool isValue(std::string_view text, VariableType type);

/// The values that a text gives to a variable. The elements of an array are separated by blanks; one value is given to
/// all of them. An enumeration takes labels, too.
/// @throws RunnerError with the variable and the text: no value of the type, outside min and max, another number of
///   elements.
[[nodiscard]] VTIO_RUNNER_EXPORT Values parseValues(std::string_view text, const Variable& variable,
                                                    const ModelDescription& model);

}  // namespace vtio::runner
