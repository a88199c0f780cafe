/// @file
/// What zetLastError() says. Not installed.
#pragma once

#include <string>

namespace mdlref_simtarget {

/// Makes the message of this thread empty.
void clearLastError() noexcept;

/// Makes "FUNCTION: TEXT" the message of this thread.
void noteFailure(const char* function, const std::string& text) noexcept;

/// Makes "FUNCTION: " and what the exception says the message of this thread. To be called in a catch block.
void noteException(const char* function) noexcept;

/// As noteException(), followed by the message that there was before.
void noteExceptionBefore(const char* function) noexcept;

}  // namespace mdlref_simtarget
