// A disk that fills up at any moment: the call fails, what was flushed before stays readable, nothing crashes.
//
// A limit on the size of files simulates the full disk; every attempt runs in a process of its own.
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

class QatFullDisk : public QatTest {
 protected:
  static Array many() {
    std::vector<Array> rows;
    for (int i = 0; i < 40; ++i) {
      rows.push_back(structure({{"Name", text("signal")}, {"Data", doubles({300, 1}, std::vector<double>(300, i))}}));
    }
    return structure({{"Elements", cells({40, 1}, std::move(rows))}, {"Unit", text("m/s")}});
  }

  static void limitFileSize(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
  }

  /// What the child found: bit 0 open failed, 1 first put failed, 2 second put failed, 3 close failed, 4 a failure
  /// without words, 5 the file could not be made anew.
  static int writeUntilFull(const char* path) {
    int result = 0;
    const auto failed = [&result](bool yes, int bit) {
      if (!yes) return;
      result |= 1 << bit;
      if (*qatLastError() == '\0') result |= 16;
    };
    const Array first = doubles({100, 1}, std::vector<double>(100, 1.0));
    const Array second = many();
    QatFile* file = qatOpen(path, "w");
    failed(file == nullptr, 0);
    if (file == nullptr) return result;
    failed(qatPutVariable(file, "first", first.get()) != 0, 1);
    failed(qatPutVariable(file, "second", second.get()) != 0, 2);
    failed(qatClose(file) != 0, 3);
    return result;
  }

  int attempt(rlim_t limit) const {
    std::filesystem::remove(path_);
    const std::string said = path_ + ".said";
    const pid_t child = fork();
    if (child == 0) {
      dup2(::open(said.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      limitFileSize(limit);
      std::exit(writeUntilFull(path_.c_str()));  // with everything that runs at a normal exit
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(std::filesystem::file_size(said), 0U) << "HDF5 has something to say at limit " << limit;
    std::filesystem::remove(said);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
};

TEST_F(QatFullDisk, EveryLimitGivesAnErrorAndKeepsWhatWasFlushed) {
  int failures = 0, keptFirst = 0, complete = 0;
  for (rlim_t limit = 0; limit < 480000; limit += 3000 + limit / 50) {
    const int result = attempt(limit);
    ASSERT_GE(result, 0) << "killed by signal " << -result << " at limit " << limit;
    EXPECT_EQ(result & 16, 0) << "a failure without words at limit " << limit;
    if ((result & 7) == 0) {
      EXPECT_EQ(result, 0) << limit;
      ++complete;
      EXPECT_EQ(difference(many().get(), load("second").get()), "") << limit;
      continue;
    }
    ++failures;
    if ((result & 1) != 0) continue;
    EXPECT_NE(result & 8, 0) << "close hides the failure at limit " << limit;
    const OpenFile file = open("r");
    if ((result & 2) != 0) continue;
    ASSERT_NE(file, nullptr) << qatLastError() << " at limit " << limit;
    const Array first(qatGetVariable(file.get(), "first"));
    ASSERT_TRUE(first) << qatLastError() << " at limit " << limit;
    EXPECT_EQ(qxGetNumberOfElements(first.get()), 100U);
    EXPECT_EQ(names(file.get()), std::vector<std::string>{"first"});
    ++keptFirst;
  }
  EXPECT_GT(failures, 20);
  EXPECT_GT(keptFirst, 10);
  EXPECT_GT(complete, 2);
}

TEST_F(QatFullDisk, SameFileCanBeWrittenAgainInTheSameProcess) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit tight{300000, RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tight);
    const bool failed = (writeUntilFull(path_.c_str()) & 4) != 0;
    const rlimit wide{RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &wide);
    std::exit(failed && writeUntilFull(path_.c_str()) == 0 ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(difference(many().get(), load("second").get()), "");
}

TEST_F(QatFullDisk, UpdateThatDoesNotFitLeavesTheOldFile) {
  save("first", doubles({100, 1}, std::vector<double>(100, 1.0)).get());
  const pid_t child = fork();
  if (child == 0) {
    limitFileSize(std::filesystem::file_size(path_) + 20000);
    QatFile* file = qatOpen(path_.c_str(), "u");
    const bool failed = qatPutVariable(file, "first", many().get()) != 0;
    const bool failsAgain = qatPutVariable(file, "x", text("y").get()) != 0;
    std::exit(failed && failsAgain && qatClose(file) != 0 ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(difference(doubles({100, 1}, std::vector<double>(100, 1.0)).get(), load("first").get()), "");
}

TEST_F(QatFullDisk, RealFileSystemWithoutSpace) {
  const std::string folder = path_ + ".mount";
  std::filesystem::create_directory(folder);
  if (mount("none", folder.c_str(), "tmpfs", 0, "size=600k") != 0) {
    std::filesystem::remove(folder);
    GTEST_SKIP() << "this process may not mount a small file system: " << strerror(errno);
  }
  const std::string path = folder + "/full.qat";
  {
    OpenFile file(qatOpen(path.c_str(), "w"));
    EXPECT_EQ(qatPutVariable(file.get(), "first", text("kept").get()), 0) << qatLastError();
    EXPECT_NE(qatPutVariable(file.get(), "second", doubles({100000, 1}, std::vector<double>(100000, 1.0)).get()), 0);
    EXPECT_THAT(qatLastError(), ::testing::HasSubstr("No space left"));
    EXPECT_NE(qatClose(file.release()), 0);
    const OpenFile again(qatOpen(path.c_str(), "r"));
    const Array first(qatGetVariable(again.get(), "first"));
    EXPECT_TRUE(first) << qatLastError();
  }
  umount(folder.c_str());
  std::filesystem::remove(folder);
}

}  // namespace
}  // namespace vtio::tests
