/// @file
/// Foreign text in messages: what controls a terminal is shown as `\xHH`, long texts are cut.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "results/values/number_text.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

using results::numberText;

/// The text for one line of a message.
/// @param longest Characters shown of a longer text: both of its ends with an ellipsis between them.
[[nodiscard]] VTIO_RUNNER_EXPORT std::string printable(std::string_view text, std::size_t longest = 120);

}  // namespace vtio::runner
