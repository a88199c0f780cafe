#include "platform/qat/superblock.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cstring>

#include "platform/qat/checksum.hpp"
#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

static_assert(std::endian::native == std::endian::little, "Qat files are written and read in place, little-endian");

constexpr std::size_t kFlagsAt = 11, kEndOfFileAt = 28, kChecksumAt = 44;
constexpr std::string_view kSignature = "\x89HDF\r\n\x1a\n";

bool hasSignature(const SuperblockBytes& bytes) {
  return std::memcmp(bytes.data(), kSignature.data(), kSignature.size()) == 0;
}

}  // namespace

Superblock readSuperblock(const FileBytes& file) {
  SuperblockBytes bytes{};
  const std::uint64_t size = file.size();
  if (size >= kSuperblockBytes) file.read(0, bytes.data(), bytes.size());
  if (!hasSignature(bytes)) throw Failure(kDamaged, "is not a Qat file: it does not begin with the HDF5 signature");
  Cursor at(bytes.data() + kSignature.size(), kChecksumAt - kSignature.size(), {"Superblock", 0});
  const unsigned version = at.u8();
  if (version < 2 || version > 3) {
    at.refuse("version " + std::to_string(version), "; repack the file with h5repack --low=2 --high=2");
  }
  std::uint32_t checksum = 0;
  std::memcpy(&checksum, bytes.data() + kChecksumAt, sizeof checksum);
  at.require(checksum == metadataChecksum(bytes.data(), kChecksumAt), "Superblock Checksum");
  at.expect(1, 8, "Size of Offsets");
  at.expect(1, 8, "Size of Lengths");
  Superblock block;
  block.flags = at.u8();
  at.expect(8, 0, "Base Address");
  if (at.u64() != kNoAddress) at.refuse("a Superblock Extension");
  block.endOfFile = at.u64();
  block.rootAddress = at.u64();
  if (block.endOfFile > size && !block.markedAsOpen()) {
    throw Failure(kDamaged,
                  "is truncated: it has " + std::to_string(size) + " of " + std::to_string(block.endOfFile) + " bytes");
  }
  return block;
}

void closeSuperblock(SuperblockBytes& bytes, std::uint64_t endOfFile) {
  bytes[kFlagsAt] = 0;
  if (endOfFile != 0) std::memcpy(bytes.data() + kEndOfFileAt, &endOfFile, sizeof endOfFile);
  const std::uint32_t checksum = metadataChecksum(bytes.data(), kChecksumAt);
  std::memcpy(bytes.data() + kChecksumAt, &checksum, sizeof checksum);
}

bool clearOpenMark(int descriptor, bool useWholeFile) {
  constexpr auto kSize = static_cast<ssize_t>(kSuperblockBytes);
  SuperblockBytes bytes{};
  struct stat status {};
  if (pread(descriptor, bytes.data(), kSuperblockBytes, 0) != kSize || !hasSignature(bytes)) return false;
  if (bytes[kFlagsAt] == 0 && !useWholeFile) return true;
  if (fstat(descriptor, &status) != 0) return false;
  closeSuperblock(bytes, useWholeFile ? static_cast<std::uint64_t>(status.st_size) : 0);
  return pwrite(descriptor, bytes.data(), kSuperblockBytes, 0) == kSize;
}

}  // namespace vtu::qat
