/// @file
/// The last error of a thread, for C. Not installed.
#pragma once

#include <string>

namespace vtio::recorders {

/// What the last failure on this thread says. Valid until the next one.
[[nodiscard]] const std::string& lastError() noexcept;

/// Sets it; empty if there is no memory for the text.
void setLastError(const std::string& text) noexcept;

}  // namespace vtio::recorders
