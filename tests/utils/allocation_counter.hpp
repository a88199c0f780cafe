/// @file
/// Counts what the whole program takes from the heap with operator new. Link allocation_counter.cpp into the program.
#pragma once

#include <cstddef>

namespace vtio::test {

/// Allocations since this object was made; of several objects the last one made has the right peak.
class AllocationCounter {
 public:
  AllocationCounter();
  [[nodiscard]] std::size_t count() const;
  [[nodiscard]] std::size_t bytes() const;
  /// The most bytes that were in use at one time, above those in use when this object was made.
  [[nodiscard]] std::size_t peakBytes() const;

 private:
  std::size_t count_;
  std::size_t bytes_;
  std::size_t live_;
};

/// Where the last allocation of exactly `size` bytes was placed; remembered for the size given to watchSize() only.
void watchSize(std::size_t size);
const void* lastOfWatchedSize();

}  // namespace vtio::test
