#include "recorders/stream/last_error.hpp"

namespace vtio::recorders {
namespace {

thread_local std::string last;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): one per thread

}  // namespace

const std::string& lastError() noexcept { return last; }

void setLastError(const std::string& text) noexcept {
  try {
    last = text;
  } catch (...) {
    last.clear();
  }
}

}  // namespace vtio::recorders
