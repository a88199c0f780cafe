/// @file
/// Escapes of C string literals, for to_ustring_with_unescape(): not installed.
#pragma once

#include <string_view>

#include "platform/text.hpp"

namespace vtu {

/// Resolves the escapes of C string literals; one that is unknown or unfinished is not changed.
[[nodiscard]] ustring unescapeC(std::u16string_view text);

}  // namespace vtu
