/// @file
/// Values that the user gives to variables by name: NAME=VALUE.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "runner/description/start_values.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

/// A variable and the values that `--set` gives it.
struct Assignment {
  std::size_t variable;
  Values values;
};

/// "; did you mean ...?" for a name that no variable has; empty if none is like it.
[[nodiscard]] std::string nearVariables(const std::string& name, const ModelDescription& model);

/// The variable and the text behind the '='. The longest name wins: names may hold that sign themselves.
/// @param option For the error: the option that was given.
/// @throws RunnerError if there is no '=' or no such variable.
[[nodiscard]] std::pair<std::size_t, std::string> splitAssignment(const std::string& option, const std::string& given,
                                                                  const ModelDescription& model);

/// Reads `--set`. Structural parameters change the dimensions of the model's arrays, and come first.
/// @throws RunnerError for a name, a value or a size that does not fit the model.
[[nodiscard]] VTIO_RUNNER_EXPORT std::vector<Assignment> readAssignments(ModelDescription& model,
                                                                         const std::vector<std::string>& given);

}  // namespace vtio::runner
