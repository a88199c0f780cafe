/// @file
/// A sequence of values as bytes, for the other end of a channel on the same machine.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "runner/error.hpp"

namespace vtio::runner {

/// Values are taken in the order in which they were put. No types are kept: both ends agree on them.
class Parcel final {
 public:
  void clear() {
    bytes_.clear();
    at_ = 0;
  }

  template <typename T>
  void put(T value) {
    static_assert(std::is_trivially_copyable_v<T>);
    append(&value, sizeof value);
  }

  void putText(std::string_view text) {
    put(text.size());
    append(text.data(), text.size());
  }

  template <typename T>
  void putArray(std::span<const T> values) {
    static_assert(std::is_trivially_copyable_v<T>);
    put(values.size());
    append(values.data(), values.size_bytes());
  }

  /// @throws RunnerError of status failed, as all operations that take, if the parcel does not hold so much.
  template <typename T>
  [[nodiscard]] T take() {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    std::memcpy(&value, next(sizeof value), sizeof value);
    return value;
  }

  /// Valid until the parcel changes.
  [[nodiscard]] std::string_view takeText() {
    const auto size = take<std::size_t>();
    return {reinterpret_cast<const char*>(next(size)), size};
  }

  template <typename T>
  void takeArray(std::vector<T>& values) {
    static_assert(std::is_trivially_copyable_v<T>);
    const auto size = take<std::size_t>();
    if (size > left() / sizeof(T)) refuse();
    values.resize(size);
    takeInto(values.data(), size * sizeof(T));
  }

  void takeInto(void* values, std::size_t bytes) {
    const std::byte* source = next(bytes);
    if (bytes > 0) std::memcpy(values, source, bytes);
  }

  void append(const void* data, std::size_t bytes) {
    if (bytes == 0) return;
    const std::size_t before = bytes_.size();
    bytes_.resize(before + bytes);
    std::memcpy(bytes_.data() + before, data, bytes);
  }

  [[nodiscard]] std::span<const std::byte> bytes() const { return bytes_; }

  /// For what was taken and does not fit together.
  [[noreturn]] static void refuse() {
    throw RunnerError(ExitStatus::failed, "the process of the FMU sent a damaged answer");
  }

 private:
  [[nodiscard]] std::size_t left() const { return bytes_.size() - at_; }

  [[nodiscard]] const std::byte* next(std::size_t bytes) {
    if (bytes > left()) refuse();
    const std::byte* found = bytes_.data() + at_;
    at_ += bytes;
    return found;
  }

  std::vector<std::byte> bytes_;
  std::size_t at_ = 0;
};

}  // namespace vtio::runner
