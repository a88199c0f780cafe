/// @file
/// What the status that a function of an FMU returns means.
#pragma once

#include <string>

#include "runner/error.hpp"

namespace vtio::runner {

/// Remembers whether an instance may still be called, and turns a bad status into an error.
class CallStatus final {
 public:
  /// @param status As both versions number it: 0 ok, 1 warning, 2 discard, 3 error, 4 fatal, 5 pending.
  /// @throws RunnerError of status failed for all but ok and warning.
  void check(int status, const char* function) {
    if (status == 0 || status == 1) return;
    fatal_ = fatal_ || status >= 4 || status < 0;
    throw RunnerError(ExitStatus::failed, std::string(function) + " returned " + name(status));
  }

  /// As check(), but false where the FMU discards what it was asked for.
  [[nodiscard]] bool accepted(int status, const char* function) {
    if (status == 2) return false;
    check(status, function);
    return true;
  }

  /// Not even freeing the instance and its states is allowed any more.
  [[nodiscard]] bool isFatal() const { return fatal_; }

 private:
  static std::string name(int status) {
    static constexpr const char* kNames[] = {"ok", "a warning", "discard", "an error", "a fatal error", "pending"};
    return status >= 0 && status < 6 ? kNames[status] : "the unknown status " + std::to_string(status);
  }

  bool fatal_ = false;
};

}  // namespace vtio::runner
