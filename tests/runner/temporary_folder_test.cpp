#include "runner/archive/temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace {

using vtio::runner::TemporaryFolder;
namespace fs = std::filesystem;

bool disappears(const fs::path& path) {
  for (int i = 0; i < 1000 && fs::exists(path); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return !fs::exists(path);
}

TEST(TemporaryFolderTest, IsPrivateAndGoesWithItsOwner) {
  fs::path path;
  {
    const TemporaryFolder folder;
    path = folder.path();
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    fs::create_directories(path / "a/b");
    std::ofstream(path / "a/b/file") << "x";
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(TemporaryFolderTest, DoesNotFollowLinksWhenItGoes) {
  const TemporaryFolder kept;
  std::ofstream(kept.path() / "file") << "x";
  {
    const TemporaryFolder folder;
    fs::create_directory_symlink(kept.path(), folder.path() / "link");
  }
  EXPECT_TRUE(fs::exists(kept.path() / "file"));
}

class KilledOwner : public ::testing::TestWithParam<int> {};

TEST_P(KilledOwner, LeavesNoFolder) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t owner = fork();
  if (owner == 0) {
    std::signal(GetParam(), SIG_DFL);
    const TemporaryFolder folder;
    std::ofstream(folder.path() / "file") << "x";
    const std::string name = folder.path().string();
    if (write(ends[1], name.data(), name.size()) < 0) _exit(1);
    close(ends[1]);
    kill(getpid(), GetParam());
    pause();
    _exit(1);
  }
  close(ends[1]);
  char name[4096] = {};
  ASSERT_GT(read(ends[0], name, sizeof name - 1), 0);
  close(ends[0]);
  int status = 0;
  ASSERT_EQ(waitpid(owner, &status, 0), owner);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_TRUE(disappears(name)) << name;
}

INSTANTIATE_TEST_SUITE_P(All, KilledOwner, ::testing::Values(SIGKILL, SIGTERM, SIGINT, SIGSEGV));

}  // namespace
