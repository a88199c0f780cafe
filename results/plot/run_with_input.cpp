#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "results/file/results_error.hpp"
#include "results/plot/gnuplot.hpp"

namespace vtio::results {
namespace {

constexpr int kNoProgram = 127;

// Ends early when the program no longer reads; its status says why. A socket, unlike a pipe, sends no signal then.
void sendAll(int socket, std::string_view rest) {
  while (!rest.empty()) {
    const ssize_t sent = ::send(socket, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(sent));
  }
}

int waitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int runWithInput(const std::string& program, const std::string& input) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw ResultsError("cannot run " + program + ": " + std::strerror(errno));
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
  std::string name = program;
  char* arguments[] = {name.data(), nullptr};
  pid_t child = 0;
  const int error = posix_spawnp(&child, name.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  if (error == 0) sendAll(ends[0], input);
  ::close(ends[0]);
  if (error == ENOENT) return kNoProgram;
  if (error != 0) throw ResultsError("cannot run " + program + ": " + std::strerror(error));
  return waitFor(child);
}

}  // namespace vtio::results
