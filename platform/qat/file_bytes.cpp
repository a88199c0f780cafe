#include "platform/qat/file_bytes.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

void FileBytes::requireObjectHeader(haddr_t address) const {
  std::array<char, 5> start{};
  read(address, start.data(), start.size());
  if (std::memcmp(start.data(), "OHDR\x02", start.size()) != 0) {
    throw Failure(kDamaged, "no object begins at address " + std::to_string(address));
  }
}

}  // namespace vtu::qat
