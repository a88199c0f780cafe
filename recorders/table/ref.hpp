/// @file
/// Shared ownership counted inside the object; one pointer wide and not synchronised.
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
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr && --object_->refs == 0) T::destroy(object_);
  }

  [[nodiscard]] T* get() const noexcept { return object_; }
  [[nodiscard]] T* operator->() const noexcept { return object_; }
  [[nodiscard]] T& operator*() const noexcept { return *object_; }
  [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace vtio::recorders
