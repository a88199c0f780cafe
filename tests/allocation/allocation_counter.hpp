/// @file
/// Counts what the whole program takes from the heap with operator new, and can make one allocation fail. For sources
/// of allocation_test only.
#pragma once

#include <cstddef>

namespace vtio::test {

/// Allocations since the program started.
std::size_t allocationCount();

/// Allocations that have not been released yet.
std::ptrdiff_t liveAllocations();

/// Bytes that the allocator set aside for them, its rounding included.
std::size_t liveBytes();

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

/// Lets exactly one allocation throw std::bad_alloc: the one after the next `allowed`. Disarmed when it is destroyed.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t allowed);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  /// Whether that allocation has been reached.
  bool happened() const;
};

/// Where the last allocation of exactly `size` bytes was placed; recorded for the size given to watchSize() only.
void watchSize(std::size_t size);
const void* lastOfWatchedSize();

}  // namespace vtio::test
