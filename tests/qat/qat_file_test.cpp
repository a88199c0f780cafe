// Files and variables: modes, order, replacement, deletion, and the error of every misuse.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <thread>

#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class QatFileTest : public QatTest {
 protected:
  static void put(QatFile* file, const char* name, double value) {
    const Array array(qxCreateDoubleScalar(value));
    ASSERT_EQ(qatPutVariable(file, name, array.get()), 0) << qatLastError();
  }
  static double scalar(QatFile* file, const char* name) {
    const Array array(qatGetVariable(file, name));
    return array ? qxGetScalar(array.get()) : -1.0;
  }
};

TEST_F(QatFileTest, NewFileHasNoVariables) {
  OpenFile file = open("w7.3");
  EXPECT_THAT(names(file.get()), IsEmpty());
  EXPECT_EQ(qatClose(file.release()), 0);
  EXPECT_THAT(names(open("r").get()), IsEmpty());
}

TEST_F(QatFileTest, NamesComeInTheOrderWritten) {
  OpenFile file = open("w");
  for (const char* name : {"zeta", "alpha", "", "mid/dle", "Zeta", "%", "."}) put(file.get(), name, 1.0);
  EXPECT_THAT(names(file.get()), ElementsAre("zeta", "alpha", "", "mid/dle", "Zeta", "%", "."));
  file.reset();
  EXPECT_THAT(names(open("r").get()), ElementsAre("zeta", "alpha", "", "mid/dle", "Zeta", "%", "."));
}

TEST_F(QatFileTest, OrderOfManyNames) {
  OpenFile file = open("w");
  std::vector<std::string> expected;
  for (int i = 0; i < 300; ++i) {
    expected.push_back("variable" + std::to_string(i * 7919 % 300));
    put(file.get(), expected.back().c_str(), i);
  }
  file.reset();
  EXPECT_EQ(names(open("r").get()), expected);
}

TEST_F(QatFileTest, ReplacedVariableMovesToTheEnd) {
  OpenFile file = open("w");
  for (const char* name : {"a", "b", "c"}) put(file.get(), name, 1.0);
  put(file.get(), "a", 2.0);
  EXPECT_THAT(names(file.get()), ElementsAre("b", "c", "a"));
  EXPECT_EQ(scalar(file.get(), "a"), 2.0);
}

TEST_F(QatFileTest, EmptyNameIsAName) {
  OpenFile file = open("w");
  put(file.get(), "", 3.0);
  EXPECT_EQ(scalar(file.get(), ""), 3.0);
  EXPECT_EQ(qatDeleteVariable(file.get(), ""), 0);
  EXPECT_THAT(names(file.get()), IsEmpty());
}

TEST_F(QatFileTest, DeletedVariableIsGone) {
  OpenFile file = open("w");
  for (const char* name : {"a", "b", "c"}) put(file.get(), name, 1.0);
  EXPECT_EQ(qatDeleteVariable(file.get(), "b"), 0);
  EXPECT_NE(qatDeleteVariable(file.get(), "b"), 0);
  EXPECT_THAT(qatLastError(), HasSubstr("variable \"b\": no such variable"));
  file.reset();
  EXPECT_THAT(names(open("r").get()), ElementsAre("a", "c"));
}

TEST_F(QatFileTest, UpdateKeepsWhatIsThere) {
  { put(open("w").get(), "a", 1.0); }
  {
    OpenFile file = open("u");
    ASSERT_NE(file, nullptr) << qatLastError();
    put(file.get(), "b", 2.0);
    put(file.get(), "a", 3.0);
    EXPECT_EQ(qatClose(file.release()), 0);
  }
  const OpenFile file = open("r");
  EXPECT_THAT(names(file.get()), ElementsAre("b", "a"));
  EXPECT_EQ(scalar(file.get(), "a"), 3.0);
}

TEST_F(QatFileTest, WriteTruncatesAnExistingFile) {
  { put(open("w").get(), "old", 1.0); }
  { put(open("w").get(), "new", 1.0); }
  EXPECT_THAT(names(open("r").get()), ElementsAre("new"));
}

TEST_F(QatFileTest, FlushedVariableIsInTheFileBeforeItIsClosed) {
  OpenFile file = open("w");
  put(file.get(), "a", 42.0);
  const std::string copy = path_ + ".copy";
  std::filesystem::copy_file(path_, copy);
  const OpenFile other(qatOpen(copy.c_str(), "r"));
  std::filesystem::remove(copy);
  ASSERT_NE(other, nullptr) << qatLastError();
  EXPECT_EQ(scalar(other.get(), "a"), 42.0);
}

TEST_F(QatFileTest, FileOfAKilledWriterStaysReadable) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    QatFile* file = qatOpen(path_.c_str(), "w");
    const Array array(qxCreateDoubleScalar(7.0));
    const bool fine = qatPutVariable(file, "a", array.get()) == 0;
    raise(fine ? SIGKILL : SIGABRT);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(WTERMSIG(status), SIGKILL);
  EXPECT_EQ(scalar(open("r").get(), "a"), 7.0) << qatLastError();
  put(open("u").get(), "b", 8.0);
  EXPECT_THAT(names(open("r").get()), ElementsAre("a", "b"));
}

TEST_F(QatFileTest, OpenMarkWithoutItsChecksumIsDamage) {
  { put(open("w").get(), "a", 1.0); }
  std::string content = bytes();
  // Marked as open for writing, with the checksum of a closed file: no writer leaves that behind.
  content[11] = 1;
  std::ofstream(path_, std::ios::binary) << content;
  EXPECT_EQ(open("r"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("its Superblock Checksum is wrong"));
}

TEST_F(QatFileTest, MissingFile) {
  EXPECT_EQ(open("r"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr(path_));
  EXPECT_THAT(qatLastError(), HasSubstr("No such file"));
  EXPECT_EQ(open("u"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(QatFileTest, UnknownModes) {
  for (const char* mode : {"", "rw", "W", "w7", "a", "r "}) {
    EXPECT_EQ(open(mode), nullptr) << mode;
    EXPECT_THAT(qatLastError(), HasSubstr("unknown mode \"" + std::string(mode) + "\""));
  }
  EXPECT_EQ(qatOpen(path_.c_str(), nullptr), nullptr);
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(QatFileTest, PlacesThatCannotBeWritten) {
  EXPECT_EQ(qatOpen((path_ + "/no/such/folder.qat").c_str(), "w"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("No such file"));
  EXPECT_EQ(qatOpen(std::filesystem::temp_directory_path().c_str(), "w"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("directory"));
  EXPECT_EQ(qatOpen("/dev/full", "w"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("not a regular file"));
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(open("r"), nullptr);
  EXPECT_EQ(open("w"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("not a regular file"));
}

TEST_F(QatFileTest, NullArguments) {
  int count = 5;
  const Array array(qxCreateDoubleScalar(1.0));
  EXPECT_EQ(qatOpen(nullptr, "r"), nullptr);
  EXPECT_EQ(qatGetVariable(nullptr, "a"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("the file is null"));
  EXPECT_NE(qatPutVariable(nullptr, "a", array.get()), 0);
  EXPECT_NE(qatDeleteVariable(nullptr, "a"), 0);
  EXPECT_EQ(qatGetVariableNames(nullptr, &count), nullptr);
  EXPECT_EQ(count, -1);
  EXPECT_NE(qatClose(nullptr), 0);
  OpenFile file = open("w");
  EXPECT_NE(qatPutVariable(file.get(), "a", nullptr), 0);
  EXPECT_THAT(qatLastError(), HasSubstr("the array is null"));
  EXPECT_NE(qatPutVariable(file.get(), nullptr, array.get()), 0);
  EXPECT_EQ(qatGetVariable(file.get(), nullptr), nullptr);
  EXPECT_NE(qatDeleteVariable(file.get(), nullptr), 0);
  EXPECT_EQ(qatGetVariableNames(file.get(), nullptr), nullptr);
  EXPECT_THAT(names(file.get()), IsEmpty());
}

TEST_F(QatFileTest, ReadingFileCannotBeChanged) {
  { put(open("w").get(), "a", 1.0); }
  const std::string before = bytes();
  const OpenFile file = open("r");
  const Array array(qxCreateDoubleScalar(1.0));
  EXPECT_NE(qatPutVariable(file.get(), "a", array.get()), 0);
  EXPECT_THAT(qatLastError(), HasSubstr("reading only"));
  EXPECT_NE(qatDeleteVariable(file.get(), "a"), 0);
  EXPECT_EQ(bytes(), before);
}

TEST_F(QatFileTest, AbsentVariableIsNamed) {
  { put(open("w").get(), "a", 1.0); }
  const OpenFile file = open("r");
  EXPECT_EQ(qatGetVariable(file.get(), "speed"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr(path_));
  EXPECT_THAT(qatLastError(), HasSubstr("variable \"speed\""));
}

TEST_F(QatFileTest, ErrorBelongsToTheThread) {
  EXPECT_EQ(open("bad"), nullptr);
  std::string other = "not run";
  std::thread([&other] { other = qatLastError(); }).join();
  EXPECT_EQ(other, "");
  EXPECT_THAT(qatLastError(), HasSubstr("bad"));
}

TEST_F(QatFileTest, NothingIsPrinted) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(open("r"), nullptr);
  { put(open("w").get(), "a", 1.0); }
  std::filesystem::resize_file(path_, 200);
  EXPECT_EQ(open("r"), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(QatFileTest, SuperblockIsOfTheLatestFormat) {
  { put(open("w").get(), "a", 1.0); }
  EXPECT_EQ(bytes().substr(1, 3), "HDF");
  EXPECT_EQ(bytes()[8], 3) << "superblock of the latest format";
}

TEST_F(QatFileTest, SeveralThreadsWithAFileEach) {
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (std::size_t t = 0; t < results.size(); ++t) {
    threads.emplace_back([this, t, &results] {
      const std::string path = path_ + std::to_string(t);
      OpenFile file(qatOpen(path.c_str(), "w"));
      for (unsigned i = 0; i < 20; ++i) {
        const Array array = ArrayGenerator(i).any(3);
        qatPutVariable(file.get(), "v", array.get());
        const Array back(qatGetVariable(file.get(), "v"));
        results[t] += back ? difference(array.get(), back.get()) : qatLastError();
      }
      file.reset();
      std::filesystem::remove(path);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(results, ::testing::Each(""));
}

}  // namespace
}  // namespace vtio::tests
