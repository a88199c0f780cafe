#include "recorders/session/file_replacement.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace vtio::recorders {
namespace {

constexpr int kMostLinks = 40;       // as many as the kernel follows
constexpr int kMostLeftovers = 100;  // files that interrupted runs left beside the target

[[noreturn]] void failWith(int error) { throw std::runtime_error(std::strerror(error)); }

/// An open file descriptor.
class Descriptor final {
 public:
  Descriptor(const std::string& name, int flags) : number_(::open(name.c_str(), flags | O_CLOEXEC, 0666)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (isOpen()) ::close(number_);
  }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

// The file that a name refers to: the end of its symbolic links, which need not exist.
std::string withoutLinks(const std::string& name) {
  if (name.empty()) throw std::runtime_error("the file name is empty");
  std::filesystem::path path = name;
  for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(path); ++i) {
    path = path.parent_path() / std::filesystem::read_symlink(path);  // an absolute link replaces the whole path
  }
  return path.string();
}

std::optional<struct stat> statusOf(const std::string& name) {
  struct stat status = {};
  if (::stat(name.c_str(), &status) != 0) return std::nullopt;
  return status;
}

// An existing target must be one that could be written in place, too.
void requireWritable(const std::string& target) {
  const Descriptor file(target, O_WRONLY);
  if (!file.isOpen()) failWith(errno);
  if (::flock(file.number(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    throw std::runtime_error("it is being written by another program");
  }
}

bool meansInPlace(int error) { return error == EACCES || error == EPERM || error == EROFS || error == ENAMETOOLONG; }

// Makes an empty file beside the target.
// @return Its name; empty if the folder takes none.
std::string makeBeside(const std::string& target, const std::optional<struct stat>& status) {
  for (int i = 1; i <= kMostLeftovers; ++i) {
    std::string name = target + ".saving" + std::to_string(i);
    const Descriptor file(name, O_WRONLY | O_CREAT | O_EXCL);
    if (file.isOpen()) {
      if (status)
        static_cast<void>(::fchown(file.number(), status->st_uid, status->st_gid) +
                          ::fchmod(file.number(), status->st_mode & 07777U));
      return name;
    }
    if (meansInPlace(errno)) return {};
    if (errno != EEXIST) failWith(errno);
  }
  throw std::runtime_error("there are " + std::to_string(kMostLeftovers) + " files '" + target +
                           ".saving…' beside it, left by interrupted runs");
}

}  // namespace

FileReplacement::FileReplacement(const std::string& target) : target_(withoutLinks(target)), path_(target_) {
  const std::optional<struct stat> status = statusOf(target_);
  if (status && !S_ISREG(status->st_mode)) return;
  if (status) requireWritable(target_);
  const std::string beside = makeBeside(target_, status);
  if (beside.empty()) return;
  path_ = beside;
  isBeside_ = true;
}

FileReplacement::~FileReplacement() {
  if (isBeside_) ::unlink(path_.c_str());
}

void FileReplacement::commit() {
  if (!isBeside_) return;
  const Descriptor file(path_, O_RDONLY);
  if (!file.isOpen() || ::fdatasync(file.number()) != 0) failWith(errno);
  if (std::rename(path_.c_str(), target_.c_str()) != 0) failWith(errno);
  isBeside_ = false;
}

}  // namespace vtio::recorders
