#include "platform/qat/integrity/blocks.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "platform/qat/checksum.hpp"
#include "platform/qat/failure.hpp"

namespace vtu::qat {

Block Blocks::read(StructurePlace place, std::uint64_t size) const {
  requireInFile(place, size);
  Block block{place, std::vector<unsigned char>(size), 0, size};
  source_.read(place.address, block.bytes.data(), size);
  return block;
}

Block Blocks::take(StructurePlace place, std::string_view signature, std::uint64_t size, std::uint64_t spare) {
  Block block = read(place, size);
  Cursor start = block.cursor();
  if (!signature.empty()) {
    start.require(start.text(signature.size()) == signature, "Signature");
    start.expect(1, 0, "Version");
    block.begin = signature.size() + 1;
  }
  verify(block, size);
  block.end -= kChecksumBytes;
  claim(place, size + spare);
  return block;
}

void Blocks::verify(const Block& block, std::size_t size) {
  const std::size_t at = size - kChecksumBytes;
  std::uint32_t stored = 0;
  std::memcpy(&stored, block.bytes.data() + at, sizeof stored);
  verify(block.place, block.place.address + at, stored, metadataChecksum(block.bytes.data(), at));
}

void Blocks::verify(StructurePlace place, std::uint64_t address, std::uint32_t stored, std::uint32_t right) {
  if (stored != right) source_.wrongChecksum(place, address, right);
}

void Blocks::claim(StructurePlace place, std::uint64_t size) {
  if (size == 0) return;
  requireInFile(place, size);
  const std::uint64_t begin = place.address, end = begin + size;
  const auto after = claimed_.upper_bound(begin);
  const auto before = after == claimed_.begin() ? claimed_.end() : std::prev(after);
  if ((after != claimed_.end() && after->first < end) || (before != claimed_.end() && before->second > begin)) {
    throw Failure(kDamaged, inWords(place) + ": its " + std::to_string(size) + " bytes overlap something else");
  }
  const bool touchesBefore = before != claimed_.end() && before->second == begin;
  const bool touchesAfter = after != claimed_.end() && after->first == end;
  const std::uint64_t newEnd = touchesAfter ? after->second : end;
  if (touchesBefore) {
    before->second = newEnd;
  } else {
    claimed_.emplace_hint(after, begin, newEnd);
  }
  if (touchesAfter) claimed_.erase(after);
}

void Blocks::requireInFile(StructurePlace place, std::uint64_t size) const {
  const std::uint64_t end = fileSize();
  if (place.address > end || size > end - place.address) {
    throw Failure(kDamaged, inWords(place) + ": its " + std::to_string(size) + " bytes do not lie in the file of " +
                                std::to_string(end) + " bytes");
  }
}

void Blocks::clear() {
  constexpr std::uint64_t kFirstBytes = 48;
  fileSize_ = std::min(source_.size(), end_);
  claimed_.clear();
  claimed_.emplace(0, kFirstBytes);
}

void Blocks::endAt(std::uint64_t address) {
  end_ = address;
  clear();
}

}  // namespace vtu::qat
