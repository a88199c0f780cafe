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

struct Mixer {
  std::uint32_t a, b, c;

  void mix() {
    a -= c;
    a ^= std::rotl(c, 4);
    c += b;
    b -= a;
    b ^= std::rotl(a, 6);
    a += c;
    c -= b;
    c ^= std::rotl(b, 8);
    b += a;
    a -= c;
    a ^= std::rotl(c, 16);
    c += b;
    b -= a;
    b ^= std::rotl(a, 19);
    a += c;
    c -= b;
    c ^= std::rotl(b, 4);
    b += a;
  }

  void finish() {
    c ^= b;
    c -= std::rotl(b, 14);
    a ^= c;
    a -= std::rotl(c, 11);
    b ^= a;
    b -= std::rotl(a, 25);
    c ^= b;
    c -= std::rotl(b, 16);
    a ^= c;
    a -= std::rotl(c, 4);
    b ^= a;
    b -= std::rotl(a, 14);
    c ^= b;
    c -= std::rotl(b, 24);
  }

  void add(const unsigned char* bytes, std::size_t size) {
    std::array<std::uint32_t, 3> words{};
    std::memcpy(words.data(), bytes, size);
    a += words[0];
    b += words[1];
    c += words[2];
  }
};

}  // namespace

std::uint32_t metadataChecksum(const unsigned char* bytes, std::size_t size) {
  const auto start = 0xdeadbeefU + static_cast<std::uint32_t>(size);
  Mixer state{start, start, start};
  while (size > 12) {
    state.add(bytes, 12);
    state.mix();
    bytes += 12;
    size -= 12;
  }
  if (size == 0) return state.c;
  state.add(bytes, size);
  state.finish();
  return state.c;
}

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
  block.flags = bytes[kFlagsAt];
  block.endOfFile = load<std::uint64_t>(bytes, kEndOfFileAt);
  block.rootAddress = load<std::uint64_t>(bytes, kRootAt);
  if (block.endOfFile > fileSize) {
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
