/// @file
/// HDF5 metadata under construction, byte by byte. Related: object_image.hpp, link_index_image.hpp.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/qat/checksum.hpp"

namespace vtu::qat {

/// A growing sequence of bytes. Numbers are little-endian.
class ByteImage final {
 public:
  static_assert(std::endian::native == std::endian::little, "numbers are copied as they stand in memory");

  [[nodiscard]] std::size_t size() const { return bytes_.size(); }
  [[nodiscard]] const std::byte* data() const { return bytes_.data(); }

  void reserve(std::size_t size) { bytes_.reserve(size); }

  template <typename Number>
  void put(Number value) {
    static_assert(std::is_integral_v<Number>);
    append(&value, sizeof value);
  }

  /// The lowest `size` bytes of a number.
  void putSized(std::uint64_t value, std::size_t size) { append(&value, size); }

  void putText(std::string_view text) { append(text.data(), text.size()); }
  void putBytes(std::span<const std::byte> bytes) { append(bytes.data(), bytes.size()); }
  void putZeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }

  /// Appends the checksum of everything from `start` on.
  void seal(std::size_t start) { put(checksumFrom(start)); }

  /// Puts the checksum of everything from `start` on into the four zeros at `at`.
  void sealInside(std::size_t start, std::size_t at) {
    const std::uint32_t sum = checksumFrom(start);
    std::memcpy(bytes_.data() + at, &sum, sizeof sum);
  }

 private:
  void append(const void* source, std::size_t size) {
    const auto* from = static_cast<const std::byte*>(source);
    bytes_.insert(bytes_.end(), from, from + size);
  }

  [[nodiscard]] std::uint32_t checksumFrom(std::size_t start) const {
    return metadataChecksum(reinterpret_cast<const unsigned char*>(bytes_.data()) + start, bytes_.size() - start);
  }

  std::vector<std::byte> bytes_;
};

}  // namespace vtu::qat
