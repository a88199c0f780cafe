#include "runner/archive/temporary_folder.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "runner/error.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;

// Links are removed, not followed.
void removeAll(const fs::path& folder) noexcept {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

// Runs in the child: waits for the last writer of the lifeline to go, then removes the folder.
[[noreturn]] void watch(int lifeline, const fs::path& folder) {
  setsid();  // out of reach of the terminal's signals
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) std::signal(number, SIG_IGN);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    close(stream);  // pipes of the parent end with it
  char byte = 0;
  while (read(lifeline, &byte, 1) < 0 && errno == EINTR) {
  }
  removeAll(folder);
  _exit(0);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::error_code error;
  const fs::path parent = fs::canonical(fs::temp_directory_path(error), error);
  if (error) throw RunnerError("no folder for temporary files: " + error.message(), "TMPDIR");
  std::string name = (parent / "vtio-run-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw RunnerError(std::string("cannot make a temporary folder: ") + std::strerror(errno), parent.string());
  }
  path_ = name;
  try {
    startWatcher();
  } catch (...) {
    removeAll(path_);
    throw;
  }
}

void TemporaryFolder::startWatcher() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) throw RunnerError(std::string("cannot make a pipe: ") + std::strerror(errno));
  watcher_ = fork();
  if (watcher_ == 0) {
    close(ends[1]);
    watch(ends[0], path_);
  }
  close(ends[0]);
  lifeline_ = ends[1];
  if (watcher_ < 0) {
    close(lifeline_);
    throw RunnerError(std::string("cannot start a process: ") + std::strerror(errno));
  }
}

TemporaryFolder::~TemporaryFolder() {
  removeAll(path_);
  close(lifeline_);
  while (waitpid(watcher_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace vtio::runner
