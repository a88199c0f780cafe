#include "platform/qat/integrity/blocks.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/checksum.hpp"
#include "platform/qat/failure.hpp"

namespace vtu::qat {

Block Blocks::take(StructurePlace place, std::uint64_t size) {
  claim(place, size);
  return peek(place, size);
}

Block Blocks::peek(StructurePlace place, std::size_t size) const {
  requireInFile(place, 1);
  Block block{place, std::vector<unsigned char>(std::min<std::uint64_t>(size, fileSize() - place.address))};
  source_.read(place.address, block.bytes.data(), block.bytes.size());
  return block;
}

void Blocks::claim(StructurePlace place, std::uint64_t size) {
  if (!used_.insert(place.address).second) throw Failure(kDamaged, inWords(place) + ": it is used twice");
  claimData(place, size);
}

void Blocks::claimData(StructurePlace place, std::uint64_t size) {
  if (size == 0) return;
  requireInFile(place, size);
  total_ += size;
  if (total_ > fileSize()) throw Failure(kDamaged, inWords(place) + ": it overlaps something else");
}

void Blocks::verify(const Block& block, std::size_t checksumAt) {
  std::uint32_t stored = 0;
  if (block.bytes.size() < checksumAt + sizeof stored) block.cursor().fail("it ends too early");
  std::memcpy(&stored, block.bytes.data() + checksumAt, sizeof stored);
  verify(block.place, block.place.address + checksumAt, stored, metadataChecksum(block.bytes.data(), checksumAt));
}

void Blocks::verify(StructurePlace place, std::uint64_t checksumAddress, std::uint32_t stored, std::uint32_t right) {
  if (stored != right) source_.wrongChecksum(place, checksumAddress, right);
}

void Blocks::requireInFile(StructurePlace place, std::uint64_t size) const {
  const std::uint64_t end = fileSize();
  if (place.address >= end || size > end - place.address) {
    throw Failure(kDamaged, inWords(place) + ": its " + std::to_string(size) + " bytes do not lie in the file of " +
                                std::to_string(end) + " bytes");
  }
}

void Blocks::clear() {
  used_.clear();
  total_ = 0;
}

}  // namespace vtu::qat
