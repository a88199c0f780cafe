#include "platform/qat/stream/stream_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
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

}  // namespace

StreamLock::StreamLock(const std::string& name) : descriptor_(name, O_RDWR | O_CREAT, false) {
  struct flock lock = wholeFile();
  if (fcntl(descriptor_.get(), F_OFD_SETLK, &lock) != 0) {
    if (errno == EAGAIN || errno == EACCES) throw Failure(kStorage, kHeld);
    throw Failure(kStorage, std::string("cannot be locked: ") + std::strerror(errno));
  }
  if (flock(descriptor_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    throw Failure(kStorage, "is in use by another program");
  }
}

void StreamLock::letReadersIn() const { static_cast<void>(flock(descriptor_.get(), LOCK_UN)); }

void StreamLock::keepReadersOut() const { static_cast<void>(flock(descriptor_.get(), LOCK_EX | LOCK_NB)); }

void requireNotStreamed(int descriptor) {
  struct flock lock = wholeFile();
  if (fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) throw Failure(kStorage, kHeld);
}

}  // namespace vtu::qat
