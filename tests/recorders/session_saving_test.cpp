// Saving through the session: what is written, what is reported, and what is left of the file that was there before.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"
#include "recorders/recorders.h"
#include "tests/recorders/recording_fixture.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

using namespace recording;
namespace fs = std::filesystem;

/// Its dataset element cannot be built until `isRepaired`.
class Broken final : public Client {
 public:
  explicit Broken(const SignalDescriptor& descriptor) : Client(SignalLogging, descriptor) {}
  void update(const double*, const void*) override {}
  void update(unsigned long, const double*, const void*) override {}
  vtu::qxArrayWrapper datasetElement() override {
    if (!isRepaired) throw std::runtime_error("the link to the recorder is down");
    return vtu::qxArrayWrapper();
  }
  bool isRepaired = false;
};

std::string bytesOf(const fs::path& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::size_t openFiles() {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

class SessionSaving : public Recording {
 protected:
  SessionSaving() {
    std::string name = (fs::temp_directory_path() / "vtio-saving-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder " + name);
    folder_ = name;
    recorded_ = record(leaf(u"x"));
    for (int i = 0; i < 100; ++i) recorded_.add(i, 0.5 * i);
  }
  ~SessionSaving() override { fs::remove_all(folder_); }

  std::string file(const char* name = "results.qat") const { return (folder_ / name).string(); }

  /// What saving says; empty if it succeeds.
  std::string failure(const std::string& name) {
    try {
      session_.save(name);
    } catch (const vtsv::IException& error) {
      EXPECT_EQ(error.diagnostic().identifier, "Vortan:FileIO");
      EXPECT_EQ(error.diagnostic().key, "CannotSave");
      EXPECT_EQ(vtu::to_string(error.diagnostic().arguments.at(0)), name);
      return error.what();
    }
    return {};
  }

  Broken& addBroken(const vtu::ustring& dataset) {
    auto owned = std::make_unique<Broken>(*recorded_.descriptor);
    Broken& broken = *owned;
    catalogue_.addClient(std::move(owned), dataset);
    return broken;
  }

  static std::vector<double> savedTimes(const std::string& name) {
    const vtu::QatFileWrapper opened(name, "r");
    if (!opened) throw std::runtime_error(qatLastError());
    const vtu::qxArrayWrapper dataset = opened.variable("DATASET_SIGNAL_LOGGING");
    if (!dataset) throw std::runtime_error("no dataset in the file");
    const qxArray* element = qxGetCell(field(field(dataset.get(), "Dataset"), "Elements"), 0);
    return numbers<double>(field(field(element, "Values"), "Time"));
  }

  std::vector<std::string> folderContents() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) names.push_back(entry.path().filename().string());
    return names;
  }

  fs::path folder_;
  Recorded recorded_;
};

TEST_F(SessionSaving, WritesWhatTheCatalogueWrites) {
  session_.save(file());
  catalogue_.saveDatasetsToQatFile(vtu::to_ustring(file("other.qat")));
  EXPECT_EQ(savedTimes(file()).size(), 100U);
  EXPECT_EQ(bytesOf(file()), bytesOf(file("other.qat")));
  session_.save(vtu::to_ustring(file()));
  EXPECT_EQ(bytesOf(file()), bytesOf(file("other.qat")));
}

TEST_F(SessionSaving, FailureNamesFileAndCause) {
  const std::string nowhere = file("no-such-folder/results.qat");
  EXPECT_EQ(failure(nowhere), "The results cannot be saved in '" + nowhere + "': No such file or directory.");
  EXPECT_EQ(failure(""), "The results cannot be saved in '': the file name is empty.");
  EXPECT_NE(failure(folder_.string()), "") << "a folder";
}

TEST_F(SessionSaving, FailingClientLeavesTheOldFileAndNothingElse) {
  std::ofstream(file()) << "earlier results";
  Broken& broken = addBroken(u"logsout");
  const std::size_t open = openFiles();
  EXPECT_EQ(failure(file()), "The results cannot be saved in '" + file() +
                                 "': the dataset 'logsout' cannot be built: the link to the recorder is down.");
  EXPECT_EQ(bytesOf(file()), "earlier results");
  EXPECT_EQ(folderContents(), std::vector<std::string>{"results.qat"});
  EXPECT_EQ(openFiles(), open);
  broken.isRepaired = true;
  EXPECT_EQ(failure(file()), "");
  EXPECT_EQ(savedTimes(file()).size(), 100U);
  EXPECT_EQ(openFiles(), open);
}

TEST_F(SessionSaving, DatasetsThatWouldReplaceEachOtherAreReported) {
  addBroken(u"more").isRepaired = true;
  EXPECT_EQ(failure(file()), "The results cannot be saved in '" + file() +
                                 "': the datasets 'logsout' and 'more' would both be the variable "
                                 "'DATASET_SIGNAL_LOGGING'.");
  EXPECT_TRUE(folderContents().empty());
}

// A limit on the size of files simulates the full disk; each attempt runs in a process of its own.
TEST_F(SessionSaving, FullDiskIsReportedAtEveryMomentAndLeavesTheOldFile) {
  int failures = 0;
  int complete = 0;
  for (rlim_t limit = 0; limit < 2000000; limit += 2000 + limit / 8) {
    std::ofstream(file()) << "earlier results";
    const pid_t child = fork();
    if (child == 0) {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit most{limit, limit};
      setrlimit(RLIMIT_FSIZE, &most);
      const std::string said = failure(file());
      const bool namesFile = said.find("'" + file() + "': ") != std::string::npos;
      _exit(said.empty() ? 0 : (namesFile && said.size() > file().size() + 50 ? 1 : 2));
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << "limit " << limit;
    EXPECT_EQ(folderContents(), std::vector<std::string>{"results.qat"}) << "limit " << limit;
    if (WEXITSTATUS(status) == 0) {
      ++complete;
      EXPECT_EQ(savedTimes(file()).size(), 100U) << "limit " << limit;
    } else {
      ++failures;
      EXPECT_EQ(WEXITSTATUS(status), 1) << "limit " << limit;
      EXPECT_EQ(bytesOf(file()), "earlier results") << "limit " << limit;
    }
  }
  EXPECT_GT(failures, 20);
  EXPECT_GT(complete, 2);
}

TEST_F(SessionSaving, DeviceIsWrittenInPlace) {
  EXPECT_NE(failure("/dev/full"), "");
  struct stat status = {};
  ASSERT_EQ(stat("/dev/full", &status), 0);
  EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(SessionSaving, LinksAreFollowedAndThePermissionsStay) {
  fs::create_directory(folder_ / "store");
  std::ofstream(file("store/real.qat")) << "earlier results";
  fs::permissions(file("store/real.qat"), fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("store/real.qat", file("link.qat"));
  fs::create_symlink("link.qat", file());
  session_.save(file());
  EXPECT_TRUE(fs::is_symlink(file()));
  EXPECT_TRUE(fs::is_symlink(file("link.qat")));
  EXPECT_EQ(savedTimes(file("store/real.qat")).size(), 100U);
  EXPECT_EQ(fs::status(file("store/real.qat")).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  fs::create_symlink("store/new.qat", file("dangling.qat"));
  session_.save(file("dangling.qat"));
  EXPECT_TRUE(fs::is_symlink(file("dangling.qat")));
  EXPECT_EQ(savedTimes(file("store/new.qat")).size(), 100U);
}

TEST_F(SessionSaving, LeftoversOfInterruptedRunsAreLeftAlone) {
  std::ofstream(file("results.qat.saving1")) << "half a file";
  session_.save(file());
  EXPECT_EQ(savedTimes(file()).size(), 100U);
  EXPECT_EQ(bytesOf(file("results.qat.saving1")), "half a file");
}

TEST_F(SessionSaving, FileThatIsBeingWrittenIsLeftAlone) {
  vtu::QatFileWrapper writer(file(), "w");
  ASSERT_TRUE(writer) << qatLastError();
  EXPECT_EQ(failure(file()),
            "The results cannot be saved in '" + file() + "': it is being written by another program.");
  EXPECT_EQ(writer.close(), 0) << qatLastError();
  EXPECT_EQ(failure(file()), "");
}

TEST_F(SessionSaving, LongNameIsWrittenInPlace) {
  const std::string name = file(std::string(253, 'r').c_str());
  session_.save(name);
  EXPECT_EQ(savedTimes(name).size(), 100U);
}

TEST_F(SessionSaving, CFunctionGivesTheSameWords) {
  VtioRecordingSession* session = vtioRecordingCreate(&catalogue_);
  EXPECT_EQ(vtioRecordingSave(session, file().c_str()), 0);
  EXPECT_EQ(savedTimes(file()).size(), 100U);
  const std::string nowhere = file("no-such-folder/results.qat");
  EXPECT_EQ(vtioRecordingSave(session, nowhere.c_str()), -1);
  EXPECT_EQ(vtioRecordingLastError(), "vtioRecordingSave: " + failure(nowhere));
  EXPECT_EQ(vtioRecordingSave(session, nullptr), -1);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingSave: the file name is null");
  EXPECT_EQ(vtioRecordingSave(nullptr, "x"), -1);
  EXPECT_EQ(vtioRecordingLostSamples(session), 0U);
  EXPECT_EQ(vtioRecordingLostSamples(nullptr), 0U);
  vtioRecordingDestroy(session);
}

}  // namespace
