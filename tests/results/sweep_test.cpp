// Sweeps: conditions on runs, their table as results, several runs as one file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "example_file.hpp"
#include "results/commands/check.hpp"
#include "results/commands/complete.hpp"
#include "results/commands/diff.hpp"
#include "results/commands/export_signals.hpp"
#include "results/commands/ls.hpp"
#include "results/commands/plot.hpp"
#include "results/commands/show.hpp"
#include "results/file/results_error.hpp"
#include "results/sweep/over_parameter.hpp"
#include "results/sweep/run_condition.hpp"
#include "results/sweep/run_files.hpp"
#include "results/sweep/run_table.hpp"
#include "results/values/series.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;  // NOLINT(google-build-using-namespace): the subject here
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::ThrowsMessage;
using vtio::tests::TemporaryFolder;
using Operator = RunCondition::Operator;
using Strings = std::vector<std::string>;

TEST(RunConditionTest, readsEveryOperatorWithAndWithoutBlanks) {
  const Strings names{"a", "a b", "k<2"};
  for (const auto& [sign, op] : std::vector<std::pair<std::string, Operator>>{{"<", Operator::less},
                                                                              {"<=", Operator::lessOrEqual},
                                                                              {">", Operator::greater},
                                                                              {">=", Operator::greaterOrEqual},
                                                                              {"=", Operator::equal},
                                                                              {"==", Operator::equal},
                                                                              {"!=", Operator::notEqual}}) {
    for (const std::string& text : {"a" + sign + "1.5", " a " + sign + " 1.5 "}) {
      const RunCondition read = parseCondition(text, names);
      EXPECT_EQ(read.column, "a") << text;
      EXPECT_EQ(read.op, op) << text;
      EXPECT_EQ(read.value, "1.5") << text;
    }
  }
  EXPECT_EQ(parseCondition("a b=x y", names).column, "a b");
  EXPECT_EQ(parseCondition("k<2>=3", names).column, "k<2") << "names may hold operators";
  EXPECT_EQ(parseCondition("other<3", names).column, "other") << "the table says that there is none";
  for (const char* text : {"", "a", "a~1", "<1", "=", "all"}) {
    EXPECT_THAT([&] { (void)parseCondition(text, names); }, ThrowsMessage<ResultsError>(HasSubstr("no condition")))
        << text;
  }
}

TEST(RunConditionTest, comparesNumbers) {
  for (const double number : {1.0, 2.0, 3.0}) {
    EXPECT_EQ((RunCondition{"", Operator::less, ""}.holds(number, 2)), number < 2);
    EXPECT_EQ((RunCondition{"", Operator::lessOrEqual, ""}.holds(number, 2)), number <= 2);
    EXPECT_EQ((RunCondition{"", Operator::greater, ""}.holds(number, 2)), number > 2);
    EXPECT_EQ((RunCondition{"", Operator::greaterOrEqual, ""}.holds(number, 2)), number >= 2);
    EXPECT_EQ((RunCondition{"", Operator::equal, ""}.holds(number, 2)), number == 2);
    EXPECT_EQ((RunCondition{"", Operator::notEqual, ""}.holds(number, 2)), number != 2);
  }
}

class SweepFile : public testing::Test {
 protected:
  SweepFile() { vtio::tests::writeSweep(path_); }

  template <class Settings>
  std::string output(int (*command)(const Settings&, const Console&), const Settings& settings, int status = kDone) {
    std::ostringstream out;
    EXPECT_EQ(command(settings, {out, {}, {}}), status);
    return out.str();
  }

  template <class Settings>
  void expectRefused(int (*command)(const Settings&, const Console&), const Settings& settings,
                     const std::string& what) {
    std::ostringstream out;
    EXPECT_THAT([&] { (void)command(settings, {out, {}, {}}); }, ThrowsMessage<ResultsError>(HasSubstr(what)));
    EXPECT_EQ(out.str(), "") << what;
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.path("sweep.qat");
};

TEST_F(SweepFile, isToldFromOtherFiles) {
  EXPECT_TRUE(RunTable::isSweep(path_));
  EXPECT_FALSE(RunTable::isSweep(path_ + ".d/000000.qat"));
  EXPECT_THROW((void)RunTable::isSweep(folder_.path("none.qat")), ResultsError);
}

TEST_F(SweepFile, hasColumnsOfThreeRoles) {
  const RunTable table(path_);
  EXPECT_EQ(table.runs(), 4U);
  std::vector<std::pair<std::string, RunColumn::Role>> columns;
  for (const RunColumn& column : table.columns()) columns.emplace_back(column.name, column.role);
  using Role = RunColumn::Role;
  EXPECT_THAT(columns, ElementsAre(std::pair("stiffness", Role::parameter), std::pair("material", Role::parameter),
                                   std::pair("status", Role::outcome), std::pair("message", Role::outcome),
                                   std::pair("seconds", Role::outcome), std::pair("lastTime", Role::outcome),
                                   std::pair("s0", Role::final)));
  EXPECT_EQ(table.parametersOf(2), "stiffness=3, material=oak");
  EXPECT_EQ(table.find("s0").text(1), "11");
  EXPECT_EQ(table.fileOf(17), path_ + ".d/000017.qat");
  EXPECT_THAT([&] { (void)table.find("stifness"); }, ThrowsMessage<ResultsError>(HasSubstr("mean 'stiffness'?")));
}

TEST_F(SweepFile, selectsTheRunsForWhichAllConditionsHold) {
  const RunTable table(path_);
  const auto select = [&](const Strings& conditions) { return table.select(conditions); };
  EXPECT_THAT(select({}), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(select({"all"}), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(select({"stiffness>2"}), ElementsAre(2, 3));
  EXPECT_THAT(select({"stiffness>2", "status=done"}), ElementsAre(2));
  EXPECT_THAT(select({"material!=oak"}), ElementsAre(1, 3));
  EXPECT_THAT(select({"run<2"}), ElementsAre(0, 1));
  EXPECT_THAT(select({"s0>=11"}), ElementsAre(1, 2)) << "a run that failed has none";
  EXPECT_THAT(
      [&] {
        (void)select({"stiffness>9", "run<2"});
      },
      ThrowsMessage<ResultsError>(HasSubstr("no run of 4 has stiffness>9 and run<2")));
  EXPECT_THAT([&] { (void)select({"material<oak"}); }, ThrowsMessage<ResultsError>(HasSubstr("by = and != only")));
  EXPECT_THAT([&] { (void)select({"stiffness>much"}); }, ThrowsMessage<ResultsError>(HasSubstr("is no number")));
  EXPECT_THAT([&] { (void)select({"status"}); }, ThrowsMessage<ResultsError>(HasSubstr("is no condition")));
}

TEST_F(SweepFile, isAFileOfItsRuns) {
  const ResultsFile file = RunTable(path_).asResults();
  EXPECT_EQ(file.axis().title(), "run");
  const Series s0 = readSeries(file, file.find("s0"), {1, 2});
  EXPECT_THAT(s0.times, ElementsAre(1, 2));
  EXPECT_EQ(std::memcmp(s0.bytes.data(), std::vector<double>{11, 12}.data(), 16), 0);
  EXPECT_THAT(readSeries(file, file.find("material")).texts, ElementsAre("oak", "fir", "oak", "fir"));
}

TEST_F(SweepFile, openedRunsHaveSignalsOfAllOfThem) {
  const RunTable table(path_);
  const std::vector<std::size_t> runs{0, 2, 3};
  const Strings patterns{"s1", "s*"};
  const auto names = [&](RunNames how) {
    const ResultsFile file = openRuns(table, runs, patterns, how);
    Strings found;
    for (const SignalInfo& signal : file.signals()) found.push_back(signal.name);
    return found;
  };
  EXPECT_THAT(names(RunNames::numbers), ElementsAre("s1@0", "s1@2", "s0@0", "s0@2"));
  EXPECT_THAT(names(RunNames::parameters),
              ElementsAre("s1 (stiffness=1, material=oak)", "s1 (stiffness=3, material=oak)",
                          "s0 (stiffness=1, material=oak)", "s0 (stiffness=3, material=oak)"));
  const ResultsFile file = openRuns(table, runs, patterns, RunNames::numbers);
  const Series s0 = readSeries(file, file.find("s0@2"), {0, 0});
  double first = 0;
  std::memcpy(&first, s0.bytes.data(), sizeof first);
  EXPECT_EQ(first, 12.0);
  const std::vector<std::size_t> failed{3};
  EXPECT_THAT([&] { (void)openRuns(table, failed, {}, RunNames::numbers); },
              ThrowsMessage<ResultsError>(HasSubstr("left results")));
  const Strings none{"s0", "q"};
  EXPECT_THAT([&] { (void)openRuns(table, runs, none, RunNames::numbers); },
              ThrowsMessage<ResultsError>(HasSubstr("no signal 'q'")));
}

TEST_F(SweepFile, lsListsRunsOrTheSignalsOfOne) {
  const std::string all = output(listSignals, LsSettings{path_, {}, false, false, false, {}});
  EXPECT_THAT(all, StartsWith("run  stiffness  material  status"));
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 5);
  EXPECT_THAT(all, HasSubstr("failed"));
  EXPECT_THAT(all, HasSubstr("it broke, at once"));
  const std::string few = output(listSignals, LsSettings{path_, {"s0"}, false, false, false, {{}, {"stiffness>2"}}});
  EXPECT_EQ(few, "run  status   s0\n  2  done     12\n  3  failed  NaN\n");
  const std::string one = output(listSignals, LsSettings{path_, {"s1"}, false, false, false, {2, {}}});
  EXPECT_THAT(one, HasSubstr("s1    top/model|s1  double"));
  const auto json =
      nlohmann::json::parse(output(listSignals, LsSettings{path_, {}, true, false, false, {{}, {"run>1"}}}));
  EXPECT_EQ(json["runs"].size(), 2U);
  EXPECT_EQ(json["runs"][0]["parameters"], (nlohmann::json{{"stiffness", 3.0}, {"material", "oak"}}));
  EXPECT_EQ(json["runs"][0]["final"]["s0"], 12.0);
  EXPECT_EQ(json["runs"][0]["file"], path_ + ".d/000002.qat");
  EXPECT_TRUE(json["runs"][1]["file"].is_null() && json["runs"][1]["lastTime"].is_null());
  expectRefused(listSignals, LsSettings{path_, {}, false, true, false, {}}, "choose it with --run");
  expectRefused(listSignals, LsSettings{path_, {}, false, false, false, {4, {}}}, "the sweep has runs 0 to 3");
  expectRefused(listSignals, LsSettings{path_, {}, false, false, false, {3, {}}},
                "run 3 is failed and left no results");
  expectRefused(listSignals, LsSettings{path_ + ".d/000000.qat", {}, false, false, false, {1, {}}}, "is no sweep");
}

TEST_F(SweepFile, showTakesAColumnOrASignalOfARun) {
  ShowSettings settings;
  settings.file = path_;
  settings.signal = "stiffness";
  EXPECT_THAT(output(showSignal, settings), testing::ContainsRegex("run +value\n +0 +1\n +1 +2\n"));
  settings.runs.run = 1;
  settings.signal = "s0";
  EXPECT_THAT(output(showSignal, settings), HasSubstr("time [s]"));
  settings.runs = {{}, {"stiffness=2"}};
  EXPECT_THAT(output(showSignal, settings), StartsWith("s0@1\n"));
}

TEST_F(SweepFile, exportWritesTheTableOrSignalsOfRuns) {
  ExportSettings settings;
  settings.file = path_;
  settings.output = folder_.path("runs.csv");
  settings.patterns = {"stiffness", "message"};
  output(exportSignals, settings);
  EXPECT_EQ(folder_.read("runs.csv"),
            "run,stiffness,message\r\n0,1,\"\"\r\n1,2,\"\"\r\n2,3,\"\"\r\n3,4,\"it broke, at once\"\r\n");
  settings.patterns = {"s0"};
  settings.runs.conditions = {"run<2"};
  settings.time.to = 0;
  output(exportSignals, settings);
  EXPECT_EQ(folder_.read("runs.csv"), "time,s0@0,s0@1\r\n0,10,11\r\n");
}

TEST_F(SweepFile, plotDrawsACurvePerRunOrFinalValuesOverAParameter) {
  PlotSettings settings;
  settings.file = path_;
  settings.signals = {"s0"};
  const std::string all = output(plotSignals, settings);
  for (const char* name :
       {"s0 (stiffness=1, material=oak)", "s0 (stiffness=2, material=fir)", "s0 (stiffness=3, material=oak)"}) {
    EXPECT_THAT(all, HasSubstr(name));
  }
  settings.runs.conditions = {"run=1"};
  EXPECT_THAT(output(plotSignals, settings), Not(HasSubstr("stiffness=1")));
  settings.xy = true;
  settings.signals = {"s0", "s1"};
  expectRefused(plotSignals, settings, "--xy is for one run");

  const RunTable table(path_);
  const std::vector<std::size_t> runs{2, 0, 1};
  const Strings column{"s0"};
  const Figure figure = figureOver(table, runs, "stiffness", column);
  ASSERT_EQ(figure.panels.size(), 1U);
  ASSERT_EQ(figure.panels[0].curves.size(), 1U) << "a curve for fir would have one point";
  EXPECT_THAT(figure.panels[0].curves[0].points, ElementsAre(Point{1, 10}, Point{2, 11}, Point{3, 12}));
  EXPECT_EQ(figure.xTitle, "stiffness");
  EXPECT_EQ(figure.range.from, 1.0);
  EXPECT_EQ(figure.range.to, 3.0);
  EXPECT_EQ(figureOver(table, table.select({}), "stiffness", column).panels[0].curves.size(), 2U) << "oak and fir";
  EXPECT_THROW((void)figureOver(table, runs, "material", column), ResultsError);
  settings.over = "stiffness";
  expectRefused(plotSignals, settings, "--over goes with neither");
  settings.xy = false;
  settings.file = path_ + ".d/000000.qat";
  expectRefused(plotSignals, settings, "is no sweep");
}

TEST_F(SweepFile, diffComparesRunByRun) {
  const std::string other = folder_.path("other.qat");
  vtio::tests::writeSweep(other, 0.5);
  DiffSettings settings;
  settings.a = path_;
  settings.b = path_;
  EXPECT_EQ(output(diffFiles, settings), "4 runs equal, 0 different\n");
  settings.b = other;
  const std::string text = output(diffFiles, settings, kNo);
  EXPECT_THAT(text, StartsWith("run 1, stiffness=2, material=fir\ns0\n  10 of 10 values deviate\n"));
  EXPECT_THAT(text, testing::EndsWith("3 runs equal, 1 different\n"));
  settings.json = true;
  const auto json = nlohmann::json::parse(output(diffFiles, settings, kNo));
  EXPECT_EQ(json["equal"], false);
  EXPECT_EQ(json["runs"][1]["signals"][0]["deviating"], 10);
  EXPECT_EQ(json["runs"][0]["equal"], true);
  settings.atol = 0.5;
  output(diffFiles, settings);
  settings.atol = 0;
  settings.json = false;
  settings.runs.conditions = {"run!=1"};
  EXPECT_EQ(output(diffFiles, settings), "3 runs equal, 0 different\n");
  settings.runs = {1, {}};
  EXPECT_THAT(output(diffFiles, settings, kNo), HasSubstr("2 different"));
  settings.b = path_ + ".d/000001.qat";
  output(diffFiles, settings);
  settings.runs = {};
  expectRefused(diffFiles, settings, "choose one of its runs");
}

TEST_F(SweepFile, checkAndCompletionGoThroughTheRuns) {
  const std::string text = output(checkFile, CheckSettings{path_, false}, kNo);
  EXPECT_THAT(text, HasSubstr("000002.qat: 2 signals, 20 samples"));
  EXPECT_THAT(text, HasSubstr("000003.qat: failed, no results"));
  EXPECT_EQ(output(completeSignals, CompleteSettings{path_, "s"}), "s0\ns1\n");
}

}  // namespace
