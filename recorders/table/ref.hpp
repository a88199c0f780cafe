/// @file
/// Shared ownership counted inside the object; one pointer wide. Safe across threads if `refs` is atomic.
#pragma once

#include <utility>

namespace vtio::recorders {

/// Holds one share of a T, which counts its shares in `refs` and is released by `T::destroy(T*)` with the last one.
template <typename T>
class Ref final {
 public:
  Ref() = default;

  /// Takes one more share of the object, which may be null.
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
    if (object_ != nullptr && --object_->refs == 0) T::destroy(object_);
  }

  /// Hands the share over to the caller, who counts it down.
  [[nodiscard]] T* release() noexcept { return std::exchange(object_, nullptr); }

  [[nodiscard]] T* get() const noexcept { return object_; }
  [[nodiscard]] T* operator->() const noexcept { return object_; }
  [[nodiscard]] T& operator*() const noexcept { return *object_; }
  [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

/// Releases an object whose last share is gone and what it leads to by `older`, however long that chain is.
template <typename T>
void destroyChain(T* object) {
  while (object != nullptr) {
    T* next = object->older.release();
    delete object;
    object = next != nullptr && --next->refs == 0 ? next : nullptr;
  }
}

}  // namespace vtio::recorders
