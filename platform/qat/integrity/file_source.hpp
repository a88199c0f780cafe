/// @file
/// The bytes of an open file as the checks read them.
#pragma once

#include "platform/qat/failure.hpp"
#include "platform/qat/file_bytes.hpp"
#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// Reads through a descriptor that somebody else keeps. A wrong checksum is a Failure.
class FileSource final : public ByteSource {
 public:
  explicit FileSource(FileBytes bytes) : bytes_(bytes), size_(bytes.size()) {}

  /// Reads through this descriptor from now on, as far as the file reaches now.
  void use(FileBytes bytes) {
    bytes_ = bytes;
    size_ = bytes.size();
  }

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  void read(std::uint64_t address, void* target, std::size_t size) const override {
    bytes_.read(address, target, size);
  }
  void wrongChecksum(StructurePlace place, std::uint64_t, std::uint32_t) override {
    throw Failure(kDamaged, inWords(place) + ": its checksum is wrong");
  }

 private:
  FileBytes bytes_;
  std::uint64_t size_;
};

}  // namespace vtu::qat
