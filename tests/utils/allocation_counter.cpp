#include "tests/utils/allocation_counter.hpp"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;
std::size_t allocatedBytes = 0;
std::size_t watchedSize = 0;
const void* lastWatched = nullptr;

void* allocate(std::size_t size) {
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++allocations;
  allocatedBytes += size;
  if (size == watchedSize) {
    lastWatched = memory;
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace vtio::test {

AllocationCounter::AllocationCounter() : count_(allocations), bytes_(allocatedBytes) {}
std::size_t AllocationCounter::count() const { return allocations - count_; }
std::size_t AllocationCounter::bytes() const { return allocatedBytes - bytes_; }

void watchSize(std::size_t size) { watchedSize = size; }
const void* lastOfWatchedSize() { return lastWatched; }

}  // namespace vtio::test
