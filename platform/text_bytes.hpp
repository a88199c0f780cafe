/// @file
/// Text as bytes without loss: UTF-8 in which an unpaired surrogate takes its three-byte form.
///
/// Unlike to_string() and to_ustring() of text.hpp, the two functions are inverse to each other for every text.
#pragma once

#include <string>
#include <string_view>

#include "platform/export.hpp"

namespace vtu {

/// Appends the bytes of a text. Allocates only if `bytes` has to grow.
VTIO_PLATFORM_EXPORT void appendTextBytes(std::u16string_view text, std::string& bytes);

/// The text of such bytes. Each malformed byte becomes one U+FFFD.
[[nodiscard]] VTIO_PLATFORM_EXPORT std::u16string textFromBytes(std::string_view bytes);

}  // namespace vtu
