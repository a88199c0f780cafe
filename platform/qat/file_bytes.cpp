#include "platform/qat/file_bytes.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

std::uint64_t FileBytes::size() const {
  struct stat status {};
  if (fstat(descriptor_, &status) != 0)
    throw Failure(kStorage, std::string("cannot be measured: ") + std::strerror(errno));
  return static_cast<std::uint64_t>(status.st_size);
}

void FileBytes::read(std::uint64_t address, void* target, std::size_t size) const {
  auto* at = static_cast<char*>(target);
  while (size > 0) {
    const ssize_t count = pread(descriptor_, at, size, static_cast<off_t>(address));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw Failure(kStorage, std::string("cannot be read: ") + std::strerror(errno));
    if (count == 0) throw Failure(kDamaged, "the file ends before address " + std::to_string(address + size));
    at += count;
    address += static_cast<std::uint64_t>(count);
    size -= static_cast<std::size_t>(count);
  }
}

void FileBytes::write(std::uint64_t address, const void* source, std::size_t size) const {
  constexpr std::size_t kPiece = 8U << 20U;
  const auto* at = static_cast<const char*>(source);
  while (size > 0) {
    const ssize_t count = pwrite(descriptor_, at, std::min(size, kPiece), static_cast<off_t>(address));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw Failure(kStorage, std::string("cannot be written: ") + std::strerror(errno));
    at += count;
    address += static_cast<std::uint64_t>(count);
    size -= static_cast<std::size_t>(count);
  }
}

void FileBytes::wrongChecksum(StructurePlace place, std::uint64_t, std::uint32_t) {
  throw Failure(kDamaged, inWords(place) + ": its Checksum is wrong");
}

}  // namespace vtu::qat
