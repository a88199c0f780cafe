// Sweeps: which runs there are, what becomes of each, and the table that is saved.
#include "runner/sweep/sweep.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "runner/sweep/sweep_table.hpp"
#include "tests/runner/results_reader.hpp"
#include "tests/runner/zip_maker.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using namespace runner_test;   // NOLINT(google-build-using-namespace): readers of results
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
namespace fs = std::filesystem;

class SweepTest : public WorkFolder {
 protected:
  SweepOptions of(const std::string& name) {
    SweepOptions sweep;
    sweep.run.fmu = fs::path(VTIO_FMU_DIR) / (name + ".fmu");
    sweep.run.output = file("sweep.qat");
    return sweep;
  }

  ExitStatus run(const SweepOptions& chosen) {
    out_.str("");
    messages_.str("");
    return runSweep(chosen, out_, messages_);
  }

  // A field of all runs.
  [[nodiscard]] std::vector<double> numbersOf(const char* field) const {
    std::vector<double> values;
    forEachRun([&](const qxArray* run) { values.push_back(qxGetScalar(qxGetField(run, 0, field))); });
    return values;
  }

  [[nodiscard]] std::vector<std::string> textsOf(const char* field) const {
    std::vector<std::string> values;
    forEachRun([&](const qxArray* run) { values.push_back(text(qxGetField(run, 0, field))); });
    return values;
  }

  template <typename Use>
  void forEachRun(const Use& use) const {
    const vtu::qxArrayWrapper runs = Results(file("sweep.qat")).variable("runs");
    for (std::size_t i = 0; i < qxGetNumberOfElements(runs.get()); ++i) use(qxGetCell(runs.get(), i));
  }

  void expectRefused(const SweepOptions& chosen, const std::string& what) {
    EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
    EXPECT_FALSE(fs::exists(file("sweep.qat"))) << what;
  }

  std::ostringstream out_, messages_;
};

TEST(SweepPlanTest, GridsAreCombinedTheLastFastest) {
  SweepOptions options;
  options.grids = {"a=0:1:3", "b=5:5:1", "c=2:1:2"};
  const SweepPlan plan = planSweep(options);
  EXPECT_THAT(plan.names, ElementsAre("a", "b", "c"));
  EXPECT_THAT(plan.values,
              ElementsAre(ElementsAre("0", "5", "2"), ElementsAre("0", "5", "1"), ElementsAre("0.5", "5", "2"),
                          ElementsAre("0.5", "5", "1"), ElementsAre("1", "5", "2"), ElementsAre("1", "5", "1")));
}

TEST(SweepPlanTest, SamplesDependOnTheSeedAndTheirRunAlone) {
  SweepOptions options;
  options.samples = {"a=normal(10,2)", "b=uniform(-1,1)"};
  options.runs = 2000;
  options.seed = 7;
  const SweepPlan plan = planSweep(options);
  options.runs = 20;
  const SweepPlan few = planSweep(options);
  EXPECT_TRUE(std::equal(few.values.begin(), few.values.end(), plan.values.begin()));
  options.seed = 8;
  EXPECT_NE(planSweep(options).values, few.values);
  double sum = 0.0;
  double squares = 0.0;
  for (const std::vector<std::string>& run : plan.values) {
    const double a = std::stod(run[0]);
    const double b = std::stod(run[1]);
    sum += a;
    squares += (a - 10.0) * (a - 10.0);
    EXPECT_GE(b, -1.0);
    EXPECT_LE(b, 1.0);
  }
  EXPECT_NEAR(sum / 2000.0, 10.0, 0.3);
  EXPECT_NEAR(std::sqrt(squares / 2000.0), 2.0, 0.3);
}

TEST_F(SweepTest, TablesOfParametersGiveARunPerRow) {
  writeBytes(file("runs.csv"), "e,vmin\r\n0.5,0.1\r\n0.6,0.2\r\n");
  SweepOptions options;
  options.table = file("runs.csv");
  const SweepPlan plan = planSweep(options);
  EXPECT_THAT(plan.names, ElementsAre("e", "vmin"));
  EXPECT_THAT(plan.values, ElementsAre(ElementsAre("0.5", "0.1"), ElementsAre("0.6", "0.2")));
}

TEST_F(SweepTest, WrongSweepsAreRefusedBeforeTheFirstRun) {
  const auto with = [this](auto change) {
    SweepOptions chosen = of("bouncing_ball_fmi3");
    change(chosen);
    return chosen;
  };
  expectRefused(with([](SweepOptions&) {}), "a sweep needs one of --table, --grid and --sample");
  for (const char* grid : {"e=0:1", "e=0:1:0", "e=0:1:1.5", "e=0:x:3", "e=0:nan:3", "e", "=0:1:2", "e=0:1:2000000"}) {
    expectRefused(with([grid](SweepOptions& o) { o.grids = {grid}; }), "--grid");
  }
  expectRefused(with([](SweepOptions& o) { o.grids = {"e=0:1:2000", "g=-9:-8:2000"}; }), "more than a million runs");
  expectRefused(with([](SweepOptions& o) { o.grids = {"e=0:1:2", "e=0:1:2"}; }), "'e' stands twice");
  expectRefused(with([](SweepOptions& o) { o.grids = {"e=0:2:3"}; }), "2 is above the maximum 1, variable 'e', run 2");
  expectRefused(with([](SweepOptions& o) { o.grids = {"z=0:1:2"}; }),
                "there is no variable 'z'; did you mean 'h', 'v' or 'g'?, run 0");
  expectRefused(with([](SweepOptions& o) { o.samples = {"e=normal(0.5,0.1)"}; }), "--sample needs --runs");
  for (const char* sample : {"e=normal(1)", "e=normal(0,-1)", "e=uniform(1,0)", "e=gauss(0,1)", "e=normal", "e"}) {
    expectRefused(with([sample](SweepOptions& o) {
                    o.samples = {sample};
                    o.runs = 3;
                  }),
                  "--sample");
  }
  expectRefused(with([](SweepOptions& o) {
                  o.grids = {"e=0:1:2"};
                  o.run.finals = {"bounces"};
                }),
                "--final: no logged scalar matches 'bounces'");
  writeBytes(file("runs.csv"), "e\r\n");
  expectRefused(with([this](SweepOptions& o) { o.table = file("runs.csv"); }), "the table has no runs");
  writeBytes(file("runs.csv"), "e\r\n0.5,1\r\n");
  expectRefused(with([this](SweepOptions& o) { o.table = file("runs.csv"); }), "2 cells in place of 1");
}

TEST_F(SweepTest, TheTableHasParametersFinalValuesAndAFilePerRun) {
  SweepOptions chosen = of("van_der_pol_fmi3");
  chosen.run.stop = 1.0;
  chosen.run.finals = {"x[?]"};
  chosen.grids = {"mu=0.5:1.5:3"};
  chosen.jobs = 2;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_EQ(out_.str(), "3 runs: 3 done\n" + file("sweep.qat").string() + "\n");
  EXPECT_THAT(numbersOf("mu"), ElementsAre(0.5, 1.0, 1.5));
  EXPECT_THAT(textsOf("status"), ElementsAre("done", "done", "done"));
  EXPECT_THAT(numbersOf("lastTime"), ElementsAre(1.0, 1.0, 1.0));
  const std::vector<double> finals = numbersOf("x[1]");
  for (std::size_t i = 0; i < 3; ++i) {
    const Results one(file("sweep.qat.d") / ("00000" + std::to_string(i) + ".qat"));
    EXPECT_EQ(numbers<double>(one.field(kOutputs, "x[1]", "Data")).back(), finals[i]);
    EXPECT_GT(numbersOf("seconds")[i], 0.0);
  }
  EXPECT_NE(finals[0], finals[2]);
}

TEST_F(SweepTest, FailuresAreRowsAndTheSweepGoesOn) {
  writeBytes(file("runs.csv"), "way\r\nerror\r\ncrash\r\nendless\r\nnone\r\n");
  SweepOptions chosen = of("misbehaving_fmi3");
  chosen.table = file("runs.csv");
  chosen.run.isolate = true;
  chosen.run.stepTimeout = 0.3;
  chosen.run.finals = {"y"};
  EXPECT_EQ(run(chosen), ExitStatus::failed);
  EXPECT_EQ(out_.str(), "4 runs: 1 crashed, 1 done, 1 failed, 1 timeout\n" + file("sweep.qat").string() + "\n");
  EXPECT_THAT(messages_.str(), HasSubstr("run 1 crashed: the FMU crashed (Segmentation fault) in a step"));
  EXPECT_THAT(textsOf("status"), ElementsAre("failed", "crashed", "timeout", "done"));
  EXPECT_THAT(textsOf("way"), ElementsAre("error", "crash", "endless", "none"));
  EXPECT_THAT(textsOf("message")[0], HasSubstr("returned an error at the time 0.5"));
  EXPECT_THAT(numbersOf("lastTime"), ElementsAre(0.5, 0.5, 0.5, 1.0));
  EXPECT_TRUE(fs::exists(file("sweep.qat.d/000001.qat"))) << "the log of the crashed run";
}

// Without isolation a crash takes the run's process with it, and nothing else.
TEST_F(SweepTest, ACrashWithoutIsolationIsARowToo) {
  writeBytes(file("runs.csv"), "way\r\nexit\r\nnone\r\n");
  SweepOptions chosen = of("misbehaving_fmi2");
  chosen.table = file("runs.csv");
  EXPECT_EQ(run(chosen), ExitStatus::failed);
  EXPECT_THAT(textsOf("status"), ElementsAre("crashed", "done"));
  EXPECT_EQ(textsOf("message")[0], "the run ended its process (status 3)");
  EXPECT_TRUE(std::isnan(numbersOf("lastTime")[0]));
}

TEST_F(SweepTest, ResumeMakesTheRunsThatAreNotDone) {
  SweepOptions chosen = of("bouncing_ball_fmi2");
  chosen.grids = {"e=0.5:0.7:3"};
  chosen.run.finals = {"h"};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const std::vector<double> finals = numbersOf("h");
  SweepTable table(planSweep(chosen), {"h"});
  table.take(file("sweep.qat"));
  table.rows()[1] = {"crashed", "", 0.0, 0.0, {0.0}};
  table.save(file("sweep.qat"));
  for (const char* name : {"000000.qat", "000001.qat", "000002.qat"}) fs::remove(file("sweep.qat.d") / name);
  chosen.resume = true;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_EQ(numbersOf("h"), finals);
  EXPECT_FALSE(fs::exists(file("sweep.qat.d/000000.qat")));
  EXPECT_TRUE(fs::exists(file("sweep.qat.d/000001.qat")));
}

TEST_F(SweepTest, ShardsMakeEveryRunOnceAndResumeBringsThemTogether) {
  SweepOptions chosen = of("bouncing_ball_fmi2");
  chosen.grids = {"e=0.5:0.9:5"};
  chosen.run.finals = {"h"};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const std::vector<double> whole = numbersOf("h");
  fs::remove_all(file("sweep.qat"));
  fs::remove_all(file("sweep.qat.d"));
  const auto results = [this] {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(file("sweep.qat.d"))) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  };
  chosen.shard = Shard{2, 2};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(out_.str(), ::testing::StartsWith("2 runs: 2 done\n"));
  EXPECT_THAT(results(), ElementsAre("000001.qat", "000003.qat", "shard-2-of-2.qat"));
  EXPECT_FALSE(fs::exists(file("sweep.qat")));
  chosen.shard = Shard{1, 2};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  for (const std::string& name : results()) {  // no run is made again
    if (!name.starts_with("shard")) fs::remove(file("sweep.qat.d") / name);
  }
  chosen.shard.reset();
  chosen.resume = true;
  ASSERT_EQ(run(chosen), ExitStatus::done) << out_.str();
  EXPECT_EQ(numbersOf("h"), whole);
  EXPECT_THAT(results(), ElementsAre("shard-1-of-2.qat", "shard-2-of-2.qat"));
  chosen.resume = false;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_EQ(results().size(), 5U) << "a new sweep forgets the shards of an old one";
}

TEST_F(SweepTest, ResumeRefusesAnotherSweep) {
  SweepOptions chosen = of("bouncing_ball_fmi2");
  chosen.grids = {"e=0.5:0.7:3"};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  chosen.resume = true;
  const auto expectOther = [&](const char* grid, const char* what) {
    chosen.grids = {grid};
    EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
    EXPECT_THAT(numbersOf("e"), ElementsAre(0.5, 0.6, 0.7));
  };
  expectOther("e=0.5:0.7:4", "does not hold 4 runs");
  expectOther("e=0.5:0.8:3", "'e' is another value");
  expectOther("vmin=0.5:0.7:3", "a number is missing");
  writeBytes(file("sweep.qat"), "this is no Qat file");
  chosen.grids = {"e=0.5:0.7:3"};
  EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr("--resume: ")));
}

TEST(SweepTableTest, ColumnsHaveNamesOfTheirOwn) {
  EXPECT_THROW(SweepTable({{"status"}, {{"1"}}}, {}), RunnerError);
  EXPECT_THROW(SweepTable({{"a"}, {{"1"}}}, {"a"}), RunnerError);
}

}  // namespace
