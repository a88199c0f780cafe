// Runs that are compared with a reference, and inputs that come from a results file.
#include "runner/compare/compare_run.hpp"

#include <algorithm>
#include <cstdio>

#include "results/file/results_file.hpp"
#include "results/values/number_text.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"
#include "tests/runner/fake_instance.hpp"
#include "tests/runner/run_fixture.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using namespace runner_test;   // NOLINT(google-build-using-namespace): readers of results
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;

class CompareTest : public RunFolder {
 protected:
  CompareOptions comparison(const std::string& reference) {
    CompareOptions chosen;
    chosen.run = options("bouncing_ball_fmi3");
    chosen.run.stop = 1.0;
    chosen.reference = file(reference);
    return chosen;
  }

  ExitStatus compare(const CompareOptions& chosen) {
    out_.str("");
    messages_.str("");
    return compareRun(chosen, out_, messages_);
  }

  void expectRefused(const CompareOptions& chosen, const std::string& what) {
    EXPECT_THAT([&] { (void)compare(chosen); }, ThrowsMessage<RunnerError>(HasSubstr(what))) << what;
    EXPECT_EQ(out_.str(), "");
  }

  void write(const std::string& text) { writeBytes(file("ref.csv"), text); }
};

// The height by the equation of a fall, until the first bounce at 0.45 s.
std::string fall(double time) { return vtio::results::numberText(1.0 - 0.5 * 9.81 * time * time); }

TEST_F(CompareTest, ValuesOfTheReferenceAreComparedAtItsTimes) {
  write("time,h\r\n0,1\r\n0.105," + fall(0.105) + "\r\n0.4," + fall(0.4) + "\r\n");
  CompareOptions chosen = comparison("ref.csv");
  chosen.atol = 2e-4;  // 0.105 is between two steps: the line between them is that far from the parabola
  EXPECT_EQ(compare(chosen), ExitStatus::done) << out_.str();
  EXPECT_EQ(out_.str(), "1 equal, 0 different, 0 in one file only\n");
  chosen.atol = 1e-6;
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("h\n  1 of 3 values deviate\n  first: "));
  EXPECT_FALSE(std::filesystem::exists(file("results.qat"))) << "kept only if it was named";
  chosen.keepsResults = true;
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), EndsWith(file("results.qat").string() + "\n"));
  EXPECT_TRUE(std::filesystem::exists(file("results.qat")));
}

TEST_F(CompareTest, ARunIsEqualToItsOwnResultsAndDiffersFromOthers) {
  RunOptions run = options("bouncing_ball_fmi3");
  run.stop = 1.0;
  run.output = file("before.qat");
  ASSERT_EQ(this->run(run), ExitStatus::done);
  CompareOptions chosen = comparison("before.qat");
  EXPECT_EQ(compare(chosen), ExitStatus::done) << out_.str();
  chosen.run.set = {"e=0.6"};
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  chosen.json = true;
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("\"equal\":false"));
}

TEST_F(CompareTest, AtAnEventTheSampleAfterItCounts) {
  ASSERT_EQ(run(options("bouncing_ball_fmi3")), ExitStatus::done);
  const std::vector<double> times = numbers<double>(results().field(kOutputs, "v", "Time"));
  const std::vector<double> speeds = numbers<double>(results().field(kOutputs, "v", "Data"));
  const auto bounce = static_cast<std::size_t>(std::adjacent_find(times.begin(), times.end()) - times.begin());
  ASSERT_LT(bounce, times.size());
  const auto row = [&](std::size_t i) {
    return vtio::results::numberText(times[i]) + "," + vtio::results::numberText(speeds[i]) + "\n";
  };
  write("time,v\n" + row(bounce) + row(bounce + 1));
  EXPECT_EQ(compare(comparison("ref.csv")), ExitStatus::done) << out_.str();
  write("time,v\n" + row(bounce));
  EXPECT_EQ(compare(comparison("ref.csv")), ExitStatus::failed);
}

TEST_F(CompareTest, ColumnsThatNameNothingAreNotedAndEmptyCellsLeftOut) {
  write("time,h,unknown,v\n0,1,5,\n0.1,,5,\n");
  EXPECT_EQ(compare(comparison("ref.csv")), ExitStatus::done) << out_.str();
  EXPECT_THAT(messages_.str(), HasSubstr("'unknown' is not compared"));
  write("time,unknown\n0,1\n");
  EXPECT_THAT([&] { (void)compare(comparison("ref.csv")); },
              ThrowsMessage<RunnerError>(HasSubstr("nothing to compare")));
}

TEST_F(CompareTest, TimesOutsideTheRunDiffer) {
  write("time,h\n0,1\n1.5,0\n");
  CompareOptions chosen = comparison("ref.csv");
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("span: '0 to 1 s' became 'has the time 1.5 s'"));
}

TEST_F(CompareTest, ArraysTextsLabelsAndLogicalsAreComparedByElementOrWhole) {
  RunOptions run = options("every_kind_fmi3");
  run.parameters = run.locals = true;
  run.output = file("all.qat");
  ASSERT_EQ(this->run(run), ExitStatus::done) << messages_.str();
  CompareOptions chosen = comparison("all.qat");
  chosen.run = options("every_kind_fmi3");
  EXPECT_EQ(compare(chosen), ExitStatus::done) << out_.str();
  EXPECT_THAT(out_.str(), Not(testing::StartsWith("0 equal")));
  write("time,matrix[0][1],mode\n0,12345,nonsense\n");
  chosen.reference = file("ref.csv");
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("[0][1] "));
}

TEST_F(CompareTest, TimesMayDifferByTheirTolerance) {
  write("time,h\n0.2," + fall(0.19) + "\n0.3," + fall(0.31) + "\n1.005,0\n");
  CompareOptions chosen = comparison("ref.csv");
  chosen.atol = 1e-3;
  chosen.run.signals = {"h"};
  chosen.timeTolerance = 0.011;
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("1 of 3 values deviate"));  // 5 ms beyond the end, where h is not 0
  chosen.timeTolerance = 0.001;
  EXPECT_EQ(compare(chosen), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("2 of 2 values deviate"));
  chosen.timeTolerance = -1;
  expectRefused(chosen, "--time-tol: -1 is no tolerance");
}

// The value of a signal in its last sample.
std::string lastValue(const vtio::results::ResultsFile& file, const std::string& name, std::size_t cell) {
  const vtio::results::SignalInfo& signal = file.find(name);
  const vtio::results::Series series = readSeries(file, signal);
  std::string text;
  vtio::results::appendPlain(text,
                             vtio::results::ShownValues(signal)(series.view().sample(series.times.size() - 1), cell));
  return text;
}

TEST_F(CompareTest, MembersOfArraysOfBusesAndBinariesAreComparedByTheNamesOfTheModel) {
  RunOptions run = options("every_kind_fmi3");
  run.parameters = true;
  run.output = file("all.qat");
  ASSERT_EQ(this->run(run), ExitStatus::done) << messages_.str();
  const vtio::results::ResultsFile results(file("all.qat").string());
  std::string bytes;
  for (std::size_t i = 0; i < std::stoul(lastValue(results, "packet.length", 0)); ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", std::stoi(lastValue(results, "packet.data", i)));
    bytes += digits;
  }
  ASSERT_NE(bytes, "");
  CompareOptions chosen = comparison("ref.csv");
  chosen.run = options("every_kind_fmi3");
  const auto reference = [&](const std::string& speed, const std::string& packet) {
    const std::string last = vtio::results::numberText(results.find("wheel.speed").last);
    write("time,wheel[2].speed,packet,wheel[3].speed\n0,," + packet + ",\n" + last + "," + speed + ",,1\n");
    return compare(chosen);
  };
  const std::string speed = lastValue(results, "wheel.speed", 1);
  EXPECT_EQ(reference(speed, bytes), ExitStatus::done) << out_.str();
  EXPECT_EQ(out_.str(), "3 equal, 0 different, 0 in one file only\n");
  EXPECT_EQ(messages_.str().find("wheel[2]"), std::string::npos);
  EXPECT_THAT(messages_.str(), HasSubstr("'wheel[3].speed' is not compared"));
  EXPECT_EQ(reference("12345", bytes), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("wheel.speed"));
  EXPECT_EQ(reference(speed, bytes + "00"), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("packet.length"));
  EXPECT_EQ(reference(speed, (bytes[0] == '0' ? "1" : "0") + bytes.substr(1)), ExitStatus::failed);
  EXPECT_THAT(out_.str(), HasSubstr("packet.data"));
  EXPECT_THAT([&] { reference(speed, "0x12"); }, ThrowsMessage<RunnerError>(HasSubstr("'0x12' is no hexadecimal")));
}

TEST_F(CompareTest, WrongReferencesAreRefusedWithTheirPlace) {
  for (const auto& [text, what] :
       std::vector<std::pair<std::string, std::string>>{{"t,h\n0,1\n", "the first column is not 'time'"},
                                                        {"time,h\n0,1,2\n", "3 cells in place of 2"},
                                                        {"time,h\n0,1\nx,1\n", "'x' is no time, "},
                                                        {"time,h\n1,1\n0,1\n", "is before that of the row above"},
                                                        {"time,h,h\n0,1,1\n", "a column stands twice"},
                                                        {"time,h\n", "the table has no rows"}}) {
    write(text);
    expectRefused(comparison("ref.csv"), what);
  }
  CompareOptions chosen = comparison("ref.csv");
  chosen.rtol = -1;
  expectRefused(chosen, "--rtol: -1 is no tolerance");
  expectRefused(comparison("none.csv"), "cannot open");
  expectRefused(comparison("none.qat"), "cannot be opened");
}

// The inputs of a run, taken from its results, give the same run.
TEST_F(CompareTest, InputsComeFromAResultsFile) {
  RunOptions first = fullRun("every_kind_fmi3");
  first.rewind.reset();
  ASSERT_EQ(run(first), ExitStatus::done) << messages_.str();
  const std::vector<std::string> before = elements();
  RunOptions second = first;
  second.input = file("inputs.qat");
  std::filesystem::rename(file("results.qat"), second.input);
  ASSERT_EQ(run(second), ExitStatus::done) << messages_.str();
  EXPECT_GT(before.size(), 20U);
  EXPECT_TRUE(before == elements());
  second = options("bouncing_ball_fmi3");
  second.input = file("inputs.qat");
  EXPECT_THAT([&] { (void)run(second); }, ThrowsMessage<RunnerError>(HasSubstr("no signal of the file is called")));
}

}  // namespace
