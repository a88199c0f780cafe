#include "results/file/results_file.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "memory_source.hpp"
#include "results/file/results_error.hpp"

namespace {

using namespace vtio::results;
using vtio::tests::ResultsBuilder;

class ResultsFileTest : public testing::Test {
 protected:
  ResultsFileTest() : file_(make()) {}

  static ResultsFile make() {
    ResultsBuilder builder;
    builder.table(0, {0});
    for (const char* name : {"wheels.speed", "wheels.torque", "mode", "x[0]"}) builder.addDoubles(0, name, {1});
    return builder.build("run.qat");
  }

  std::vector<std::string> selected(const std::vector<std::string>& patterns) const {
    std::vector<std::string> names;
    for (const SignalInfo* signal : file_.select(patterns)) names.push_back(signal->name);
    return names;
  }

  std::string problem(const std::vector<std::string>& patterns) const {
    try {
      static_cast<void>(file_.select(patterns));
    } catch (const ResultsError& error) {
      return error.what();
    }
    return "none";
  }

  ResultsFile file_;
};

TEST_F(ResultsFileTest, selectsEachSignalOnceInFileOrder) {
  EXPECT_THAT(selected({"mode", "wheels.*", "wheels.speed"}),
              testing::ElementsAre("wheels.speed", "wheels.torque", "mode"));
  EXPECT_EQ(selected({}).size(), 4U);
  EXPECT_THAT(selected({"x[0]"}), testing::ElementsAre("x[0]"));
}

TEST_F(ResultsFileTest, saysWhatAPatternDidNotFind) {
  EXPECT_EQ(problem({"mode", "wheel.speed"}), "run.qat: no signal 'wheel.speed'; did you mean 'wheels.speed'?");
  EXPECT_EQ(problem({"wheel.*"}),
            "run.qat: no signal matches 'wheel.*'; did you mean 'wheels.speed' or 'wheels.torque'?");
  EXPECT_EQ(problem({"engine*"}), "run.qat: no signal matches 'engine*'");
}

TEST_F(ResultsFileTest, findsASignalByItsNameOnly) {
  EXPECT_EQ(file_.find("mode").name, "mode");
  EXPECT_THROW(static_cast<void>(file_.find("wheels.*")), ResultsError);
  EXPECT_EQ(file_.lookUp("speed"), nullptr);
}

}  // namespace
