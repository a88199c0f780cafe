/// @file
/// The metadata of a file, block by block, for the checks that come before HDF5 reads it.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "platform/qat/integrity/cursor.hpp"

namespace vtu::qat {

/// Where the bytes of a file come from, and what happens to a block whose checksum is wrong.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Size of the file in bytes.
  [[nodiscard]] virtual std::uint64_t size() const = 0;

  /// Reads bytes that lie within size(). @throws Failure
  virtual void read(std::uint64_t address, void* target, std::size_t size) const = 0;

  /// Told that the four bytes at `address` are not the checksum of their structure, which would be `right`.
  virtual void wrongChecksum(StructurePlace place, std::uint64_t address, std::uint32_t right) = 0;
};

/// Bytes of the file with the address of the first.
struct Block {
  StructurePlace place;
  std::vector<unsigned char> bytes;

  [[nodiscard]] Cursor cursor() const { return {bytes.data(), bytes.size(), place}; }
};

/// Hands out blocks and keeps account of them: in a sound file every byte belongs to one structure at most. A structure
/// that is used twice, or structures that together are larger than the file, are refused, which also bounds the work and
/// the memory of every check. Borrows the source.
class Blocks final {
 public:
  explicit Blocks(ByteSource& source) : source_(source) {}

  [[nodiscard]] std::uint64_t fileSize() const { return source_.size(); }
  [[nodiscard]] ByteSource& source() const { return source_; }

  /// Reads a structure and enters it into the account. @throws Failure when it is not in the file or used already.
  Block take(StructurePlace place, std::uint64_t size);

  /// Reads at most `size` bytes without entering them; fewer where the file ends.
  [[nodiscard]] Block peek(StructurePlace place, std::size_t size) const;

  /// Enters a structure without reading it.
  void claim(StructurePlace place, std::uint64_t size);

  /// Enters the elements of a dataset, or some of them. Where they begin is not remembered, there may be millions.
  void claimData(StructurePlace place, std::uint64_t size);

  /// Checks the four bytes at `checksumAt`, the checksum of all before them.
  void verify(const Block& block, std::size_t checksumAt);

  /// Checks a stored checksum against the right one.
  void verify(StructurePlace place, std::uint64_t checksumAddress, std::uint32_t stored, std::uint32_t right);

  /// Fails unless the bytes lie in the file.
  void requireInFile(StructurePlace place, std::uint64_t size) const;

  /// Forgets what has been used; to be called when the file has changed.
  void clear();

 private:
  ByteSource& source_;
  std::unordered_set<std::uint64_t> used_;
  std::uint64_t total_ = 0;
};

}  // namespace vtu::qat
