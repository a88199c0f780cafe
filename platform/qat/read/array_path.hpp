/// @file
/// Following a path of field names and cell numbers through an array in memory.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"

namespace vtu::qat {

/// The number in a step of a path; empty for any other text.
[[nodiscard]] std::optional<std::size_t> numberOfStep(const std::string& step);

/// Throws the Failure for a step of a path that does not exist.
[[noreturn]] void failAtStep(const std::string& step, const std::string& why);

/// The value at a path below a value; see qatGetPart(). @param value May be null. @throws Failure
[[nodiscard]] qalc::ArrayPtr partOf(const qxArray* value, std::span<const std::string> path);

/// The value at a path below values that are one field of n cells: a number selects one, a name enters all.
[[nodiscard]] qalc::ArrayPtr partOfAll(const std::vector<const qxArray*>& values, std::span<const std::string> path);

}  // namespace vtu::qat
