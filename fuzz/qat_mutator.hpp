/// @file
/// Changes Qat files where it matters: within the metadata that is read, with checksums that are right again
/// afterwards, so that damage gets past them to the checks of values.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/qat/integrity/blocks.hpp"

namespace vtio::fuzz {

/// A file in memory. Records which bytes have been read, and corrects wrong checksums.
class RepairingSource final : public vtu::qat::ByteSource {
 public:
  struct Range {
    std::uint64_t address, size;
  };

  RepairingSource(std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  void read(std::uint64_t address, void* target, std::size_t size) const override;
  void wrongChecksum(vtu::qat::StructurePlace place, std::uint64_t address, std::uint32_t right) override;

  /// Reads everything that can be found, and corrects the checksums.
  void visitAll();

  [[nodiscard]] const std::vector<Range>& ranges() const { return ranges_; }

 private:
  std::uint8_t* data_;
  std::size_t size_;
  mutable std::vector<Range> ranges_;
};

}  // namespace vtio::fuzz
