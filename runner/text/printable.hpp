/// @file
/// Foreign text in messages: what controls a terminal is shown as `\xHH`, long texts are cut.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "runner/export.hpp"

namespace vtio::runner {

/// The text for one line of a message.
/// @param longest Bytes shown of a longer text, from both of its ends with "..." between them.
[[nodiscard]] VTIO_RUNNER_EXPORT std::string printable(std::string_view text, std::size_t longest = 120);

/// The number in its shortest form that reads back as the same.
[[nodiscard]] VTIO_RUNNER_EXPORT std::string numberText(double value);

}  // namespace vtio::runner
