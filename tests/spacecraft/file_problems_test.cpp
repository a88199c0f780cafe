// Each way in which a file can be unfit is named.
#include "file_problems.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <string>

#include "configuration.hpp"
#include "qat_fixture.hpp"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class FileProblems : public spacecraft_test::QatFolder {
 protected:
  static std::string configurationProblem(const std::string& fileName) {
    char message[500] = "";
    describeConfigurationProblem(fileName.c_str(), message, sizeof message);
    return message;
  }

  std::string file_ = path("file.qat");
};

TEST_F(FileProblems, MissingFile) {
  EXPECT_THAT(configurationProblem(file_), AllOf(HasSubstr(file_), HasSubstr("cannot be read")));
}

TEST_F(FileProblems, FileThatIsNotQat) {
  writeText(file_, "no Qat file");
  EXPECT_THAT(configurationProblem(file_), AllOf(HasSubstr(file_), HasSubstr("cannot be read")));
}

TEST_F(FileProblems, EachMissingVariable) {
  for (const char* variable : {"signalLoggingToPersistentStorage", "signalLogging", "signalStorageParameters",
                               "outputLogging", "DSMLogging", "disableSignalLoggingToR2forXIL"}) {
    spacecraft::writeConfiguration(file_);
    replace(file_, variable, nullptr);
    EXPECT_THAT(configurationProblem(file_),
                AllOf(HasSubstr(file_), HasSubstr("no readable variable '" + std::string(variable) + "'")));
  }
}

TEST_F(FileProblems, VariableOfTheWrongClass) {
  spacecraft::writeConfiguration(file_);
  replace(file_, "signalLogging", qxCreateString("yes"));
  EXPECT_THAT(configurationProblem(file_), HasSubstr("unfit variable 'signalLogging'"));
}

TEST_F(FileProblems, MalformedSelection) {
  spacecraft::writeConfiguration(file_);
  replace(file_, "loggingSelection", qxCreateDoubleScalar(3.0));
  EXPECT_THAT(configurationProblem(file_), HasSubstr("unfit logging selection"));
}

TEST_F(FileProblems, DamagedSelection) {
  spacecraft::writeConfiguration(file_);
  std::ifstream in(file_, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::size_t named = 0;
  for (std::size_t at = 0; at < bytes.size(); at += 16) {
    std::string damaged = bytes;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
    writeText(file_, damaged);
    const std::string problem = configurationProblem(file_);
    EXPECT_THAT(problem, Not(HasSubstr("cannot be opened or closed"))) << "byte " << at;
    if (problem.find("no readable variable 'loggingSelection': ") != std::string::npos) ++named;
  }
  EXPECT_GT(named, 10U);
}

TEST_F(FileProblems, ResultsMustHoldTheDatasets) {
  char message[500] = "";
  EXPECT_FALSE(checkResultsFile(file_.c_str(), true, message, sizeof message));
  EXPECT_THAT(message, HasSubstr(file_));

  QatFile* file = qatOpen(file_.c_str(), "w7.3");
  ASSERT_NE(file, nullptr) << qatLastError();
  const vtu::qxArrayWrapper value(qxCreateDoubleScalar(1.0));
  EXPECT_EQ(qatPutVariable(file, "DATASET_SIGNAL_LOGGING", value.get()), 0);
  EXPECT_EQ(qatClose(file), 0);
  EXPECT_TRUE(checkResultsFile(file_.c_str(), false, message, sizeof message)) << message;
  EXPECT_FALSE(checkResultsFile(file_.c_str(), true, message, sizeof message));
  EXPECT_THAT(message, HasSubstr("DATASET_OUTPORT_LOGGING"));
}

}  // namespace
