// What the configuration writer writes is what the logging selection and the catalogue read.
#include "configuration.hpp"

#include <gmock/gmock.h>

#include "platform/block_path.hpp"
#include "platform/logging_selection.hpp"
#include "platform/text.hpp"
#include "qat_fixture.hpp"

namespace {

class Configuration : public spacecraft_test::QatFolder {
 protected:
  Configuration() { spacecraft::writeConfiguration(file_); }

  [[nodiscard]] vtu::qxArrayWrapper read(const char* variable) const {
    const vtu::QatFileWrapper file(file_, "r");
    EXPECT_TRUE(file) << qatLastError();
    vtu::qxArrayWrapper value = file.variable(variable);
    EXPECT_TRUE(value) << variable << ": " << qatLastError();
    return value;
  }

  static vtu::FullBlkPathToTopMdl blockPath(std::initializer_list<const char16_t*> elements) {
    vtu::FullBlkPathToTopMdl path;
    for (const char16_t* element : elements) {
      path.append(vtu::InternedUstring(element));
    }
    return path;
  }

  std::string file_ = path("config.qat");
};

TEST_F(Configuration, HoldsTheSixSwitches) {
  EXPECT_EQ(qxGetScalar(read("signalLoggingToPersistentStorage").get()), 0.0);
  EXPECT_TRUE(*qxGetLogicals(read("signalLogging").get()));
  EXPECT_EQ(qxGetClassID(read("signalStorageParameters").get()), qxCHAR);
  EXPECT_EQ(qxGetScalar(read("outputLogging").get()), 1.0);
  EXPECT_FALSE(*qxGetLogicals(read("DSMLogging").get()));
  EXPECT_EQ(qxGetScalar(read("disableSignalLoggingToR2forXIL").get()), 0.0);
}

TEST_F(Configuration, SelectionRenamesSwitchesOffAndReachesIntoAModel) {
  sigstg::ModelLoggingInfo selection;
  selection.populateFromQatFile(vtu::to_ustring(file_));
  const auto thrusters = blockPath({u"spacecraft/Thrusters"});
  EXPECT_EQ(selection.getSelectorSetting(thrusters, 0), 2u);
  EXPECT_EQ(selection.getSelectorSetting(thrusters, 1), 0u);
  EXPECT_EQ(selection.getSelectorSetting(blockPath({u"spacecraft/Power System", u"power/Battery"}), 0), 1u);
  EXPECT_EQ(selection.getSelectorSetting(blockPath({u"spacecraft/Orbit"}), 0), 1u);
  const sigstg::LoggingInfo& info = selection.getLoggingInfo(thrusters, 0);
  EXPECT_EQ(info.getCustomSignalName(), u"thrusterForce_every4th");
  EXPECT_EQ(info.getDecimation(), 4u);
  EXPECT_FALSE(info.getLimitDataPoints());
}

TEST_F(Configuration, ReplacesAnExistingFile) {
  replace(file_, "outputLogging", qxCreateDoubleScalar(0.0));
  EXPECT_EQ(qxGetScalar(read("outputLogging").get()), 0.0);
  spacecraft::writeConfiguration(file_);
  EXPECT_EQ(qxGetScalar(read("outputLogging").get()), 1.0);
}

TEST_F(Configuration, FileThatCannotBeWrittenIsNamed) {
  const std::string nowhere = path("no-such-folder/config.qat");
  try {
    spacecraft::writeConfiguration(nowhere);
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr(nowhere));
  }
}

}  // namespace
