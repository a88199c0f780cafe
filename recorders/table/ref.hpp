/// @file
/// Shared ownership with the reference count inside the object; one pointer wide. Thread-safe if `refs` is atomic.
#pragma once

#include <utility>

namespace vtio::recorders {

/// One reference to a T, which is counted in its `refs`. The last one releases the object by `T::destroy(T*)`.
template <typename T>
class Ref final {
 public:
  Ref() = default;

  /// Adds a reference to the object, which may be null.
  explicit Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) ++object_->refs;
  }
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(other.release()) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    // The analyzer does not count references. NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete)
    if (object_ != nullptr && --object_->refs == 0) T::destroy(object_);
  }

  /// Gives the reference to the caller, who must decrement the count.
  [[nodiscard]] T* release() noexcept { return std::exchange(object_, nullptr); }

  [[nodiscard]] T* get() const noexcept { return object_; }
  [[nodiscard]] T* operator->() const noexcept { return object_; }
  [[nodiscard]] T& operator*() const noexcept { return *object_; }
  [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

/// Releases an object without references and then those in the list by `older`, without recursion.
template <typename T>
void destroyChain(T* object) {
  while (object != nullptr) {
    T* next = object->older.release();
    delete object;
    object = next != nullptr && --next->refs == 0 ? next : nullptr;
  }
}

}  // namespace vtio::recorders
