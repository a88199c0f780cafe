#include "tests/utils/allocation_counter.hpp"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;
std::size_t allocatedBytes = 0;
std::size_t liveBytes = 0;
std::size_t peakOfLiveBytes = 0;
std::size_t watchedSize = 0;
const void* lastWatched = nullptr;

void* allocate(std::size_t size) {
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++allocations;
  allocatedBytes += size;
  liveBytes += malloc_usable_size(memory);
  peakOfLiveBytes = std::max(peakOfLiveBytes, liveBytes);
  if (size == watchedSize) {
    lastWatched = memory;
  }
  return memory;
}

void release(void* memory) {
  if (memory != nullptr) {
    liveBytes -= malloc_usable_size(memory);
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

AllocationCounter::AllocationCounter() : count_(allocations), bytes_(allocatedBytes), live_(liveBytes) {
  peakOfLiveBytes = liveBytes;
}
std::size_t AllocationCounter::count() const { return allocations - count_; }
std::size_t AllocationCounter::bytes() const { return allocatedBytes - bytes_; }
std::size_t AllocationCounter::peakBytes() const { return peakOfLiveBytes - live_; }

void watchSize(std::size_t size) { watchedSize = size; }
const void* lastOfWatchedSize() { return lastWatched; }

}  // namespace vtio::test
