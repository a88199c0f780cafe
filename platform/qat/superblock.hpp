/// @file
/// The first bytes of a Qat file, read and mended without HDF5.
///
/// HDF5 marks a file as open for writing in its superblock and refuses the next reader while the mark stands. A program
/// that is killed, or that gives up on a full disk, leaves the mark behind; here it is taken off.
#pragma once

#include <cstdint>
#include <string>

#include "platform/qat/checksum.hpp"

namespace vtu::qat {

/// What the superblock of an HDF5 file says. Only the checksummed versions 2 and 3 are taken.
struct Superblock {
  std::uint8_t version = 0;
  std::uint8_t flags = 0;         ///< bit 0: open for writing; bit 2: with concurrent readers
  std::uint64_t extension = 0;    ///< address of the header with what else there is to say; all ones if nothing
  std::uint64_t endOfFile = 0;    ///< address behind the last byte that belongs to the file
  std::uint64_t rootAddress = 0;  ///< address of the root group's object header

  [[nodiscard]] bool markedAsOpen() const { return flags != 0; }

  /// Whoever writes it, or died while doing so, did it such that others may read.
  [[nodiscard]] bool letsReadersIn() const { return (flags & 5U) == 5U; }
};

/// Reads and checks the superblock of an open file.
/// @throws Failure when there is none, its version or checksum is wrong, or a file that is not marked as open promises more
/// bytes than it has.
[[nodiscard]] Superblock readSuperblock(int descriptor, std::uint64_t fileSize);

/// Takes the open mark off and, with `useWholeFile`, makes the end of the file the address end.
/// @return false when the superblock cannot be read or written.
[[nodiscard]] bool clearOpenMark(int descriptor, bool useWholeFile);

}  // namespace vtu::qat
