#include "tests/allocation/allocation_counter.hpp"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kDisarmed = std::numeric_limits<std::size_t>::max();

std::size_t allocations = 0;
std::size_t allocatedBytes = 0;
std::ptrdiff_t liveCount = 0;
std::size_t bytesInUse = 0;
std::size_t peakOfBytesInUse = 0;
std::size_t watchedSize = 0;
const void* lastWatched = nullptr;
std::size_t allowedBeforeFailure = kDisarmed;
bool failed = false;

void failIfItIsTime() {
  if (allowedBeforeFailure == 0) {
    allowedBeforeFailure = kDisarmed;
    failed = true;
    throw std::bad_alloc();
  }
  if (allowedBeforeFailure != kDisarmed) {
    --allowedBeforeFailure;
  }
}

void* allocate(std::size_t size) {
  failIfItIsTime();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++allocations;
  ++liveCount;
  allocatedBytes += size;
  bytesInUse += malloc_usable_size(memory);
  peakOfBytesInUse = std::max(peakOfBytesInUse, bytesInUse);
  if (size == watchedSize) {
    lastWatched = memory;
  }
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) {
    --liveCount;
    bytesInUse -= malloc_usable_size(memory);
    std::free(memory);
  }
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace vtio::test {

std::size_t allocationCount() { return allocations; }
std::ptrdiff_t liveAllocations() { return liveCount; }
std::size_t liveBytes() { return bytesInUse; }

AllocationCounter::AllocationCounter() : count_(allocations), bytes_(allocatedBytes), live_(bytesInUse) {
  peakOfBytesInUse = bytesInUse;
}
std::size_t AllocationCounter::count() const { return allocations - count_; }
std::size_t AllocationCounter::bytes() const { return allocatedBytes - bytes_; }
std::size_t AllocationCounter::peakBytes() const { return peakOfBytesInUse - live_; }

FailingAllocation::FailingAllocation(std::size_t allowed) {
  failed = false;
  allowedBeforeFailure = allowed;
}
FailingAllocation::~FailingAllocation() { allowedBeforeFailure = kDisarmed; }
bool FailingAllocation::happened() const { return failed; }

void watchSize(std::size_t size) { watchedSize = size; }
const void* lastOfWatchedSize() { return lastWatched; }

}  // namespace vtio::test
