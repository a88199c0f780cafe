#include "platform/qat/superblock.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

static_assert(std::endian::native == std::endian::little, "Qat files are written and read in place, little-endian");

constexpr std::size_t kSize = 48;
constexpr std::size_t kFlagsAt = 11;
constexpr std::size_t kBaseAt = 12;
constexpr std::size_t kExtensionAt = 20;
constexpr std::size_t kEndOfFileAt = 28;
constexpr std::size_t kRootAt = 36;
constexpr std::size_t kChecksumAt = 44;
constexpr std::array<unsigned char, 8> kSignature = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1a, '\n'};

using Bytes = std::array<unsigned char, kSize>;

template <typename Value>
Value load(const Bytes& bytes, std::size_t at) {
  Value value;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

template <typename Value>
void store(Bytes& bytes, std::size_t at, Value value) {
  std::memcpy(bytes.data() + at, &value, sizeof value);
}

bool readBytes(int descriptor, Bytes& bytes) {
  return pread(descriptor, bytes.data(), kSize, 0) == static_cast<ssize_t>(kSize) &&
         std::memcmp(bytes.data(), kSignature.data(), kSignature.size()) == 0;
}

}  // namespace

Superblock readSuperblock(int descriptor, std::uint64_t fileSize) {
  Bytes bytes{};
  if (!readBytes(descriptor, bytes))
    throw Failure(kDamaged, "is not a Qat file: it does not begin with the HDF5 signature");
  Superblock block;
  block.version = bytes[8];
  if (block.version < 2 || block.version > 3 || bytes[9] != 8 || bytes[10] != 8) {
    throw Failure(kDamaged, "is not a Qat file: superblock version " + std::to_string(block.version) + " with sizes " +
                                std::to_string(bytes[9]) + " and " + std::to_string(bytes[10]));
  }
  if (load<std::uint32_t>(bytes, kChecksumAt) != metadataChecksum(bytes.data(), kChecksumAt)) {
    throw Failure(kDamaged, "is damaged: the checksum of its superblock is wrong");
  }
  if (load<std::uint64_t>(bytes, kBaseAt) != 0) {
    throw Failure(kUnsupported, "is not a Qat file: its addresses do not count from its first byte");
  }
  block.flags = bytes[kFlagsAt];
  block.extension = load<std::uint64_t>(bytes, kExtensionAt);
  block.endOfFile = load<std::uint64_t>(bytes, kEndOfFileAt);
  block.rootAddress = load<std::uint64_t>(bytes, kRootAt);
  if (block.endOfFile > fileSize && !block.markedAsOpen()) {
    throw Failure(kDamaged, "is truncated: it has " + std::to_string(fileSize) + " of " +
                                std::to_string(block.endOfFile) + " bytes");
  }
  return block;
}

bool clearOpenMark(int descriptor, bool useWholeFile) {
  Bytes bytes{};
  struct stat status {};
  if (!readBytes(descriptor, bytes) || fstat(descriptor, &status) != 0) return false;
  if (bytes[kFlagsAt] == 0 && !useWholeFile) return true;
  bytes[kFlagsAt] = 0;
  if (useWholeFile) store(bytes, kEndOfFileAt, static_cast<std::uint64_t>(status.st_size));
  store(bytes, kChecksumAt, metadataChecksum(bytes.data(), kChecksumAt));
  return pwrite(descriptor, bytes.data(), kSize, 0) == static_cast<ssize_t>(kSize);
}

}  // namespace vtu::qat
