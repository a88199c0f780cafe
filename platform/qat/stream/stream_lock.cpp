#include "platform/qat/stream/stream_lock.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kHeld = "is being written by another run";

struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

void takeLock(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) throw Failure(kStorage, "is not a regular file");
  struct flock lock = wholeFile();
  if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0) return;
  if (errno == EAGAIN || errno == EACCES) throw Failure(kStorage, kHeld);
  throw Failure(kStorage, std::string("cannot be locked: ") + std::strerror(errno));
}

}  // namespace

StreamLock::StreamLock(const std::string& name)
    : descriptor_(::open(name.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666)) {
  if (descriptor_ < 0) throw Failure(kStorage, std::string("cannot be opened: ") + std::strerror(errno));
  try {
    takeLock(descriptor_);
  } catch (...) {
    ::close(descriptor_);
    throw;
  }
}

StreamLock::~StreamLock() { ::close(descriptor_); }

bool StreamLock::holds(const std::string& name) const {
  struct stat mine {};
  struct stat named {};
  return fstat(descriptor_, &mine) == 0 && stat(name.c_str(), &named) == 0 && mine.st_dev == named.st_dev &&
         mine.st_ino == named.st_ino;
}

void requireNotStreamed(int descriptor) {
  struct flock lock = wholeFile();
  if (fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) throw Failure(kStorage, kHeld);
}

}  // namespace vtu::qat
