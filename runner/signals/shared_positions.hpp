/// @file
/// Leaf positions of variables that are aliases of one another.
#pragma once

#include <cstddef>
#include <unordered_map>

#include "recorders/memory/memory_recorder.hpp"

namespace vtio::runner {

/// Lets the positions of aliases share the samples of the first one, where both keep the same ones.
class SharedPositions final {
 public:
  /// @param values Where the values of the variable are: aliases have one place.
  /// @param recorder Of the signal; null: it is not recorded.
  /// @param count Positions of the variable from `position` on.
  /// @return True if the positions share samples: they are not to be updated.
  bool share(const void* values, recorders::MemoryRecorder* recorder, std::size_t position, std::size_t count) {
    if (recorder == nullptr) return false;
    const auto [first, isFirst] = firsts_.try_emplace(values, Place{recorder, position});
    if (isFirst || !keepsTheSame(*recorder, *first->second.recorder)) return false;
    for (std::size_t i = 0; i < count; ++i) {
      recorder->shareSamples(position + i, *first->second.recorder, first->second.position + i);
    }
    return true;
  }

 private:
  struct Place {
    recorders::MemoryRecorder* recorder;
    std::size_t position;
  };

  // A logging selection may choose other samples for each signal.
  static bool keepsTheSame(const recorders::MemoryRecorder& one, const recorders::MemoryRecorder& other) {
    const core::utils::SignalDescriptor& a = one.signalDescriptor();
    const core::utils::SignalDescriptor& b = other.signalDescriptor();
    return a.decimation() == b.decimation() && a.maxPoints() == b.maxPoints();
  }

  std::unordered_map<const void*, Place> firsts_;
};

}  // namespace vtio::runner
