/// @file
/// The metadata of a file, block by block, for the checks that come before HDF5 reads it.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "platform/qat/integrity/cursor.hpp"

namespace vtu::qat {

/// What HDF5 is going to do with an object: it goes through more of one that it changes.
enum class Purpose { reading, changing };

/// Reads the bytes of a file, and decides what to do about a wrong checksum.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Size of the file in bytes.
  [[nodiscard]] virtual std::uint64_t size() const = 0;

  /// Reads bytes within size(). @throws Failure
  virtual void read(std::uint64_t address, void* target, std::size_t size) const = 0;

  /// Called when the four bytes at `address` are not the checksum of their structure, which is `right`.
  virtual void wrongChecksum(StructurePlace place, std::uint64_t address, std::uint32_t right) = 0;
};

/// Bytes of the file; what is between the signature and the checksum is to be read.
struct Block {
  StructurePlace place;
  std::vector<unsigned char> bytes;
  std::size_t begin = 0;
  std::size_t end = 0;

  [[nodiscard]] Cursor cursor() const { return {bytes.data() + begin, end - begin, place}; }
};

/// Reads structures, checks their checksums and records the bytes that they take: in a sound file every byte is part of
/// one structure at most. Overlaps are refused, which also bounds the work and the memory of every check by the size of
/// the file. Nothing is claimed before it has been verified, so that damage in one place does not make another one
/// unreadable. Does not own the source.
class Blocks final {
 public:
  static constexpr std::size_t kChecksumBytes = 4;

  explicit Blocks(ByteSource& source) : source_(source) { clear(); }

  [[nodiscard]] std::uint64_t fileSize() const { return fileSize_; }

  /// Reads bytes of the file without any check but that they are there. @throws Failure
  [[nodiscard]] Block read(StructurePlace place, std::uint64_t size) const;

  /// Reads and claims a structure of version 0 that ends with a checksum. @param signature Its first bytes, may be
  /// empty.
  /// @param spare Bytes after the checksum that are part of the structure. @throws Failure
  Block take(StructurePlace place, std::string_view signature, std::uint64_t size, std::uint64_t spare = 0);

  /// Fails unless the last four of the first `size` bytes are the checksum of those before them.
  void verify(const Block& block, std::size_t size);

  /// Fails unless the stored checksum, at `address` in the file, is the right one.
  void verify(StructurePlace place, std::uint64_t address, std::uint32_t stored, std::uint32_t right);

  /// Claims bytes. @throws Failure when they are not in the file or are claimed already
  void claim(StructurePlace place, std::uint64_t size);

  /// Fails unless the bytes are in the file.
  void requireInFile(StructurePlace place, std::uint64_t size) const;

  /// Releases all claims; to be called when the file has changed.
  void clear();

  /// Nothing may be at this address or behind it, however long the file is. Releases all claims.
  void endAt(std::uint64_t address);

 private:
  ByteSource& source_;
  std::uint64_t fileSize_ = 0;
  std::uint64_t end_ = kNoAddress;
  std::map<std::uint64_t, std::uint64_t> claimed_;  // first address, address after the last; adjacent ranges are merged
};

}  // namespace vtu::qat
