/// @file
/// Turns the bytes that a fuzzer is given into choices: see tree_model.hpp for what is made of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vtio::fuzz {

/// Reads from the front of the bytes; past their end everything reads as zero.
class ByteReader final {
 public:
  explicit ByteReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool exhausted() const { return position_ >= bytes_.size(); }

  std::uint8_t byte() { return exhausted() ? std::uint8_t{0} : bytes_[position_++]; }

  /// A number in [0, bound), bound > 0.
  unsigned below(unsigned bound) { return byte() % bound; }

  std::uint32_t word() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      value = (value << 8) | byte();
    }
    return value;
  }

  /// Up to `longest` bytes after one length byte; ends early at a zero byte, as C text does.
  std::string text(unsigned longest) {
    std::string result;
    for (unsigned n = below(longest + 1); n > 0; --n) {
      const std::uint8_t next = byte();
      if (next == 0) {
        break;
      }
      result.push_back(static_cast<char>(next));
    }
    return result;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

}  // namespace vtio::fuzz
