#include "dying_writes.hpp"

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

namespace vtio::tests {
namespace {

std::size_t writesLeft = 0;  // 0: no death is planned

/// The function that this program's own definition stands in front of.
template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void countWrite() {
  if (writesLeft > 0 && --writesLeft == 0) kill(getpid(), SIGKILL);
}

}  // namespace

void dieAtWrite(std::size_t count) { writesLeft = count; }

}  // namespace vtio::tests

// HDF5 and the platform change files by these two calls; their definitions here are found first.
extern "C" {

[[gnu::visibility("default")]] ssize_t pwrite(int file, const void* bytes, size_t count, off_t at) {
  static auto* const original = vtio::tests::next<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  vtio::tests::countWrite();
  return original(file, bytes, count, at);
}

[[gnu::visibility("default")]] int ftruncate(int file, off_t length) {
  static auto* const original = vtio::tests::next<int(int, off_t)>("ftruncate");
  vtio::tests::countWrite();
  return original(file, length);
}

}  // extern "C"
