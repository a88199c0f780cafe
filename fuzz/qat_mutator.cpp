#include "qat_mutator.hpp"

#include <algorithm>
#include <cstring>
#include <random>
#include <string_view>

#include "platform/qat/checksum.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/integrity.hpp"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t mostBytes);

namespace vtio::fuzz {
namespace {

constexpr std::size_t kSuperblock = 48;

template <typename Work>
void ignoringFailures(Work&& work) {
  try {
    work();
  } catch (const vtu::qat::Failure&) {
  }
}

}  // namespace

void RepairingSource::read(std::uint64_t address, void* target, std::size_t size) const {
  if (size == 0) return;
  std::memcpy(target, data_ + address, size);
  ranges_.push_back({address, size});
}

void RepairingSource::wrongChecksum(vtu::qat::StructurePlace, std::uint64_t address, std::uint32_t right) {
  if (address <= size_ && size_ - address >= sizeof right) std::memcpy(data_ + address, &right, sizeof right);
}

void RepairingSource::visitAll() {
  if (size_ < kSuperblock) return;
  ranges_.push_back({8, kSuperblock - 12});
  const std::uint32_t right = vtu::qat::metadataChecksum(data_, kSuperblock - 4);
  std::memcpy(data_ + kSuperblock - 4, &right, sizeof right);
  const std::string_view bytes(reinterpret_cast<const char*>(data_), size_);
  for (std::size_t at = bytes.find("OHDR"); at != std::string_view::npos; at = bytes.find("OHDR", at + 4)) {
    ignoringFailures([&] { vtu::qat::Integrity(*this).requireObject(at, vtu::qat::Purpose::changing); });
  }
}

namespace {

/// A few bytes of one structure become something else: limits, values close to the old one, or bytes from elsewhere.
void changeStructure(std::uint8_t* data, std::size_t size, const RepairingSource& source, std::mt19937& random) {
  if (source.ranges().empty()) return;
  const auto& range = source.ranges()[random() % source.ranges().size()];
  const std::size_t length = std::min<std::size_t>(range.size, random() % 4 == 0 ? 512 : 96);
  const std::size_t at = range.address + random() % length;
  const std::size_t width = std::min<std::size_t>(std::size_t{1} << (random() % 4), size - at);
  std::uint64_t value = 0;
  std::memcpy(&value, data + at, width);
  constexpr std::uint64_t kLimits[] = {0,      1,      0x7F,       0x80,       0xFF,
                                       0x7FFF, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF, ~std::uint64_t{0}};
  switch (random() % 5) {
    case 0:
      value = kLimits[random() % std::size(kLimits)];
      break;
    case 1:
      value += random() % 33;
      value -= 16;
      break;
    case 2:
      value ^= std::uint64_t{1} << (random() % (8 * width));
      break;
    case 3:
      std::memcpy(&value, data + random() % (size - 7), sizeof value);
      break;
    default:
      value = random();
  }
  std::memcpy(data + at, &value, width);
}

}  // namespace
}  // namespace vtio::fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t mostBytes,
                                               unsigned seed) {
  using vtio::fuzz::RepairingSource;
  std::mt19937 random(seed);
  if (size < 64 || random() % 4 == 0) return LLVMFuzzerMutate(data, size, mostBytes);
  RepairingSource before(data, size);
  before.visitAll();
  for (unsigned i = 0; i <= random() % 3; ++i) vtio::fuzz::changeStructure(data, size, before, random);
  if (random() % 8 == 0) size = LLVMFuzzerMutate(data, size, mostBytes);
  if (random() % 8 != 0) RepairingSource(data, size).visitAll();
  return size;
}
