/// @file
/// Ctrl-C and SIGTERM end a run cleanly; the second one ends the program at once.
#pragma once

#include <csignal>

#include "runner/export.hpp"

namespace vtio::runner {

/// Catches SIGINT and SIGTERM while it lives. One inside another knows what the outer one caught. For one thread.
class VTIO_RUNNER_EXPORT InterruptGuard final {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  /// The signal that came; 0 if none did.
  [[nodiscard]] static int received();

 private:
  struct sigaction interrupt_ {};
  struct sigaction terminate_ {};
};

}  // namespace vtio::runner
