/// @file
/// A process for code that may crash or never return.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace vtio::runner {

/// A copy of this process that runs one function and ends. It is killed when this process ends, ignores Ctrl-C and
/// SIGTERM, which are for this process, and dies of a crash whatever handlers this process has.
class ChildProcess final {
 public:
  /// @param work Runs in the child; exceptions end it with status 1.
  /// @throws RunnerError if the system starts no process.
  explicit ChildProcess(const std::function<void()>& work);
  /// Kills the child if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void kill();

  /// Sends a signal to the child.
  void signal(int number);

  /// Waits for the child's end.
  /// @return How it ended, as the end of a sentence: "crashed (Segmentation fault)", "ended its process (status 3)".
  [[nodiscard]] std::string waitForEnd();

 private:
  pid_t process_ = -1;
  bool ended_ = false;
};

}  // namespace vtio::runner
