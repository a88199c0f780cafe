#include "platform/qat/stream/disk_guard.hpp"

#include <sys/statvfs.h>

#include <string>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

void DiskGuard::require(std::uint64_t bytes) const {
  struct statvfs status {};
  if (fstatvfs(descriptor_, &status) != 0) return;  // who cannot say how full a disk is lets the write find out
  const std::uint64_t room = std::uint64_t{status.f_bavail} * status.f_frsize;
  if (room >= margin_ && room - margin_ >= bytes) return;
  throw Failure(kDiskFull, "the disk is full: it has room for " + std::to_string(room) + " bytes, of which " +
                               std::to_string(margin_) + " are kept free to close the file");
}

}  // namespace vtu::qat
