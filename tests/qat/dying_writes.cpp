#include "dying_writes.hpp"

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <string_view>

namespace vtio::tests {
namespace {

std::size_t writesLeft = 0;  // 0: no death is planned
std::size_t longWritesLeft = 0;
std::size_t crossing = 0;

constexpr off_t kPage = 4096;

/// True for the bytes of one of HDF5's blocks that would fit into a page.
bool isSmallBlock(const void* bytes, std::size_t count) {
  constexpr std::string_view kSignatures = "OHDROCHKEAHDEAIBEASBEADBFAHDFADBFRHPFHIBFHDBBTHDBTINBTLF";
  if (count < 4 || count > static_cast<std::size_t>(kPage)) return false;
  const auto found = kSignatures.find({static_cast<const char*>(bytes), 4});
  return found != std::string_view::npos && found % 4 == 0;
}

/// The function that this program's own definition hides.
template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void countWrite() {
  if (writesLeft > 0 && --writesLeft == 0) kill(getpid(), SIGKILL);
}

}  // namespace

std::size_t blocksWrittenAcrossPages() { return crossing; }

void dieAtWrite(std::size_t count) { writesLeft = count; }

void dieInWrite(std::size_t count) {
  if (count > 0) longWritesLeft = count;
}

}  // namespace vtio::tests

// HDF5 and the platform change files by these two calls; their definitions here are found first.
extern "C" {

[[gnu::visibility("default")]] ssize_t pwrite(int file, const void* bytes, size_t count, off_t at) {
  static auto* const original = vtio::tests::next<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  vtio::tests::countWrite();
  using vtio::tests::kPage;
  const auto inFirstPage = static_cast<size_t>(kPage - at % kPage);
  if (count > inFirstPage && vtio::tests::isSmallBlock(bytes, count)) ++vtio::tests::crossing;
  if (vtio::tests::longWritesLeft > 0 && count > inFirstPage && --vtio::tests::longWritesLeft == 0) {
    static_cast<void>(!original(file, bytes, inFirstPage, at));
    kill(getpid(), SIGKILL);
  }
  return original(file, bytes, count, at);
}

[[gnu::visibility("default")]] int ftruncate(int file, off_t length) {
  static auto* const original = vtio::tests::next<int(int, off_t)>("ftruncate");
  vtio::tests::countWrite();
  return original(file, length);
}

}  // extern "C"
