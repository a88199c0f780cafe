// Reduction to pixels, figures, and what gnuplot is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "dice.hpp"
#include "memory_source.hpp"
#include "results/file/results_error.hpp"
#include "results/plot/figure.hpp"
#include "results/plot/gnuplot.hpp"

namespace {

using namespace vtio::results;
using vtio::tests::allOf;
using vtio::tests::ResultsBuilder;

TEST(MinMaxReducer, keepsFewPointsAsTheyAre) {
  MinMaxReducer reducer(0, 10, 10);
  const std::vector<Point> points = {{0, 1}, {3, 5}, {7, -1}, {10, 2}};
  for (const Point& point : points) reducer.add(point.time, point.value);
  EXPECT_EQ(reducer.finish(), points);
}

TEST(MinMaxReducer, keepsEveryPixelsFirstLeastGreatestAndLast) {
  vtio::tests::Dice dice(2);
  constexpr std::size_t kPixels = 100;
  MinMaxReducer reducer(0, 1, kPixels);
  std::vector<Point> all;
  for (int i = 0; i < 20'000; ++i) all.push_back({i / 20'000.0, std::sin(i * 0.01) + (dice(1000) == 0 ? 50.0 : 0.0)});
  for (const Point& point : all) reducer.add(point.time, point.value);
  const std::vector<Point> kept = reducer.finish();
  EXPECT_LE(kept.size(), 4 * kPixels);
  const auto limits = [&](const std::vector<Point>& points) {
    std::map<int, std::vector<double>> result;  // pixel: first, least, greatest, last
    for (const Point& point : points) {
      auto [entry, isNew] = result.emplace(static_cast<int>(point.time * kPixels), std::vector<double>(4, point.value));
      entry->second[1] = std::min(entry->second[1], point.value);
      entry->second[2] = std::max(entry->second[2], point.value);
      entry->second[3] = point.value;
    }
    return result;
  };
  EXPECT_EQ(limits(kept), limits(all));
  EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end(), [](auto& a, auto& b) { return a.time < b.time; }));
}

TEST(MinMaxReducer, keepsGaps) {
  MinMaxReducer reducer(0, 4, 1);
  for (const double value : {1.0, std::nan(""), std::nan(""), 2.0}) reducer.add(1, value);
  const std::vector<Point> kept = reducer.finish();
  ASSERT_EQ(kept.size(), 3U);
  EXPECT_EQ(kept[0].value, 1);
  EXPECT_TRUE(std::isnan(kept[1].value));
  EXPECT_EQ(kept[2].value, 2);
}

ResultsFile flight() {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2});
  SignalInfo& height = builder.addDoubles(0, "height", {1, 2, 3});
  height.unit = "m";
  height.interpolation = "linear";
  builder.addDoubles(0, "width", {4, 5, 6}).unit = "m";
  builder.addDoubles(0, "speed", {1, 2, 3, 4, 5, 6}, {2}).unit = "m/s";
  builder.add(0, "mode", {ElementClass::int32, false}, std::vector<std::int32_t>{0, 1, 0}).labels =
      EnumLabels{{"OFF", 0}, {"ON \"1\"", 1}};
  builder.add(0, "on", {ElementClass::logical, false}, std::vector<std::uint8_t>{0, 1, 0});
  builder.add(0, "off", {ElementClass::logical, false}, std::vector<std::uint8_t>{1, 0, 1});
  return builder.build("flights/run.qat");
}

TEST(Figure, hasAPanelPerUnitEnumerationAndForTracks) {
  const ResultsFile file = flight();
  const Figure figure = makeFigure(file, allOf(file), nullptr, {});
  ASSERT_EQ(figure.panels.size(), 4U);
  EXPECT_EQ(figure.title, "run.qat");
  EXPECT_EQ(figure.panels[0].unit, "m");
  EXPECT_EQ(figure.panels[0].curves.size(), 2U);
  EXPECT_FALSE(figure.panels[0].curves[0].isStairs);
  EXPECT_TRUE(figure.panels[0].curves[1].isStairs);
  EXPECT_EQ(figure.panels[1].curves[1].name, "speed[1]");
  EXPECT_THAT(figure.panels[1].curves[1].points, testing::ElementsAre(Point{0, 2}, Point{1, 4}, Point{2, 6}));
  EXPECT_EQ(figure.panels[2].kind, Panel::Kind::labels);
  EXPECT_EQ(figure.panels[2].ticks.size(), 2U);
  EXPECT_EQ(figure.panels[3].kind, Panel::Kind::tracks);
  EXPECT_EQ(figure.panels[3].ticks[1].second, "off");
  EXPECT_EQ(figure.panels[3].curves[1].points[0].value, 1.7);
  EXPECT_EQ(figure.range.to, 2);
}

TEST(Figure, drawsAComparedFileBesideIt) {
  const ResultsFile file = flight();
  const ResultsFile other = flight();
  const std::vector<const SignalInfo*> signals = {&file.find("height"), &file.find("on")};
  const Figure figure = makeFigure(file, signals, &other, {});
  ASSERT_EQ(figure.panels.size(), 2U);
  EXPECT_EQ(figure.panels[0].curves.size(), 2U);
  EXPECT_TRUE(figure.panels[0].curves[1].isOther);
  EXPECT_EQ(figure.panels[1].ticks.size(), 1U);
  EXPECT_EQ(figure.panels[1].curves[1].points, figure.panels[1].curves[0].points);
}

TEST(Figure, drawsOverTheFirstSignal) {
  const ResultsFile file = flight();
  FigureSettings settings;
  settings.isXy = true;
  const Figure figure = makeFigure(file, {&file.find("height"), &file.find("width")}, nullptr, settings);
  EXPECT_EQ(figure.xTitle, "height [m]");
  EXPECT_THAT(figure.panels.at(0).curves.at(0).points, testing::ElementsAre(Point{1, 4}, Point{2, 5}, Point{3, 6}));
  EXPECT_THROW(static_cast<void>(makeFigure(file, {&file.find("height")}, nullptr, settings)), ResultsError);
  EXPECT_THROW(static_cast<void>(makeFigure(file, {&file.find("speed"), &file.find("height")}, nullptr, settings)),
               ResultsError);
}

TEST(Figure, refusesTexts) {
  ResultsBuilder builder;
  builder.table(0, {0});
  builder.addTexts(0, "text", {"a"});
  const ResultsFile file = builder.build();
  EXPECT_THROW(static_cast<void>(makeFigure(file, allOf(file), nullptr, {})), ResultsError);
}

TEST(Figure, keepsThePeakOfAMillionPoints) {
  std::vector<double> times(1'000'000);
  std::vector<double> values(times.size());
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
  values[654'321] = 7;
  ResultsBuilder builder;
  builder.table(0, std::move(times));
  builder.addDoubles(0, "x", values);
  const ResultsFile file = builder.build();
  const Figure figure = makeFigure(file, allOf(file), nullptr, {});
  const std::vector<Point>& points = figure.panels.at(0).curves.at(0).points;
  EXPECT_LE(points.size(), 4800U);
  EXPECT_EQ(std::count(points.begin(), points.end(), Point{654'321, 7}), 1);
}

TEST(GnuplotScript, tellsStairsLabelsUnitsAndTitle) {
  const ResultsFile file = flight();
  const std::string script = gnuplotScript(makeFigure(file, allOf(file), nullptr, {}), "svg", "out.svg");
  EXPECT_THAT(script, testing::HasSubstr("title \"run.qat\""));
  EXPECT_THAT(script, testing::HasSubstr("using 1:2 with lines lw 1.5 dt 1 title \"height\""));
  EXPECT_THAT(script, testing::HasSubstr("using 1:2 with steps lw 1.5 dt 1 title \"width\""));
  EXPECT_THAT(script, testing::HasSubstr("set ylabel \"m/s\""));
  EXPECT_THAT(script, testing::HasSubstr("set ytics (\"OFF\" 0, \"ON \\\"1\\\"\" 1)"));
  EXPECT_THAT(script, testing::HasSubstr("set xlabel \"time [s]\""));
}

TEST(GnuplotScript, runsNothingThatANameSays) {
  ResultsBuilder builder;
  builder.table(0, {0});
  builder.addDoubles(0, "a\"; system \"x`date`\n!ls", {1});
  const ResultsFile file = builder.build();
  const std::string script = gnuplotScript(makeFigure(file, allOf(file), nullptr, {}), "svg", "out.svg");
  EXPECT_THAT(script, testing::HasSubstr(R"(title "a\"; system \"x'date' !ls")"));
}

TEST(RunWithInput, givesTheStatusOfTheProgram) {
  EXPECT_EQ(runWithInput("true", "ignored"), 0);
  EXPECT_EQ(runWithInput("false", std::string(1 << 20, 'x')), 1);
  EXPECT_EQ(runWithInput("no-such-program-at-all", ""), 127);
}

}  // namespace
