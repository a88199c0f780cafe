#include "vtio/mdlref_simtarget/last_error.hpp"

#include <exception>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace mdlref_simtarget {
namespace {

thread_local std::string lastError;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): one per thread

// The diagnostic of a file that cannot be opened names the file alone; the Qat layer has the cause.
std::string textOf(const vtsv::IException& error) {
  const bool hasCause = error.diagnostic().key == "ToFromFileOpenCloseErr" && *qatLastError() != '\0';
  return hasCause ? std::string(error.what()) + " (" + qatLastError() + ")" : error.what();
}

std::string textOfCurrentException() {
  try {
    throw;
  } catch (const vtsv::IException& error) {
    return textOf(error);
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown error";
  }
}

}  // namespace

void clearLastError() noexcept { lastError.clear(); }

void noteFailure(const char* function, const std::string& text) noexcept {
  try {
    lastError.assign(function).append(": ").append(text);
  } catch (...) {
    lastError = "out of memory";  // fits into the string object
  }
}

void noteException(const char* function) noexcept {
  try {
    noteFailure(function, textOfCurrentException());
  } catch (...) {
    lastError = "out of memory";
  }
}

void noteExceptionBefore(const char* function) noexcept {
  try {
    const std::string before = std::exchange(lastError, {});
    noteFailure(function, textOfCurrentException() + (before.empty() ? "" : "; before that, " + before));
  } catch (...) {
    lastError = "out of memory";
  }
}

extern "C" const char* zetLastError(void) { return lastError.c_str(); }

}  // namespace mdlref_simtarget
