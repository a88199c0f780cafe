/// @file
/// Work on damaged files in a process of its own, which may neither hang nor take memory without end.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>

namespace vtio::tests {

/// @param beyond Bytes that may be used on top of what is used already.
inline void limitMemory([[maybe_unused]] std::uint64_t beyond = std::uint64_t{400} << 20U) {
#if !defined(__SANITIZE_ADDRESS__)
  std::ifstream statistics("/proc/self/statm");
  rlim_t pages = 0;
  statistics >> pages;
  const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + beyond;
  const rlimit limit{bytes, bytes};
  setrlimit(RLIMIT_AS, &limit);
#endif
}

/// Runs `work` in a process that may use 400 MB beyond what it has, and `seconds` of time.
template <typename Work>
void guarded(Work&& work, unsigned seconds = 250) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    limitMemory();
    alarm(seconds);
    work();
    std::_Exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace vtio::tests
