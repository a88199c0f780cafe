/// @file
/// The first bytes of a Qat file, read and mended without HDF5.
///
/// HDF5 marks a file as open for writing in its superblock and refuses readers while the mark stands. A program that is
/// killed, or that gives up on a full disk, leaves the mark behind. Readers see past it (driver.hpp); who changes the file
/// takes it off.
#pragma once

#include <array>
#include <cstdint>

#include "platform/qat/file_bytes.hpp"

namespace vtu::qat {

inline constexpr std::size_t kSuperblockBytes = 48;
using SuperblockBytes = std::array<unsigned char, kSuperblockBytes>;

/// What the superblock of an HDF5 file says. Only the checksummed versions 2 and 3 are taken.
struct Superblock {
  std::uint8_t flags = 0;         ///< bit 0: open for writing; bit 2: with concurrent readers
  std::uint64_t rootAddress = 0;  ///< address of the root group's object header

  [[nodiscard]] bool markedAsOpen() const { return flags != 0; }
  [[nodiscard]] bool markedAsStreamed() const { return (flags & 4U) != 0; }
};

/// Reads and checks the superblock of an open file.
/// @throws Failure when there is none, a field is wrong, or a file that is not marked as open promises more bytes than it has.
[[nodiscard]] Superblock readSuperblock(const FileBytes& file);

/// Makes these bytes the superblock of a closed file: takes the open mark off and seals it again.
/// @param endOfFile The End of File Address; 0 leaves it as it is.
void closeSuperblock(SuperblockBytes& bytes, std::uint64_t endOfFile);

/// Takes the open mark off and, with `useWholeFile`, makes the end of the file the End of File Address.
/// @return false when the superblock cannot be read or written.
[[nodiscard]] bool clearOpenMark(int descriptor, bool useWholeFile);

}  // namespace vtu::qat
