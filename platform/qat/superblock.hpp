/// @file
/// The first bytes of a Qat file, read and repaired without HDF5.
///
/// HDF5 marks a file as open for writing in its superblock and refuses readers while the mark is set. A program that
/// is killed, or that abandons the file on a full disk, leaves the mark set. Readers ignore it (driver.hpp); a writer
/// clears it.
#pragma once

#include <array>
#include <cstdint>

#include "platform/qat/file_bytes.hpp"

namespace vtu::qat {

inline constexpr std::size_t kSuperblockBytes = 48;
using SuperblockBytes = std::array<unsigned char, kSuperblockBytes>;

/// The superblock of an HDF5 file. Only the versions with a checksum, 2 and 3, are accepted.
struct Superblock {
  std::uint8_t flags = 0;         ///< bit 0: open for writing; bit 2: with concurrent readers
  std::uint64_t endOfFile = 0;    ///< End of File Address; right only in a file that is not marked as open
  std::uint64_t rootAddress = 0;  ///< address of the root group's object header

  [[nodiscard]] bool markedAsOpen() const { return flags != 0; }
  [[nodiscard]] bool markedAsStreamed() const { return (flags & 4U) != 0; }
};

/// Reads and checks the superblock of an open file.
/// @throws Failure when there is none, a field is wrong, or a file that is not marked as open is shorter than its End
/// of File Address.
[[nodiscard]] Superblock readSuperblock(const FileBytes& file);

/// Makes these bytes the superblock of a closed file: clears the open mark and updates the checksum.
/// @param endOfFile The End of File Address; 0 leaves it as it is.
void closeSuperblock(SuperblockBytes& bytes, std::uint64_t endOfFile);

/// Clears the open mark and, with `useWholeFile`, makes the end of the file the End of File Address.
/// @return false when the superblock cannot be read or written.
[[nodiscard]] bool clearOpenMark(int descriptor, bool useWholeFile);

}  // namespace vtu::qat
