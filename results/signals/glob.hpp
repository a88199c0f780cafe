/// @file
/// Patterns of signal names.
#pragma once

#include <string_view>

#include "results/export.hpp"

namespace vtio::results {

/// Whether a whole name matches a pattern: `*` is any text, `?` one character (of UTF-8); every other character is
/// itself.
[[nodiscard]] VTIO_RESULTS_EXPORT bool matchesGlob(std::string_view pattern, std::string_view name);

}  // namespace vtio::results
