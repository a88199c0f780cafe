/// @file
/// Counts what the whole program takes from the heap, and can make one allocation fail.
#pragma once

#include <cstddef>

namespace vtio::testing {

/// Allocations through operator new since the program started.
std::size_t allocationCount();

/// Allocations through operator new that have not been released yet.
std::ptrdiff_t liveAllocations();

/// Lets exactly one allocation throw std::bad_alloc: the one after the next `allowed`. Disarmed when it goes.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t allowed);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  /// Whether that allocation has been reached.
  bool happened() const;
};

}  // namespace vtio::testing
