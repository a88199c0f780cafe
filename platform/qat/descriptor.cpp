#include "platform/qat/descriptor.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

Descriptor::Descriptor(const std::string& name, int flags, bool lock)
    : value_(::open(name.c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0666)) {
  if (value_ < 0) {
    throw Failure(errno == ENOENT ? kAbsent : kStorage, std::string("cannot be opened: ") + std::strerror(errno));
  }
  struct stat status {};
  const bool isFile = fstat(value_, &status) == 0 && S_ISREG(status.st_mode);
  const bool reads = (flags & O_ACCMODE) == O_RDONLY;
  // Without locks on this file system, no other program has one.
  const bool isFree =
      !isFile || !lock || flock(value_, (reads ? LOCK_SH : LOCK_EX) | LOCK_NB) == 0 || errno != EWOULDBLOCK;
  if (isFile && isFree) return;
  reset();
  if (!isFile) throw Failure(kStorage, "is not a regular file");
  throw Failure(kStorage, reads ? "is being written by another program" : "is in use by another program");
}

Descriptor::Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    reset();
    value_ = std::exchange(other.value_, -1);
  }
  return *this;
}

bool Descriptor::isSameFileAs(int other) const {
  struct stat mine {
  }, theirs{};
  return fstat(value_, &mine) == 0 && fstat(other, &theirs) == 0 && mine.st_dev == theirs.st_dev &&
         mine.st_ino == theirs.st_ino;
}

void Descriptor::reset() {
  if (value_ >= 0) ::close(std::exchange(value_, -1));
}

}  // namespace vtu::qat
