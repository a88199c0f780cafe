/// @file
/// Writes values of many arrays, which stand one after another in the file, with few system calls.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/qalc_internal.hpp"
#include "platform/qat/file_bytes.hpp"

namespace vtu::qat {

/// Collects small pieces of memory in a buffer that stays in the cache, and writes a megabyte at a time; large pieces go to
/// the file as they are.
class GatheredWrite final {
 public:
  explicit GatheredWrite(const FileBytes& bytes) : bytes_(bytes) {}

  /// Adds the values of a numeric or logical array in row-major order. The array must stay as it is until finish().
  void addValues(std::uint64_t address, const qxArray& array);

  /// Writes what is left.
  void finish();

 private:
  void add(std::uint64_t address, const void* data, std::size_t size);

  FileBytes bytes_;
  std::unique_ptr<std::byte[]> buffer_;
  std::uint64_t address_ = 0;  // of what is in the buffer
  std::size_t size_ = 0;       // of it
};

}  // namespace vtu::qat
