#include "platform/qat/checksum.hpp"

#include <array>
#include <bit>
#include <cstring>

namespace vtu::qat {
namespace {

static_assert(std::endian::native == std::endian::little, "the checksum is made of little-endian words");

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

}  // namespace vtu::qat
