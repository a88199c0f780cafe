/// @file
/// A copy of an instance's state that is freed when it goes.
#pragma once

#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// Empty until save(). The instance must outlive it.
class SavedState final {
 public:
  explicit SavedState(Instance& instance) : instance_(instance) {}
  ~SavedState() {
    if (state_ != nullptr) instance_.freeState(state_);
  }
  SavedState(const SavedState&) = delete;
  SavedState& operator=(const SavedState&) = delete;

  /// Copies the state, in place of the one copied before.
  void save() { instance_.getState(state_); }

  /// Puts the copied state back; it stays copied.
  void restore() { instance_.setState(state_); }

 private:
  Instance& instance_;
  void* state_ = nullptr;
};

}  // namespace vtio::runner
