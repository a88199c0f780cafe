/// @file
/// Shell patterns over signal names.
#pragma once

#include <string_view>

#include "runner/export.hpp"

namespace vtio::runner {

/// Whether the pattern matches the whole name: `*` stands for any text, `?` for one character of UTF-8, all else,
/// brackets included, for itself. Linear in the name for each `*`.
[[nodiscard]] VTIO_RUNNER_EXPORT bool matches(std::string_view pattern, std::string_view name);

}  // namespace vtio::runner
