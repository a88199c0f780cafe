/// @file
/// Writes values of many arrays, which stand one after another in the file, with few system calls and without a copy.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/file_bytes.hpp"

namespace vtu::qat {

/// Collects pieces of memory that are to be written, and writes them a few megabytes at a time.
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
  std::vector<iovec> pieces_;
  std::uint64_t address_ = 0;  // of the first piece
  std::uint64_t size_ = 0;     // of all pieces
};

}  // namespace vtu::qat
