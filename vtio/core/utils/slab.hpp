/// @file
/// Memory for objects of one class side by side, in place of the general heap. Not installed.
///
///     class Thing { public: static void* operator new(std::size_t size) { return Slab<Thing>::take(size); } … };
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace vtio::core::utils {

/// Hands out places for objects of one class. Objects that are made one after another are adjacent in memory, which is
/// what a step through thousands of signals needs: otherwise each object is on a page of its own.
///
/// Safe to use from several threads. Places are used again; their memory is given back when the process ends.
template <typename T>
class Slab final {
 public:
  /// @param size Anything but sizeof(T), as for a derived class, is taken from the heap.
  [[nodiscard]] static void* take(std::size_t size) {
    return size == sizeof(T) ? instance().takePlace() : ::operator new(size);
  }

  static void give(void* place, std::size_t size) noexcept {
    if (size == sizeof(T)) {
      instance().givePlace(place);
    } else {
      ::operator delete(place);
    }
  }

 private:
  union Place {
    Place* next;
    alignas(T) std::byte bytes[sizeof(T)];
  };

  static Slab& instance() {
    static auto* slab = new Slab();  // never destroyed: objects may outlive every static object
    return *slab;
  }

  void* takePlace() {
    const std::lock_guard lock(mutex_);
    if (free_ == nullptr) addBlock();
    Place* place = free_;
    free_ = place->next;
    return place;
  }

  void givePlace(void* memory) noexcept {
    const std::lock_guard lock(mutex_);
    auto* place = static_cast<Place*>(memory);
    place->next = free_;
    free_ = place;
  }

  void addBlock() {
    const std::size_t count = std::clamp<std::size_t>(total_, 4, 256);
    blocks_.reserve(blocks_.size() + 1);
    Place* block = blocks_.emplace_back(std::make_unique_for_overwrite<Place[]>(count)).get();
    total_ += count;
    for (std::size_t i = count; i-- > 0;) {
      block[i].next = free_;
      free_ = &block[i];
    }
  }

  std::mutex mutex_;
  Place* free_ = nullptr;
  std::size_t total_ = 0;
  std::vector<std::unique_ptr<Place[]>> blocks_;
};

}  // namespace vtio::core::utils
