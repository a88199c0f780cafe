// Comparing signals and files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "dice.hpp"
#include "memory_source.hpp"
#include "results/compare/file_comparison.hpp"
#include "results/file/results_error.hpp"

namespace {

using namespace vtio::results;
using vtio::tests::ResultsBuilder;

/// A file with the signal "x" over its times.
ResultsFile fileWith(const std::vector<double>& times, const std::vector<double>& values,
                     const std::string& interpolation = "zoh") {
  ResultsBuilder builder;
  builder.table(0, times);
  builder.addDoubles(0, "x", values).interpolation = interpolation;
  return builder.build();
}

FileComparison compare(const ResultsFile& a, const ResultsFile& b, Tolerance tolerance = {}, double timeTolerance = 0) {
  return compareFiles(a, b, {}, {Tolerances(tolerance), timeTolerance});
}

SeriesComparison samplesOf(const ResultsFile& a, const ResultsFile& b, Tolerance tolerance = {},
                           double timeTolerance = 0) {
  const FileComparison result = compare(a, b, tolerance, timeTolerance);
  return result.signals.at(0).samples.value();
}

std::vector<std::string> changesOf(const ResultsFile& a, const ResultsFile& b) {
  std::vector<std::string> what;
  const FileComparison result = compare(a, b);
  for (const PropertyChange& change : result.signals.at(0).changes) what.push_back(change.what);
  return what;
}

TEST(Comparison, ofEqualFilesFindsNothing) {
  const ResultsFile a = fileWith({0, 1}, {1, std::nan("")});
  const ResultsFile b = fileWith({0, 1}, {1, -std::nan("")});
  EXPECT_TRUE(compare(a, b).isEqual());
  EXPECT_EQ(samplesOf(a, b).compared, 2U);
}

TEST(Comparison, goesThroughManyRowsInParts) {
  std::vector<double> times(140'000);
  std::iota(times.begin(), times.end(), 0.0);
  std::vector<double> values(times.size(), 1);
  const ResultsFile a = fileWith(times, values);
  values[10] = 2;
  values.back() = 4;
  const SeriesComparison found = samplesOf(a, fileWith(times, values));
  EXPECT_EQ(found.compared, times.size());
  EXPECT_EQ(found.deviating, 2U);
  EXPECT_EQ(found.first.time, 10);
  EXPECT_EQ(found.largest.time, 139'999);
  times[5] = 7;  // goes back at the next row
  EXPECT_THROW(compare(fileWith(times, values), fileWith(times, values)), ResultsError);
}

TEST(Comparison, allowsAtolPlusRtolTimesB) {
  const ResultsFile a = fileWith({0}, {110});
  const ResultsFile b = fileWith({0}, {100});
  EXPECT_EQ(samplesOf(a, b, {0.1, 0}).deviating, 0U);
  EXPECT_EQ(samplesOf(a, b, {0, 10}).deviating, 0U);
  EXPECT_EQ(samplesOf(a, b, {0.05, 5}).deviating, 0U);
  EXPECT_EQ(samplesOf(a, b, {0.099, 0}).deviating, 1U);
  EXPECT_EQ(samplesOf(b, a, {0.0909, 0}).deviating, 1U);
  EXPECT_EQ(samplesOf(b, a, {0.0910, 0}).deviating, 0U);
}

TEST(Comparison, namesTheFirstAndTheLargestDeviation) {
  const SeriesComparison result =
      samplesOf(fileWith({0, 1, 2, 3}, {0, 1, 2, 3}), fileWith({0, 1, 2, 3}, {0, 1.5, 5, 4}));
  EXPECT_EQ(result.deviating, 3U);
  EXPECT_EQ(result.first.time, 1);
  EXPECT_EQ(result.first.a, "1");
  EXPECT_EQ(result.first.b, "1.5");
  EXPECT_EQ(result.largest.time, 2);
  EXPECT_EQ(result.largest.size, 3);
}

TEST(Comparison, alignsInTimeAsSignalsSay) {
  const std::vector<double> fine = {0, 1, 2, 3, 4};
  EXPECT_EQ(samplesOf(fileWith({0, 4}, {0, 4}, "linear"), fileWith(fine, fine, "linear")).deviating, 0U);
  EXPECT_EQ(samplesOf(fileWith({0, 4}, {0, 4}), fileWith(fine, fine)).deviating, 3U);
  EXPECT_EQ(samplesOf(fileWith({0, 4}, {0, 4}), fileWith(fine, {0, 0, 0, 0, 4})).deviating, 0U);
}

TEST(Comparison, comparesTheCommonSpanAndReportsAnother) {
  const ResultsFile a = fileWith({0, 1, 2}, {0, 1, 2});
  const ResultsFile b = fileWith({1, 2, 3}, {1, 2, 3});
  EXPECT_EQ(samplesOf(a, b).compared, 2U);
  EXPECT_EQ(samplesOf(a, b).deviating, 0U);
  EXPECT_THAT(changesOf(a, b), testing::ElementsAre("span"));
  EXPECT_FALSE(compare(a, b).isEqual());
}

TEST(Comparison, comparesRepeatedTimesSampleBySample) {
  const ResultsFile a = fileWith({0, 1, 1, 2}, {0, 1, 2, 3});
  EXPECT_EQ(samplesOf(a, fileWith({0, 1, 1, 2}, {0, 9, 2, 3})).deviating, 1U);
  EXPECT_EQ(samplesOf(a, fileWith({0, 1, 2}, {0, 2, 3})).deviating, 1U);
}

TEST(Comparison, toleratesTimes) {
  const ResultsFile a = fileWith({0, 1.00, 2}, {0, 1, 2});
  const ResultsFile b = fileWith({0, 1.01, 2.01}, {0, 1, 2});
  EXPECT_FALSE(compare(a, b).isEqual());
  EXPECT_TRUE(compare(a, b, {}, 0.011).isEqual());
  EXPECT_FALSE(compare(a, b, {}, 0.009).isEqual());
  EXPECT_FALSE(compare(a, fileWith({0, 1.01, 2.01}, {0, 1.5, 2}), {}, 0.011).isEqual());
}

TEST(Comparison, demandsEqualLabelsTextsAndLogicals) {
  const auto make = [](std::int32_t mode, std::uint8_t on, const char* text) {
    ResultsBuilder builder;
    builder.table(0, {0});
    builder.add(0, "mode", {ElementClass::int32, false}, std::vector<std::int32_t>{mode}).labels =
        EnumLabels{{"OFF", 0}, {"ON", 1}};
    builder.add(0, "on", {ElementClass::logical, false}, std::vector<std::uint8_t>{on});
    builder.addTexts(0, "text", {text});
    return builder.build();
  };
  const auto deviating = [](const FileComparison& result) {
    std::vector<std::uint64_t> counts;
    for (const ComparedSignal& signal : result.signals) counts.push_back(signal.samples->deviating);
    return counts;
  };
  const Tolerance wide{10, 10};
  EXPECT_THAT(deviating(compare(make(0, 0, "a"), make(0, 0, "a"), wide)), testing::ElementsAre(0, 0, 0));
  EXPECT_THAT(deviating(compare(make(0, 0, "a"), make(1, 1, "b"), wide)), testing::ElementsAre(1, 1, 1));
  const FileComparison result = compare(make(0, 0, "a"), make(1, 0, "a"));
  EXPECT_EQ(result.signals[0].samples->first.a, "OFF");
  EXPECT_EQ(result.signals[0].samples->first.b, "ON");
}

TEST(Comparison, keepsLargeIntegersApart) {
  const auto make = [](std::int64_t value) {
    ResultsBuilder builder;
    builder.table(0, {0});
    builder.add(0, "x", {ElementClass::int64, false}, std::vector<std::int64_t>{value});
    return builder.build();
  };
  const std::int64_t large = (std::int64_t{1} << 60) + 1;
  EXPECT_EQ(samplesOf(make(large), make(large - 1)).deviating, 1U);
  EXPECT_EQ(samplesOf(make(large), make(large - 1), {0, 1}).deviating, 0U);
  EXPECT_EQ(samplesOf(make(std::numeric_limits<std::int64_t>::min()), make(std::numeric_limits<std::int64_t>::max()))
                .largest.size,
            0x1p64);
}

TEST(Comparison, infiniteValuesAreOnlyEqualToThemselves) {
  EXPECT_EQ(samplesOf(fileWith({0}, {INFINITY}), fileWith({0}, {INFINITY})).deviating, 0U);
  EXPECT_EQ(samplesOf(fileWith({0}, {INFINITY}), fileWith({0}, {1}), {1, 1}).deviating, 1U);
  EXPECT_EQ(samplesOf(fileWith({0}, {1}), fileWith({0}, {INFINITY}), {1, 1}).deviating, 1U);
  EXPECT_EQ(samplesOf(fileWith({0}, {1}), fileWith({0}, {std::nan("")}), {1, 1}).deviating, 1U);
}

TEST(Comparison, namesSignalsOfOneFileOnly) {
  ResultsBuilder a;
  a.table(0, {0});
  a.addDoubles(0, "both", {1});
  a.addDoubles(0, "mine", {1});
  ResultsBuilder b;
  b.table(0, {0});
  b.addDoubles(0, "yours", {1});
  b.addDoubles(0, "both", {1});
  const FileComparison result = compare(a.build(), b.build());
  EXPECT_THAT(result.onlyA, testing::ElementsAre("mine"));
  EXPECT_THAT(result.onlyB, testing::ElementsAre("yours"));
  EXPECT_FALSE(result.isEqual());
}

TEST(Comparison, reportsEveryChangedProperty) {
  const auto make = [](bool changed) {
    ResultsBuilder builder;
    builder.table(0, {0});
    SignalInfo& signal = changed
                             ? builder.add(0, "x", {ElementClass::int32, false}, std::vector<std::int32_t>{1, 2}, {2})
                             : builder.addDoubles(0, "x", {1});
    if (changed) signal.labels = EnumLabels{{"A", 1}};
    signal.unit = changed ? "m" : "km";
    signal.interpolation = changed ? "zoh" : "linear";
    return builder.build();
  };
  const ResultsFile a = make(false);
  const ResultsFile b = make(true);
  EXPECT_THAT(changesOf(a, b), testing::ElementsAre("type", "unit", "dimensions", "labels", "interpolation"));
  EXPECT_FALSE(compare(a, b).signals[0].samples.has_value());
  EXPECT_TRUE(changesOf(a, a).empty());
}

TEST(Comparison, countsSignalsOfAnyLengthSideBySide) {
  const auto make = [](double last) {
    ResultsBuilder builder;
    std::vector<double> times(1000);
    for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
    builder.table(0, times);
    builder.addDoubles(0, "long", times);
    builder.limitRows(builder.addDoubles(0, "short", times), 100, 70);
    builder.limitRows(builder.addDoubles(0, "none", times), 5, 0);
    times.back() = last;
    builder.add(0, "pairs", {ElementClass::float64, true}, [&] {
      std::vector<double> parts(times);
      parts.insert(parts.end(), times.begin(), times.end());
      return parts;
    }());
    return builder.build();
  };
  const FileComparison result = compare(make(999), make(7));
  std::vector<std::uint64_t> compared;
  for (const ComparedSignal& signal : result.signals) compared.push_back(signal.samples->compared);
  EXPECT_THAT(compared, testing::ElementsAre(1000, 70, 0, 2000));
  EXPECT_EQ(result.signals[3].samples->deviating, 2U);
  EXPECT_EQ(result.signals[3].samples->first.time, 499);
  EXPECT_EQ(result.signals[3].samples->first.cell, 1U);
}

TEST(Comparison, refusesAPatternOfNeitherFile) {
  const ResultsFile a = fileWith({0}, {1});
  const std::vector<std::string> patterns = {"y*"};
  EXPECT_THROW(static_cast<void>(compareFiles(a, a, patterns, ComparisonSettings())), ResultsError);
}

// Values at a time by definition.
double heldOrLine(const std::vector<double>& times, const std::vector<double>& values, bool isLinear, double time) {
  std::size_t last = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (times[i] <= time) last = i;
  }
  if (!isLinear || times[last] == time) return values[last];
  return std::lerp(values[last], values[last + 1], (time - times[last]) / (times[last + 1] - times[last]));
}

TEST(Comparison, agreesWithItsDefinition) {
  vtio::tests::Dice dice(11);
  for (int round = 0; round < 500; ++round) {
    const bool isLinear = dice(2) == 0;
    std::vector<double> times[2];
    std::vector<double> values[2];
    for (int side = 0; side < 2; ++side) {
      double time = dice(3);
      for (std::size_t i = 0; i < 1 + dice(8); ++i) {
        times[side].push_back(time += 0.5 + dice(3) * 0.5);
        values[side].push_back(dice(4));
      }
    }
    std::uint64_t compared = 0;
    std::uint64_t deviating = 0;
    std::vector<double> all = times[0];
    all.insert(all.end(), times[1].begin(), times[1].end());
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    for (const double time : all) {
      if (time < std::max(times[0][0], times[1][0]) || time > std::min(times[0].back(), times[1].back())) continue;
      ++compared;
      const double a = heldOrLine(times[0], values[0], isLinear, time);
      const double b = heldOrLine(times[1], values[1], isLinear, time);
      if (std::fabs(a - b) > 0.5 + 0.25 * std::fabs(b)) ++deviating;
    }
    const char* interpolation = isLinear ? "linear" : "zoh";
    const SeriesComparison result = samplesOf(fileWith(times[0], values[0], interpolation),
                                              fileWith(times[1], values[1], interpolation), {0.25, 0.5});
    ASSERT_EQ(result.compared, compared) << round;
    ASSERT_EQ(result.deviating, deviating) << round;
  }
}

}  // namespace
