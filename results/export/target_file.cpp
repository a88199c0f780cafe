#include "results/export/target_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw ResultsError(path, what + ": " + std::strerror(errno));
}

mode_t fileMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

TargetFile::TargetFile(std::string path) : path_(std::move(path)) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(path_, error);
  resolved_ = error ? path_ : target.string();
  if (path_.empty()) throw ResultsError("the name of the file to write is empty");
  if (fs::is_directory(resolved_, error)) throw ResultsError(path_, "is a folder");
  if (fs::exists(resolved_, error) && !fs::is_regular_file(resolved_, error)) {
    throw ResultsError(path_, "is no regular file");
  }
  const fs::path whole(resolved_);
  temporary_ = (whole.parent_path() / ("." + whole.filename().string().substr(0, 200) + ".XXXXXX")).string();
  const int file = mkstemp(temporary_.data());
  if (file < 0) fail(path_, "cannot write");
  fchmod(file, fileMode());
  ::close(file);
}

TargetFile::~TargetFile() {
  if (!temporary_.empty()) std::remove(temporary_.c_str());
}

void TargetFile::commit() {
  if (std::rename(temporary_.c_str(), resolved_.c_str()) != 0) fail(path_, "cannot write");
  temporary_.clear();
}

void requireNoInput(const std::string& output, const std::vector<std::string>& inputs) {
  for (const std::string& input : inputs) {
    std::error_code error;
    if (fs::equivalent(output, input, error)) throw ResultsError(output, "is a file that is read; write another one");
  }
}

TextOutput::TextOutput(const std::string& path) : name_(path) {
  if (path == "-") {
    name_ = "standard output";
    file_ = ::dup(STDOUT_FILENO);
  } else {
    target_.emplace(path);
    file_ = ::open(target_->temporaryPath().c_str(), O_WRONLY | O_CLOEXEC);
  }
  if (file_ < 0) fail(name_, "cannot write");
  buffer_.reserve(kLarge + kLarge / 4);
}

TextOutput::~TextOutput() {
  if (file_ >= 0) ::close(file_);
}

void TextOutput::flush() {
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    const ssize_t written = ::write(file_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) fail(name_, "cannot write");
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  buffer_.clear();
}

void TextOutput::commit() {
  flush();
  const int file = std::exchange(file_, -1);
  if (::close(file) != 0) fail(name_, "cannot write");
  if (target_) target_->commit();
}

}  // namespace vtio::results
