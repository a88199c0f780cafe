/// @file
/// The bytes of an open file as the checks read them.
#pragma once

#include <vector>

#include "platform/qat/file_bytes.hpp"
#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// Reads through a descriptor that somebody else keeps. A wrong checksum is a Failure. Objects that belong together mostly
/// stand side by side: small reads are served from the stretch that was read last.
class FileSource final : public ByteSource {
 public:
  explicit FileSource(FileBytes bytes) : bytes_(bytes), size_(bytes.size()) {}

  /// Reads through this descriptor from now on, and what the file holds now.
  void use(FileBytes bytes);

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  void read(std::uint64_t address, void* target, std::size_t size) const override;
  void wrongChecksum(StructurePlace place, std::uint64_t address, std::uint32_t right) override;

 private:
  FileBytes bytes_;
  std::uint64_t size_;
  mutable std::vector<unsigned char> stretch_;
  mutable std::uint64_t stretchAt_ = 0;
};

}  // namespace vtu::qat
