// Opening, locking, closing and giving up: what is done to a file before HDF5 opens it and after HDF5 has closed it.
#ifndef H5_USE_110_API
#define H5_USE_110_API
#endif
#include <dlfcn.h>
#include <fcntl.h>
#include <hdf5.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "damaged_bytes.hpp"
#include "qat_fixture.hpp"

namespace {

std::atomic<bool> watchesRelease{false};
std::atomic<int> releasing{0}, mostReleasing{0};
std::function<void()> beforeLibraryOpens;

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

/// Replaces HDF5's function, calls it, and counts how many threads are in it.
extern "C" __attribute__((visibility("default"))) int H5Idec_ref(hid_t id) {
  static const auto original = next<int (*)(hid_t)>("H5Idec_ref");
  if (!watchesRelease) return original(id);
  mostReleasing = std::max<int>(mostReleasing, ++releasing);
  std::this_thread::sleep_for(std::chrono::microseconds(200));
  --releasing;
  return original(id);
}

extern "C" __attribute__((visibility("default"))) hid_t H5Fopen(const char* name, unsigned flags, hid_t access) {
  static const auto original = next<hid_t (*)(const char*, unsigned, hid_t)>("H5Fopen");
  if (beforeLibraryOpens) std::exchange(beforeLibraryOpens, nullptr)();
  return original(name, flags, access);
}

namespace vtio::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class QatOpening : public QatTest {
 protected:
  static constexpr std::size_t kFlagsAt = 11, kEndOfFileAt = 28;

  static void put(QatFile* file, const char* name, double value) {
    const Array array(qxCreateDoubleScalar(value));
    ASSERT_EQ(qatPutVariable(file, name, array.get()), 0) << qatLastError();
  }
  static double scalar(QatFile* file, const char* name) {
    const Array array(qatGetVariable(file, name));
    return array ? qxGetScalar(array.get()) : -1.0;
  }

  /// A file with the variables "a" and "b", marked as a writer leaves it that was killed.
  void saveMarked(std::uint64_t flags, std::int64_t missing = 0) const {
    { put(open("w").get(), "a", 1.0); }
    { put(open("u").get(), "b", 2.0); }
    mark(flags, missing);
  }

  /// @param missing Bytes from the End of File Address to the end.
  void mark(std::uint64_t flags, std::int64_t missing = 0) const {
    DamagedBytes file(bytes());
    file.setNumber(kFlagsAt, 1, flags);
    file.setNumber(kEndOfFileAt, 8, file.bytes().size() - static_cast<std::uint64_t>(missing));
    file.sealSuperblock();
    std::ofstream(path_, std::ios::binary) << file.bytes();
  }

  /// An HDF5 file of another program.
  void saveForeign() const {
    const hid_t list = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(list, H5F_LIBVER_V110, H5F_LIBVER_V110);
    const hid_t file = H5Fcreate(path_.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, list);
    H5Pclose(list);
    ASSERT_GE(H5Fclose(file), 0);
  }

  /// Runs work in a process of its own. @return what it returned; minus the signal that killed it
  template <typename Work>
  static int inChild(Work&& work) {
    const pid_t child = fork();
    if (child == 0) std::exit(work());  // with everything that runs at a normal exit
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  static void limitFileSize(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
};

TEST_F(QatOpening, ReadingAFileThatWasLeftOpenDoesNotWrite) {
  for (const std::uint64_t flags : {1U, 5U}) {
    // A stream's mark is behind all objects: they were made before it let readers in.
    for (const std::int64_t missing : {0, flags == 5 ? 8 : 200, -5000}) {
      saveMarked(flags, missing);
      const std::string before = bytes();
      OpenFile file = open("r");
      ASSERT_NE(file, nullptr) << qatLastError() << " flags " << flags << " missing " << missing;
      EXPECT_THAT(names(file.get()), ElementsAre("a", "b"));
      EXPECT_EQ(scalar(file.get(), "b"), 2.0) << qatLastError();
      EXPECT_EQ(qatClose(file.release()), 0) << qatLastError();
      EXPECT_EQ(bytes(), before);
    }
  }
}

TEST_F(QatOpening, ReadingNeedsNoPermissionToWrite) {
  const std::string top = path_ + ".folder";
  std::filesystem::create_directory(top);
  path_ = top + "/file.qat";
  saveMarked(1);
  chmod(path_.c_str(), 0444);
  chmod(top.c_str(), 0555);
  EXPECT_EQ(inChild([&] {
              constexpr uid_t kNobody = 65534;
              if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) return 2;
              const OpenFile file = open("r");
              return file != nullptr && scalar(file.get(), "b") == 2.0 ? 0 : 1;
            }),
            0);
  chmod(top.c_str(), 0755);
  std::filesystem::remove_all(top);
}

TEST_F(QatOpening, FilesOfOthersAreLeftAlone) {
  saveForeign();
  for (const std::uint64_t flags : {0U, 1U, 5U}) {
    mark(flags);
    const std::string before = bytes();
    for (const char* mode : {"r", "u"}) {
      EXPECT_EQ(open(mode), nullptr);
      EXPECT_THAT(qatLastError(), HasSubstr("is not a Qat file"));
      EXPECT_EQ(bytes(), before) << mode << ", flags " << flags;
    }
  }
}

TEST_F(QatOpening, UpdatingAFileThatWasLeftOpenMendsIt) {
  for (const std::uint64_t flags : {1U, 5U}) {
    saveMarked(flags, 100);
    {
      OpenFile file = open("u");
      ASSERT_NE(file, nullptr) << qatLastError();
      put(file.get(), "c", 3.0);
      EXPECT_EQ(qatClose(file.release()), 0) << qatLastError();
    }
    EXPECT_EQ(bytes()[kFlagsAt], 0);
    EXPECT_THAT(names(open("r").get()), ElementsAre("a", "b", "c"));
  }
}

TEST_F(QatOpening, FileInUseIsNotEmptied) {
  { put(open("w").get(), "a", 1.0); }
  const std::string before = bytes();
  for (const int lock : {LOCK_EX, LOCK_SH}) {
    const int other = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(other, lock | LOCK_NB), 0);
    for (const char* mode : {"w", "u"}) {
      EXPECT_EQ(open(mode), nullptr) << mode;
      EXPECT_THAT(qatLastError(), HasSubstr("is in use by another program"));
      EXPECT_EQ(bytes(), before);
    }
    EXPECT_EQ(open("r") == nullptr, lock == LOCK_EX);
    ::close(other);
  }
  EXPECT_NE(open("w"), nullptr) << qatLastError();
}

TEST_F(QatOpening, FileIsLockedForOthersAsLongAsItIsOpen) {
  const auto isFree = [this](int lock) {
    const int other = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    const bool free = flock(other, lock | LOCK_NB) == 0;
    ::close(other);
    return free;
  };
  OpenFile writer = open("w");
  put(writer.get(), "a", 1.0);
  EXPECT_FALSE(isFree(LOCK_SH));
  writer.reset();
  EXPECT_TRUE(isFree(LOCK_EX));
  const OpenFile reader = open("r");
  EXPECT_TRUE(isFree(LOCK_SH));
  EXPECT_FALSE(isFree(LOCK_EX));
}

TEST_F(QatOpening, WhatWasCheckedIsWhatIsOpened) {
  { put(open("w").get(), "a", 1.0); }
  const std::string other = path_ + ".other";
  std::filesystem::copy_file(path_, other);
  for (const char* mode : {"r", "u"}) {
    beforeLibraryOpens = [&] {
      std::filesystem::rename(other, path_);
      std::filesystem::copy_file(path_, other);
    };
    EXPECT_EQ(open(mode), nullptr) << mode;
    EXPECT_THAT(qatLastError(), HasSubstr("was replaced by another file while it was opened"));
    EXPECT_EQ(bytes(), [&] {
      std::ifstream stream(other, std::ios::binary);
      return std::string(std::istreambuf_iterator<char>(stream), {});
    }());
  }
  std::filesystem::remove(other);
  EXPECT_NE(open("r"), nullptr) << qatLastError();
}

TEST_F(QatOpening, ClosingIsDoneWithHdf5BeforeTheNextThreadBegins) {
  const std::string second = path_ + ".second";
  std::vector<std::string> paths{path_, second};
  watchesRelease = true;
  std::vector<std::thread> threads;
  for (const std::string& path : paths) {
    threads.emplace_back([&path] {
      for (int i = 0; i < 10; ++i) EXPECT_EQ(qatClose(qatOpen(path.c_str(), "w")), 0) << qatLastError();
    });
  }
  for (auto& thread : threads) thread.join();
  watchesRelease = false;
  std::filesystem::remove(second);
  EXPECT_EQ(mostReleasing, 1);
}

TEST_F(QatOpening, DeletingWithoutRoomGivesTheFileUp) {
  { put(open("w").get(), "a", 1.0); }
  { put(open("u").get(), "b", 2.0); }
  EXPECT_EQ(inChild([this] {
              QatFile* file = qatOpen(path_.c_str(), "u");
              limitFileSize(std::filesystem::file_size(path_));
              const bool failed = qatDeleteVariable(file, "a") != 0;
              limitFileSize(RLIM_INFINITY);
              const bool givenUp = qatDeleteVariable(file, "b") != 0 &&
                                   std::string(qatLastError()).find("was given up") != std::string::npos;
              return failed && givenUp && qatClose(file) != 0 ? 0 : 1;
            }),
            0);
  EXPECT_THAT(names(open("r").get()), ElementsAre("a", "b"));
}

TEST_F(QatOpening, FilesOfTheProcessThatAreNotOursOutliveAFileThatIsGivenUp) {
  const std::string other = path_ + ".h5";
  EXPECT_EQ(inChild([&] {
              QatFile* file = qatOpen(path_.c_str(), "w");
              const hid_t foreign = H5Fcreate(other.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
              limitFileSize(std::filesystem::file_size(path_) + 2000);
              const Array array = doubles({1000, 1}, std::vector<double>(1000, 1.0));
              const bool failed = qatPutVariable(file, "a", array.get()) != 0;
              limitFileSize(RLIM_INFINITY);
              H5Gclose(H5Gcreate2(foreign, "written after that", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
              return failed && qatClose(file) != 0 ? 0 : 1;  // the other one is left to HDF5's own exit
            }),
            0);
  const hid_t file = H5Fopen(other.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  ASSERT_GE(file, 0);
  EXPECT_GT(H5Lexists(file, "written after that", H5P_DEFAULT), 0);
  H5Fclose(file);
  std::filesystem::remove(other);
}

TEST_F(QatOpening, FileLeftOpenAtExitIsComplete) {
  EXPECT_EQ(inChild([this] {
              static QatFile* file = nullptr;  // static: still referred to when the process ends
              file = qatOpen(path_.c_str(), "w");
              const Array array(qxCreateDoubleScalar(7.0));
              return qatPutVariable(file, "a", array.get());
            }),
            0);
  EXPECT_EQ(scalar(open("r").get(), "a"), 7.0) << qatLastError();
}

TEST_F(QatOpening, VersionsThatAreNotOursAreRefusedByName) {
  for (const std::uint32_t version : {1U, 3U}) {
    saveForeign();
    const hid_t file = H5Fopen(path_.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    const hid_t space = H5Screate(H5S_SCALAR), text = H5Tcopy(H5T_C_S1);
    H5Tset_size(text, 3);
    const hid_t format = H5Acreate2(file, "qat.format", text, space, H5P_DEFAULT, H5P_DEFAULT);
    H5Awrite(format, text, "qat");
    const hid_t number = H5Acreate2(file, "qat.version", H5T_STD_U32LE, space, H5P_DEFAULT, H5P_DEFAULT);
    H5Awrite(number, H5T_NATIVE_UINT32, &version);
    for (const hid_t id : {format, number}) H5Aclose(id);
    H5Sclose(space);
    H5Tclose(text);
    ASSERT_GE(H5Fclose(file), 0);
    for (const char* mode : {"r", "u"}) {
      EXPECT_EQ(open(mode), nullptr);
      EXPECT_THAT(qatLastError(), HasSubstr("has format version " + std::to_string(version)));
    }
  }
}

}  // namespace
}  // namespace vtio::tests
