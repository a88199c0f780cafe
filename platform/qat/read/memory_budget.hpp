/// @file
/// A bound on the memory that reading may take.
#pragma once

#include <cstdint>
#include <string>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

/// Memory of an array in addition to its values.
inline constexpr std::uint64_t kArrayBytes = 320;

/// What an object and an attribute of a file count, with which time is bounded, too.
inline constexpr std::uint64_t kObjectBytes = 2048;
inline constexpr std::uint64_t kAttributeBytes = 1024;

/// How much memory one read may take: in proportion to the file, so that a small file cannot use much.
class MemoryBudget final {
 public:
  explicit MemoryBudget(std::uint64_t fileSize) : left_(kAlways + fileSize * kBytesPerFileByte) {}

  /// Reserves `count` times `each` bytes. @throws Failure if the budget is exceeded.
  void take(std::uint64_t count, std::uint64_t each) {
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(count, each, &bytes) || bytes > left_) {
      throw Failure(kDamaged, std::to_string(count) + " times " + std::to_string(each) +
                                  " bytes of memory are more than a file of this size may ask for");
    }
    left_ -= bytes;
  }

  /// The same for memory that is released soon: nothing stays reserved.
  void require(std::uint64_t count, std::uint64_t each) const { MemoryBudget(*this).take(count, each); }

 private:
  static constexpr std::uint64_t kAlways = std::uint64_t{256} << 20U;
  static constexpr std::uint64_t kBytesPerFileByte = 512;  // deflated values of many like rows are that small

  std::uint64_t left_;
};

}  // namespace vtu::qat
