#include "runner/isolation/child_process.hpp"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>

#include "runner/error.hpp"

namespace vtio::runner {
namespace {

[[noreturn]] void runChild(const std::function<void()>& work, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  for (const int number : {SIGINT, SIGTERM}) std::signal(number, SIG_IGN);
  for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) std::signal(number, SIG_DFL);
  int status = 0;
  try {
    work();
  } catch (const std::exception&) {
    status = 1;
  }
  std::fflush(nullptr);
  _exit(status);
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void()>& work) {
  std::fflush(nullptr);  // what is buffered is not to be written twice
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) runChild(work, parent);
  if (process_ < 0) {
    throw RunnerError(ExitStatus::failed, std::string("cannot start a process: ") + std::strerror(errno));
  }
}

ChildProcess::~ChildProcess() {
  if (ended_) return;
  kill();
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void ChildProcess::kill() { signal(SIGKILL); }

void ChildProcess::signal(int number) {
  if (!ended_) ::kill(process_, number);
}

std::string ChildProcess::waitForEnd() {
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  ended_ = true;
  if (WIFSIGNALED(status)) return std::string("crashed (") + strsignal(WTERMSIG(status)) + ")";
  return "ended its process (status " + std::to_string(WEXITSTATUS(status)) + ")";
}

}  // namespace vtio::runner
