#include "platform/qat/integrity/file_source.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kStretch = 16U << 10U;
constexpr std::size_t kSmall = 4U << 10U;

}  // namespace

void FileSource::use(FileBytes bytes) {
  bytes_ = bytes;
  size_ = bytes.size();
  stretch_.clear();
}

void FileSource::read(std::uint64_t address, void* target, std::size_t size) const {
  if (size > kSmall) return bytes_.read(address, target, size);
  const std::uint64_t end = stretchAt_ + stretch_.size();
  if (address < stretchAt_ || address > end || end - address < size) {
    stretch_.resize(std::min<std::uint64_t>(kStretch, size_ - address));
    stretchAt_ = address;
    bytes_.read(address, stretch_.data(), stretch_.size());
  }
  if (size > 0) std::memcpy(target, stretch_.data() + (address - stretchAt_), size);
}

void FileSource::wrongChecksum(StructurePlace place, std::uint64_t, std::uint32_t) {
  throw Failure(kDamaged, inWords(place) + ": its checksum is wrong");
}

}  // namespace vtu::qat
