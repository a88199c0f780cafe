/// @file
/// A dataset of bytes that is written anywhere, and grows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/qat/hdf5.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/stream/disk_guard.hpp"

namespace vtu::qat {

/// Rows of bytes. Writes go straight to the file; what grows must be flushed before readers are told of it. Every
/// function throws Failure.
class ByteRows final {
 public:
  /// Makes the dataset. Borrows the guard.
  /// @param width Bytes of a row; 0: the dataset has one axis only.
  ByteRows(Kit& kit, const DiskGuard& guard, hid_t group, const std::string& name, std::uint64_t width,
           std::uint64_t chunkRows);

  /// Writes bytes [column, column + bytes) of rows [first, first + count), row by row.
  void write(std::uint64_t first, std::uint64_t count, std::uint64_t column, std::uint64_t bytes,
             const std::byte* from);

  /// True if it has grown since this was asked last.
  [[nodiscard]] bool takeGrown();

 private:
  void growTo(std::uint64_t rows);

  const DiskGuard* guard_;
  Handle dataset_;
  std::uint64_t width_;
  std::uint64_t chunkRows_;
  std::uint64_t extent_ = 0;
  bool hasGrown_ = false;
};

}  // namespace vtu::qat
