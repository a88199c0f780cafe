#include "tests/runtime/allocation_counter.hpp"

#include <cstdlib>
#include <limits>
#include <new>

namespace vtio::testing {
namespace {

constexpr std::size_t kDisarmed = std::numeric_limits<std::size_t>::max();

std::size_t total = 0;
std::ptrdiff_t live = 0;
std::size_t allowedBeforeFailure = kDisarmed;
bool failed = false;

void* allocate(std::size_t size) {
  if (allowedBeforeFailure == 0) {
    allowedBeforeFailure = kDisarmed;
    failed = true;
    throw std::bad_alloc();
  }
  if (allowedBeforeFailure != kDisarmed) {
    --allowedBeforeFailure;
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++total;
  ++live;
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) {
    --live;
    std::free(memory);
  }
}

}  // namespace

std::size_t allocationCount() { return total; }
std::ptrdiff_t liveAllocations() { return live; }

FailingAllocation::FailingAllocation(std::size_t allowed) {
  failed = false;
  allowedBeforeFailure = allowed;
}
FailingAllocation::~FailingAllocation() { allowedBeforeFailure = kDisarmed; }
bool FailingAllocation::happened() const { return failed; }

}  // namespace vtio::testing

void* operator new(std::size_t size) { return vtio::testing::allocate(size); }
void* operator new[](std::size_t size) { return vtio::testing::allocate(size); }
void operator delete(void* memory) noexcept { vtio::testing::release(memory); }
void operator delete(void* memory, std::size_t) noexcept { vtio::testing::release(memory); }
void operator delete[](void* memory) noexcept { vtio::testing::release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { vtio::testing::release(memory); }
