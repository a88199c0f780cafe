/// @file
/// Reads and writes at addresses of an open Qat file, without HDF5.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/qat/hdf5.hpp"
#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// The bytes of a file, for the checks too: a wrong checksum is a Failure. Does not own the descriptor.
class FileBytes final : public ByteSource {
 public:
  explicit FileBytes(int descriptor) : descriptor_(descriptor) {}

  [[nodiscard]] int descriptor() const { return descriptor_; }

  /// Current size in bytes. @throws Failure when the system cannot tell it.
  [[nodiscard]] std::uint64_t size() const override;

  /// Reads exactly `size` bytes. @throws Failure when the file ends before or cannot be read.
  void read(std::uint64_t address, void* target, std::size_t size) const override;

  /// Writes all bytes. @throws Failure with the system's message, for example when the disk is full.
  void write(std::uint64_t address, const void* source, std::size_t size) const;

  void wrongChecksum(StructurePlace place, std::uint64_t address, std::uint32_t right) override;

 private:
  int descriptor_;
};

}  // namespace vtu::qat
