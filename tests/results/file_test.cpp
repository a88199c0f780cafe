// Results in Qat files, and the commands over them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "example_file.hpp"
#include "results/commands/check.hpp"
#include "results/commands/complete.hpp"
#include "results/commands/diff.hpp"
#include "results/commands/export_signals.hpp"
#include "results/commands/ls.hpp"
#include "results/commands/plot.hpp"
#include "results/commands/show.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using Json = nlohmann::json;

class FileTest : public testing::Test {
 protected:
  FileTest() { vtio::tests::writeExampleFile(file_); }

  /// What a command prints; its status goes to status_.
  std::string printed(const std::function<int(const Console&)>& command) {
    std::ostringstream out;
    status_ = command(Console{out, {}, {}});
    return out.str();
  }

  vtio::tests::TemporaryFolder folder_;
  std::string file_ = folder_.path("run.qat");
  int status_ = -1;
};

TEST_F(FileTest, listsEverySignalInOrder) {
  const ResultsFile file(file_);
  std::vector<std::string> names;
  for (const SignalInfo& signal : file.signals()) names.push_back(signal.name);
  EXPECT_THAT(names, testing::ElementsAre("wheels.speed", "wheels.on", "wheels.name", "mode", "charge", "matrix",
                                          "wave", "late"));
}

TEST_F(FileTest, textsThatAreNoColumnsHaveASizeToo) {
  vtio::tests::writeExampleArrays(file_);
  const ResultsFile file(file_);
  EXPECT_EQ(file.storedBytes(file.find("wheels.name")), 50U);
  EXPECT_EQ(file.storedBytes(file.find("wheels.speed")), 80U);
}

TEST_F(FileTest, readsDescriptions) {
  const ResultsFile file(file_);
  const SignalInfo& speed = file.find("wheels.speed");
  EXPECT_EQ(speed.dataset, "logsout");
  EXPECT_EQ(speed.element, "wheels");
  EXPECT_THAT(speed.blockPath, testing::ElementsAre("top/model", "wheels"));
  EXPECT_EQ(speed.port, 1U);
  EXPECT_EQ(speed.unit, "rad/s");
  EXPECT_EQ(speed.interpolation, "linear");
  EXPECT_EQ(speed.decimation, 2U);
  EXPECT_EQ(speed.sampleTime, "0.5");
  EXPECT_EQ(speed.first, 0);
  EXPECT_EQ(speed.last, 4.5);
  EXPECT_EQ(file.find("wheels.on").typeName, "logical");
  EXPECT_EQ(file.find("wheels.name").typeName, "text");
  EXPECT_EQ(file.find("mode").typeName, "Mode");
  EXPECT_EQ(file.find("mode").labels, (EnumLabels{{"OFF", 0}, {"ON", 1}}));
  EXPECT_EQ(file.find("charge").fixedPoint, (FixedPoint{false, 8, -1, 1, 10}));
  EXPECT_THAT(file.find("matrix").dimensions, testing::ElementsAre(2, 2));
  EXPECT_TRUE(file.find("wave").type.isComplex);
}

TEST_F(FileTest, readsSamples) {
  const ResultsFile file(file_);
  const SignalInfo& speed = file.find("wheels.speed");
  const Series series = readSeries(file, speed, {1, 2});
  EXPECT_THAT(series.times, testing::ElementsAre(1, 1.5, 2));
  EXPECT_EQ(ShownValues(speed).number(series.view().sample(1), 0), 2.25);
  const SignalInfo& name = file.find("wheels.name");
  EXPECT_THAT(readSeries(file, name, {0, 0.5}).texts, testing::ElementsAre("even, \"so\"", ""));
}

TEST_F(FileTest, refusesWhatIsNoResultsFile) {
  folder_.write("text.qat", "no file of this kind");
  for (const std::string& path : {folder_.path("text.qat"), folder_.path("missing.qat"), folder_.path("")}) {
    try {
      const ResultsFile file(path);
      FAIL() << path << " was read";
    } catch (const ResultsError& error) {
      EXPECT_THAT(error.what(), testing::StartsWith(path + ": "));
    }
  }
}

TEST_F(FileTest, lsPrintsJson) {
  const Json json = Json::parse(printed([&](const Console& console) {
    return listSignals({file_, {}, true}, console);
  }));
  EXPECT_EQ(json["file"], file_);
  EXPECT_EQ(json["complete"], true);
  ASSERT_EQ(json["signals"].size(), 8U);
  EXPECT_EQ(json["signals"][4]["fixedPoint"]["bias"], 10);
  EXPECT_EQ(json["signals"][4]["type"], "uint8");
  EXPECT_EQ(json["signals"][7]["samples"], 3);
}

TEST_F(FileTest, lsOfAPatternThatMatchesNothingListsNothing) {
  const Json json = Json::parse(printed([&](const Console& console) {
    return listSignals({file_, {"engine*"}, true}, console);
  }));
  EXPECT_TRUE(json["signals"].empty());
  EXPECT_EQ(status_, kDone);
}

TEST_F(FileTest, lsPrintsATableAndATree) {
  const std::string table = printed([&](const Console& console) { return listSignals({file_, {}}, console); });
  EXPECT_THAT(table, testing::HasSubstr("wheels.speed  top/model|wheels   double"));
  EXPECT_THAT(table, testing::ContainsRegex("wheels.name .* 170 B\n"));  // 10 x 12 and 5 texts of 10 bytes
  EXPECT_THAT(table, testing::ContainsRegex("matrix .* 320 B\n"));
  const std::string tree = printed([&](const Console& console) {
    return listSignals({file_, {"wheels.*"}, false, true}, console);
  });
  EXPECT_EQ(tree,
            "logsout\n"
            "└─ wheels\n"
            "   ├─ speed  double [rad/s], 10 samples\n"
            "   ├─ on  logical, 10 samples\n"
            "   └─ name  text, 10 samples\n");
}

TEST_F(FileTest, showPrintsStatisticsAndValues) {
  ShowSettings settings{file_, "wheels.speed", 1, 1, {}, false};
  const std::string text = printed([&](const Console& console) { return showSignal(settings, console); });
  for (const char* part : {"samples       10\n", "largest gap   0.5 s\n", "min           0 rad/s\n",
                           "max           20.25 rad/s\n", "mean          7.125 rad/s\n", "NaNs          0\n"}) {
    EXPECT_THAT(text, testing::HasSubstr(part));
  }
  EXPECT_THAT(text, testing::EndsWith("time [s]  value [rad/s]\n"
                                      "       0              0\n"
                                      "       …              …\n"
                                      "     4.5          20.25\n"));
}

TEST_F(FileTest, showPrintsJson) {
  ShowSettings settings{file_, "mode", {}, {}, {1.0, 2.0}, true};
  const Json json = Json::parse(printed([&](const Console& console) { return showSignal(settings, console); }));
  EXPECT_EQ(json["name"], "mode");
  EXPECT_EQ(json["time"], (Json{1, 1.5, 2}));
  EXPECT_EQ(json["values"], (Json{"OFF", "ON", "OFF"}));
}

TEST_F(FileTest, exportSplitsByTable) {
  ExportSettings settings;
  settings.file = file_;
  settings.patterns = {"late", "wheels.speed"};
  settings.output = folder_.path("x.csv");
  settings.split = true;
  printed([&](const Console& console) { return exportSignals(settings, console); });
  EXPECT_THAT(folder_.files(), testing::ElementsAre("run.qat", "x.0.csv", "x.1.csv"));
  EXPECT_THAT(folder_.read("x.1.csv"), testing::StartsWith("time,late\r\n0.25,1152921504606846976\r\n"));
}

TEST_F(FileTest, exportLeavesNothingWhenItIsInterrupted) {
  const std::atomic<bool> interrupted{true};
  for (const char* name : {"x.csv", "x.json", "x.sqlite", "x.npz"}) {
    ExportSettings settings;
    settings.file = file_;
    settings.output = folder_.path(name);
    std::ostringstream out;
    EXPECT_THROW(exportSignals(settings, Console{out, {}, {{}, &interrupted}}), Interrupted) << name;
  }
  EXPECT_THAT(folder_.files(), testing::ElementsAre("run.qat"));
}

TEST_F(FileTest, exportRefusesFormatsItDoesNotKnow) {
  ExportSettings settings;
  settings.file = file_;
  settings.output = folder_.path("x.xls");
  std::ostringstream out;
  EXPECT_THROW(exportSignals(settings, Console{out, {}, {}}), ResultsError);
  settings.format = "xls";
  EXPECT_THROW(exportSignals(settings, Console{out, {}, {}}), ResultsError);
}

TEST_F(FileTest, diffSaysWhatDeviates) {
  const std::string other = folder_.path("other.qat");
  vtio::tests::writeExampleFile(other, 0.5);
  DiffSettings settings;
  settings.a = file_;
  settings.b = other;
  const std::string text = printed([&](const Console& console) { return diffFiles(settings, console); });
  EXPECT_EQ(status_, kNo);
  EXPECT_EQ(text,
            "wheels.speed\n"
            "  6 of 10 values deviate\n"
            "  first: 4 and 4.5 at 2 s (0.5 apart)\n"
            "  largest: 4 and 4.5 at 2 s (0.5 apart)\n"
            "7 equal, 1 different, 0 in one file only\n");
  settings.atol = 0.5;
  printed([&](const Console& console) { return diffFiles(settings, console); });
  EXPECT_EQ(status_, kDone);
  settings.atol = 0;
  folder_.write("tolerances.txt", "wheels.*, 0.2, 0");
  settings.tolerances = folder_.path("tolerances.txt");
  printed([&](const Console& console) { return diffFiles(settings, console); });
  EXPECT_EQ(status_, kDone);
}

TEST_F(FileTest, checkFindsASoundFileComplete) {
  const std::string text = printed([&](const Console& console) { return checkFile({file_}, console); });
  EXPECT_EQ(status_, kDone);
  EXPECT_EQ(text, file_ + ": 8 signals, 73 samples, last time 4.5 s\ncomplete and sound\n");
}

TEST_F(FileTest, checkFindsAFileThatWasNotClosedIncompleteAndMendsIt) {
  const std::string killed = folder_.path("killed.qat");
  vtio::tests::writeUnfinishedFile(killed);
  const std::string found = killed + ": 1 signal, 3 samples, last time 1 s\n";
  EXPECT_EQ(printed([&](const Console& console) { return checkFile({killed}, console); }),
            found +
                "incomplete: its writer ended before it closed the file; what it flushed is here (--mend closes the "
                "file)\n");
  EXPECT_EQ(status_, kNo);
  EXPECT_THAT(printed([&](const Console& console) {
                return listSignals({killed, {}, true, false, false}, console);
              }),
              testing::HasSubstr("\"complete\": false"));
  EXPECT_EQ(printed([&](const Console& console) {
              return checkFile({killed, true}, console);
            }),
            found + "complete and sound\n");
  EXPECT_EQ(status_, kDone);
  EXPECT_THROW(printed([&](const Console& console) { return checkFile({killed + "x", true}, console); }), ResultsError);
}

TEST_F(FileTest, plotDrawsInTheTerminal) {
  PlotSettings settings{file_, {"wheels.speed", "mode", "wheels.on"}, "", "", {}, false};
  const std::string text = printed([&](const Console& console) { return plotSignals(settings, console); });
  EXPECT_THAT(text, testing::HasSubstr("━ wheels.speed  [rad/s]"));
  EXPECT_THAT(text, testing::HasSubstr("\n          ON┤"));
  EXPECT_THAT(text, testing::HasSubstr("\n         OFF┤"));
  EXPECT_THAT(text, testing::HasSubstr("\n   wheels.on┤"));
}

TEST_F(FileTest, plotOutsideOfAllSamplesIsRefused) {
  PlotSettings settings{file_, {"wheels.speed"}, "", "", {}, false};
  settings.time.from = 9;
  std::ostringstream out;
  EXPECT_THROW(plotSignals(settings, Console{out, {}, {}}), ResultsError);
}

TEST_F(FileTest, filesThatAreReadAreNotWritten) {
  const std::string link = folder_.path("link.svg");
  std::filesystem::create_hard_link(file_, link);
  ExportSettings exported;
  exported.file = file_;
  exported.output = link;
  exported.format = "csv";
  PlotSettings plot{file_, {"mode"}, link, "", {}, false};
  PlotSettings compared{folder_.path("other.qat"), {"mode"}, link, file_, {}, false};
  DiffSettings diff;
  diff.a = folder_.path("other.qat");
  diff.b = file_;
  diff.plot = link;
  vtio::tests::writeExampleFile(diff.a, 1);
  const auto size = std::filesystem::file_size(file_);
  std::ostringstream out;
  const Console console{out, {}, {}};
  EXPECT_THROW(exportSignals(exported, console), ResultsError);
  EXPECT_THROW(plotSignals(plot, console), ResultsError);
  EXPECT_THROW(plotSignals(compared, console), ResultsError);
  EXPECT_THROW(diffFiles(diff, console), ResultsError);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(std::filesystem::file_size(file_), size);
  EXPECT_NO_THROW(ResultsFile{file_});
}

TEST_F(FileTest, showTakesAPatternThatMatchesOneSignal) {
  EXPECT_THAT(printed([&](const Console& console) {
                return showSignal({file_, "*.speed", {}, {}, {}}, console);
              }),
              testing::StartsWith("wheels.speed\n"));
  std::ostringstream out;
  try {
    showSignal({file_, "wheels.*", {}, {}, {}}, Console{out, {}, {}});
    ADD_FAILURE() << out.str();
  } catch (const ResultsError& error) {
    EXPECT_EQ(error.what(), file_ +
                                ": 'wheels.*' matches 3 signals, 'wheels.speed' and 'wheels.on' among them; "
                                "show takes one");
  }
}

TEST_F(FileTest, completionKnowsSignalsAndKeepsQuietOtherwise) {
  EXPECT_EQ(printed([&](const Console& console) { return completeSignals({file_, "ma"}, console); }), "matrix\n");
  EXPECT_EQ(printed([&](const Console& console) { return completeSignals({"missing", ""}, console); }), "");
}

}  // namespace
