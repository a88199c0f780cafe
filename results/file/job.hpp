/// @file
/// Long work: how far it is, and whether the user wants it to end.
#pragma once

#include <atomic>
#include <exception>
#include <functional>

namespace vtio::results {

/// Thrown where work stops because the user asked for it.
class Interrupted : public std::exception {
 public:
  [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }
};

/// Handed to long work, which calls step() some times a second. By default progress is not reported and nothing
/// interrupts.
struct Job {
  std::function<void(double)> progress;            ///< gets the done part, 0 to 1; may be empty
  const std::atomic<bool>* interrupted = nullptr;  ///< set by whoever interrupts; may be null

  /// @throws Interrupted if that was asked for.
  void step(double done) const {
    if (interrupted != nullptr && interrupted->load(std::memory_order_relaxed)) throw Interrupted();
    if (progress) progress(done);
  }
};

}  // namespace vtio::results
