/// @file
/// Char rows as text: which char arrays a file can keep as UTF-8, and the conversion in both directions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/qalc_internal.hpp"

namespace vtu::qat {

/// The UTF-8 text of a 1-by-N char array of valid UTF-16 without NUL; empty for any other array, null included.
[[nodiscard]] std::optional<std::string> textOfRow(const qxArray* array);

/// A 1-by-N char array. Malformed UTF-8 becomes U+FFFD.
[[nodiscard]] qalc::ArrayPtr rowOfText(std::string_view utf8);

}  // namespace vtu::qat
