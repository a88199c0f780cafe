// Tables, charts and errors as they are printed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>

#include "results/commands/command.hpp"
#include "results/file/results_error.hpp"
#include "results/terminal/chart.hpp"
#include "results/terminal/text_table.hpp"

namespace {

using namespace vtio::results;

TEST(TextTable, alignsItsColumns) {
  TextTable table({{"name"}, {"samples", TextTable::Align::right}, {"unit"}});
  table.add({"höhe", "7", "m"});
  table.add({"x", "1000", ""});
  std::ostringstream out;
  table.print(out, {});
  EXPECT_EQ(out.str(),
            "name  samples  unit\n"
            "höhe        7  m\n"
            "x        1000  \n");
}

TEST(TextTable, shortensTheWidestColumnOnANarrowTerminal) {
  TextTable table({{"name"}, {"unit"}});
  table.add({std::string(100, 'a') + "END", "m"});
  std::ostringstream out;
  Style style;
  style.isTerminal = true;
  style.width = 30;
  table.print(out, style);
  std::istringstream lines(out.str());
  for (std::string line; std::getline(lines, line);) EXPECT_LE(displayWidth(line), 30U);
  EXPECT_THAT(out.str(), testing::HasSubstr("END  m"));
}

TEST(TextTable, printsNoControlCharacters) {
  TextTable table({{"name"}});
  table.add({"a\x1b[31mb\nc\u009bd\u00e4"});
  std::ostringstream out;
  table.print(out, {});
  EXPECT_EQ(out.str(), "name\na\\x1b[31mb\\x0ac\\x9bd\u00e4\n");
}

TEST(Style, hasColoursOnlyWhereTheyAreWanted) {
  Style style;
  EXPECT_EQ(style.red("x"), "x");
  style.hasColour = true;
  EXPECT_EQ(style.red("x"), "\x1b[31mx\x1b[0m");
}

TEST(Shortened, keepsBothEnds) {
  EXPECT_EQ(shortened("abcdef", 6), "abcdef");
  EXPECT_EQ(shortened("abcdefgh", 5), "ab…gh");
  EXPECT_EQ(shortened("äöüäöü", 3), "ä…ü");
}

TEST(Sparkline, risesWithItsValues) {
  EXPECT_EQ(sparkline(std::vector<double>{0, 1, 2, 3, 4, 5, 6, 7}, 8), "▁▂▃▄▅▆▇█");
  EXPECT_EQ(sparkline(std::vector<double>{0, 0, 7, 7}, 2), "▁█");
  EXPECT_EQ(sparkline(std::vector<double>{1, std::nan(""), 2}, 3), "▁ █");
  EXPECT_EQ(sparkline(std::vector<double>{}, 3), "");
}

TEST(Chart, drawsALineFromCornerToCorner) {
  Chart chart;
  chart.unit = "m";
  chart.columns = 4;
  chart.rows = 2;
  chart.from = 0;
  chart.to = 10;
  chart.curves.push_back({"h", {{0, 0}, {10, 7}}, false});
  EXPECT_EQ(chart.draw({}),
            "             ━ h  [m]\n"
            "           7┤  ⡠⠊\n"
            "           0┤⡠⠊  \n"
            "            └────\n"
            "             0 10 s\n");
}

TEST(Chart, hasRoomForTheLongestNumber) {
  Chart chart;
  chart.columns = 1;
  chart.rows = 2;
  chart.curves.push_back({"h", {{0, -1.234567e-300}, {1, 500000}}, false});
  EXPECT_THAT(chart.draw({}), testing::HasSubstr("\n      500000┤"));
  EXPECT_THAT(chart.draw({}), testing::HasSubstr("\n-1.2346e-300┤"));
}

TEST(Chart, hasTextsAtTheirHeights) {
  Chart chart;
  chart.columns = 1;
  chart.rows = 3;
  chart.ticks = {{0, "off"}, {2, "very fast indeed"}, {9, "never"}};
  chart.curves.push_back({"mode", {{0, 0}, {1, 2}}, true});
  const std::string text = chart.draw({});
  EXPECT_THAT(text, testing::HasSubstr("\nvery f…ndeed┤"));
  EXPECT_THAT(text, testing::HasSubstr("\n            │"));
  EXPECT_THAT(text, testing::HasSubstr("\n         off┤"));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("never")));
}

TEST(Chart, drawsStairsWithRightAngles) {
  Chart chart;
  chart.columns = 2;
  chart.rows = 1;
  chart.from = 0;
  chart.to = 3;
  chart.curves.push_back({"h", {{0, 0}, {3, 3}}, true});
  EXPECT_THAT(chart.draw({}), testing::HasSubstr("┤⣀⣸"));
}

int statusOf(const std::function<int()>& command, std::string& line) {
  std::ostringstream err;
  const int status = runCommand(command, err);
  line = err.str();
  return status;
}

TEST(RunCommand, turnsFailuresIntoOneLineAndAStatus) {
  std::string line;
  EXPECT_EQ(statusOf([] { return 1; }, line), 1);
  EXPECT_EQ(line, "");
  EXPECT_EQ(statusOf([]() -> int { throw ResultsError("run.qat", "bad\nnews"); }, line), 2);
  EXPECT_EQ(line, "qat: run.qat: bad\\x0anews\n");
  EXPECT_EQ(statusOf([]() -> int { throw Interrupted(); }, line), 130);
  EXPECT_EQ(line, "");
  EXPECT_EQ(statusOf([]() -> int { throw std::bad_alloc(); }, line), 2);
  EXPECT_EQ(line, "qat: not enough memory\n");
}

TEST(TimeOptions, refuseRangesThatAreNone) {
  EXPECT_TRUE(TimeOptions{}.range().isAll());
  EXPECT_THROW(static_cast<void>(TimeOptions{std::nan(""), {}}.range()), ResultsError);
  EXPECT_THROW(static_cast<void>(TimeOptions{2, 1}.range()), ResultsError);
  EXPECT_EQ((TimeOptions{1, 1}.range().from), 1);
}

}  // namespace
