// What the page of `qat view` gets: traces and their reduction, values, differences, answers, growing files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>
#include <vector>

#include "dice.hpp"
#include "example_file.hpp"
#include "memory_source.hpp"
#include "platform/qat.hpp"
#include "results/file/results_error.hpp"
#include "results/viewer/answers.hpp"
#include "results/viewer/viewer.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using nlohmann::json;
using vtio::tests::ResultsBuilder;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

Trace traceOf(std::vector<double> times, std::vector<double> values, bool isLinear = true) {
  return {std::make_shared<const std::vector<double>>(std::move(times)), std::move(values), isLinear};
}

std::unique_ptr<ResultsFile> built(ResultsBuilder& builder, const std::string& path = "run.qat") {
  return std::make_unique<ResultsFile>(builder.build(path));
}

std::unique_ptr<ResultsFile> flight(double offset = 0) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2});
  builder.table(1, {0.5, 1.5});
  SignalInfo& height = builder.addDoubles(0, "height", {1 + offset, 2 + offset, 4 + offset});
  height.unit = "m";
  height.interpolation = "linear";
  builder.addDoubles(0, "pair", {1, 2, 3, 4, 5, 6}, {2});
  builder.add(0, "mode", {ElementClass::int32, false}, std::vector<std::int32_t>{0, offset == 0 ? 1 : 0, 0}).labels =
      EnumLabels{{"OFF", 0}, {"ON", 1}};
  builder.addTexts(1, "text", {"a", offset == 0 ? "b" : "c"});
  builder.add(1, "count", {ElementClass::int64, false},
              std::vector<std::int64_t>{(std::int64_t{1} << 60U) + 1, (std::int64_t{1} << 60U) + 2});
  builder.add(0, "wave", {ElementClass::float64, true}, std::vector<double>{3, 4, 0, 1, 0, 0});
  return built(builder);
}

Viewer viewer() {
  return Viewer([] { return flight(); });
}

Viewer comparing() {
  return Viewer([] { return flight(); }, [] { return flight(1); });
}

/// What MinMaxReducer keeps of the samples in a range.
std::vector<Point> reducedOneByOne(const Trace& trace, TimeRange range, std::size_t pixels) {
  MinMaxReducer reducer(range.from, range.to, pixels);
  for (std::size_t i = 0; i < trace.times().size(); ++i) {
    if (range.contains(trace.times()[i])) reducer.add(trace.times()[i], trace.values()[i]);
  }
  return reducer.finish();
}

TEST(Trace, keepsFewSamplesAndOneBeyondEachEnd) {
  const Trace trace = traceOf({0, 1, 2, 3, 4, 5}, {0, 10, 20, 30, 40, 50});
  EXPECT_THAT(trace.reduced({2, 3}, 100), testing::ElementsAre(Point{1, 10}, Point{2, 20}, Point{3, 30}, Point{4, 40}));
  EXPECT_THAT(trace.reduced({2.2, 2.8}, 100), testing::ElementsAre(Point{2, 20}, Point{3, 30}));
  EXPECT_EQ(trace.reduced({}, 100).size(), 6U);
  EXPECT_THAT(trace.reduced({7, 8}, 100), testing::ElementsAre(Point{5, 50}));
  EXPECT_THAT(traceOf({}, {}).reduced({}, 100), testing::IsEmpty());
}

TEST(Trace, reducesManySamplesAsTheReducerDoes) {
  vtio::tests::Dice dice(7);
  std::vector<double> times;
  std::vector<double> values;
  for (int i = 0; i < 10'000; ++i) {
    times.push_back(i / 1000.0);
    values.push_back(std::sin(i * 0.01) + (dice(500) == 0 ? 50.0 : 0.0));
  }
  const Trace trace = traceOf(times, values);
  for (const TimeRange range : {TimeRange{0, 9.999}, TimeRange{0.5, 9.25}, TimeRange{3.001, 8.0}}) {
    for (const std::size_t pixels : {1U, 7U, 64U, 500U}) {
      std::vector<Point> kept = trace.reduced(range, pixels);
      if (range.from > 0) kept.erase(kept.begin());
      if (range.to < 9.999) kept.pop_back();
      EXPECT_LE(kept.size(), 4 * pixels);
      // The same up to samples that fall on the border of two pixels: every extreme of a pixel is there.
      const std::vector<Point> expected = reducedOneByOne(trace, range, pixels);
      EXPECT_EQ(kept.front(), expected.front());
      EXPECT_EQ(kept.back(), expected.back());
      for (const Point& point : expected) {
        if (point.value < 40) continue;  // a peak of more than the wave
        EXPECT_NE(std::find(kept.begin(), kept.end(), point), kept.end()) << point.time << " of " << pixels;
      }
      EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end(), [](auto& a, auto& b) { return a.time < b.time; }));
    }
  }
}

TEST(Trace, findsThePeakOfAMillionSamplesAnywhere) {
  std::vector<double> times(1'000'000);
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
  for (const std::size_t place : {0U, 63U, 64U, 654'321U, 999'999U}) {
    std::vector<double> values(times.size());
    values[place] = -7;
    const std::vector<Point> kept = traceOf(times, std::move(values)).reduced({}, 800);
    EXPECT_LE(kept.size(), 3200U);
    EXPECT_EQ(std::count(kept.begin(), kept.end(), Point{static_cast<double>(place), -7}), 1) << place;
  }
}

TEST(Trace, keepsGapsOfManySamples) {
  std::vector<double> times(10'000);
  std::vector<double> values(times.size(), 1);
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
  for (std::size_t i = 5000; i < 5010; ++i) values[i] = kNan;
  const std::vector<Point> kept = traceOf(times, std::move(values)).reduced({}, 10);
  const auto gap = std::find_if(kept.begin(), kept.end(), [](const Point& point) { return std::isnan(point.value); });
  ASSERT_NE(gap, kept.end());
  EXPECT_EQ(gap->time, 5000);
  EXPECT_EQ(kept.back(), (Point{9999, 1}));
}

TEST(Trace, givesStatisticsOfARange) {
  const Trace trace = traceOf({0, 1, 2, 3}, {5, 1, kNan, 3});
  const Statistics statistics = trace.statistics({1, 3});
  EXPECT_EQ(statistics.samples, 3U);
  EXPECT_EQ(statistics.nans, 1U);
  EXPECT_EQ(statistics.min, 1);
  EXPECT_EQ(statistics.max, 3);
  EXPECT_EQ(statistics.mean, 2);
  EXPECT_EQ(trace.statistics({8, 9}).samples, 0U);
}

TEST(Trace, sumsUpAnyRangeAsTheSamplesSay) {
  vtio::tests::Dice dice(7);
  std::vector<double> times(1000);
  std::vector<double> values(times.size());
  for (std::size_t i = 0; i < times.size(); ++i) {
    times[i] = static_cast<double>(i);
    values[i] = i % 300 == 170 ? kNan : static_cast<double>(dice(1000)) - 500;
  }
  const Trace trace = traceOf(times, values);
  for (int round = 0; round < 300; ++round) {
    const std::size_t from = dice(999);
    const std::size_t to = from + dice(999 - from);
    std::vector<double> inside;
    for (std::size_t i = from; i <= to; ++i) {
      if (!std::isnan(values[i])) inside.push_back(values[i]);
    }
    const Statistics found = trace.statistics({times[from], times[to]});
    EXPECT_EQ(found.samples, to - from + 1);
    EXPECT_EQ(found.nans, found.samples - inside.size());
    EXPECT_EQ(found.numbers, inside.size());
    if (inside.empty()) continue;
    EXPECT_EQ(found.min, *std::min_element(inside.begin(), inside.end()));
    EXPECT_EQ(found.max, *std::max_element(inside.begin(), inside.end()));
    const double sum = std::accumulate(inside.begin(), inside.end(), 0.0);  // of whole numbers: exact
    EXPECT_EQ(found.mean, static_cast<double>(static_cast<long double>(sum) / static_cast<long double>(inside.size())));
  }
}

TEST(Trace, differsFromAnother) {
  const Trace a = traceOf({0, 1, 2}, {0, 10, kNan});
  const Trace b = traceOf({0.5, 2, 3}, {4, kNan, 0});
  const Trace difference = differenceOf(a, b, true);
  EXPECT_EQ(difference.times(), (std::vector<double>{0.5, 1, 2}));
  EXPECT_EQ(difference.values()[0], 1);
  EXPECT_EQ(difference.values()[2], 0);  // NaN equals NaN
  const Trace held = differenceOf(traceOf({0, 1}, {0, 3}, false), traceOf({0, 1}, {0, 1}, false), false);
  EXPECT_EQ(held.values(), (std::vector<double>{0, 1}));
  EXPECT_TRUE(differenceOf(a, traceOf({}, {}), true).times().empty());
}

TEST(Viewer, readsElementsMagnitudesAndTexts) {
  Viewer seen = viewer();
  EXPECT_EQ(seen.trace({TraceFile::first, 1, 1}).values(), (std::vector<double>{2, 4, 6}));
  EXPECT_EQ(seen.trace({TraceFile::first, 5, 0}).values(), (std::vector<double>{5, 1, 0}));
  EXPECT_EQ(seen.trace({TraceFile::first, 3, 0}).texts(), (std::vector<std::string>{"a", "b"}));
  EXPECT_THROW(seen.trace({TraceFile::first, 1, 2}), ResultsError);
  EXPECT_THROW(seen.trace({TraceFile::first, 99, 0}), ResultsError);
  EXPECT_THROW(seen.trace({TraceFile::second, 0, 0}), ResultsError);
}

TEST(Viewer, readsATraceOnce) {
  Viewer seen = viewer();
  const Trace* first = &seen.trace({TraceFile::first, 0, 0});
  seen.trace({TraceFile::first, 1, 0});
  EXPECT_EQ(&seen.trace({TraceFile::first, 0, 0}), first);
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).sharedTimes(), seen.trace({TraceFile::first, 1, 0}).sharedTimes());
}

TEST(Viewer, givesValuesHeldAndInterpolated) {
  Viewer seen = viewer();
  EXPECT_EQ(seen.valueAt({TraceFile::first, 0, 0}, 1.5)->value, 3);
  EXPECT_EQ(seen.valueAt({TraceFile::first, 0, 0}, 1.5)->time, 1.5);
  EXPECT_EQ(seen.valueAt({TraceFile::first, 2, 0}, 1.5)->text, "ON");
  EXPECT_EQ(seen.valueAt({TraceFile::first, 2, 0}, 1.5)->time, 1);
  EXPECT_EQ(seen.valueAt({TraceFile::first, 3, 0}, 1)->text, "a");
  EXPECT_EQ(seen.valueAt({TraceFile::first, 4, 0}, 1.5)->text, "1152921504606846978");  // more digits than a double's
  EXPECT_FALSE(seen.valueAt({TraceFile::first, 0, 0}, -1));
  EXPECT_FALSE(seen.valueAt({TraceFile::first, 0, 0}, 2.5));
}

TEST(Viewer, givesDifferences) {
  Viewer seen = comparing();
  EXPECT_EQ(seen.trace({TraceFile::difference, 0, 0}).values(), (std::vector<double>{-1, -1, -1}));
  EXPECT_EQ(seen.trace({TraceFile::difference, 2, 0}).values(), (std::vector<double>{0, 1, 0}));
  EXPECT_EQ(seen.trace({TraceFile::difference, 3, 0}).values(), (std::vector<double>{0, 1}));
  EXPECT_EQ(seen.valueAt({TraceFile::difference, 0, 0}, 1)->text, "-1");
}

TEST(Viewer, givesOneTraceOverAnother) {
  Viewer seen = viewer();
  EXPECT_THAT(seen.overTrace({TraceFile::first, 0, 0}, {TraceFile::first, 1, 0}, {0, 1}, 100),
              testing::ElementsAre(Point{1, 1}, Point{2, 3}));
}

/// A file of one signal, of as many samples as `samples` says at the time, growing as one that was killed.
ViewedFile::Open growing(const std::shared_ptr<std::vector<double>>& samples) {
  return [samples] {
    vtio::tests::ResultsBuilder builder;
    std::vector<double> times;
    for (std::size_t i = 0; i < samples->size(); ++i) times.push_back(static_cast<double>(i));
    builder.table(0, times);
    if (samples->size() > 3) builder.addDoubles(0, "late", std::vector<double>(samples->size()));
    builder.addDoubles(0, "x", *samples);
    return std::make_unique<ResultsFile>(builder.buildIncomplete());
  };
}

TEST(Viewer, takesInWhatAFileGrowsBy) {
  const auto samples = std::make_shared<std::vector<double>>(std::vector<double>{1, 2});
  Viewer seen(growing(samples));
  const std::uint64_t version = seen.refresh();
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values().size(), 2U);
  EXPECT_EQ(seen.refresh(), version);
  samples->push_back(3);
  samples->push_back(4);
  EXPECT_NE(seen.refresh(), version);
  // A signal keeps its number, also when another one comes before it in the file.
  EXPECT_EQ(seen.first().signal(0).name, "x");
  EXPECT_EQ(seen.first().signal(1).name, "late");
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values(), (std::vector<double>{1, 2, 3, 4}));
}

TEST(Trace, thatHasGrownIsReadFromNearItsEndOn) {
  ResultsBuilder builder;
  std::vector<double> times(20'000);
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
  builder.table(0, times);
  SignalInfo& signal = builder.addDoubles(0, "x", times);
  builder.limitRows(signal, 0, 15'000);
  const auto file = built(builder);
  const SignalInfo& known = file->find("x");
  const Trace before = readTrace(*file, known, 0);
  SignalInfo grown = known;
  grown.place.count = times.size();
  // What differs in the known one shows which samples were taken from it.
  std::vector<double> marked(before.values().size(), -1);
  const Trace former(before.sharedTimes(), marked, true);
  const Trace trace = readTrace(*file, grown, 0, nullptr, &former);
  ASSERT_EQ(trace.values().size(), times.size());
  EXPECT_EQ(trace.times(), times);
  EXPECT_EQ(std::count(trace.values().begin(), trace.values().end(), -1), 15'000 - static_cast<int>(kReadAgain));
  EXPECT_EQ(trace.values()[15'000 - kReadAgain], static_cast<double>(15'000 - kReadAgain));
  // Another history, or fewer samples than before: everything is read.
  std::vector<double> otherTimes(before.times());
  for (double& time : otherTimes) time += 0.5;
  const Trace other(std::make_shared<const std::vector<double>>(otherTimes), marked, true);
  EXPECT_EQ(readTrace(*file, grown, 0, nullptr, &other).values(), times);
  const Trace longer(std::make_shared<const std::vector<double>>(30'000), std::vector<double>(30'000, -1), true);
  EXPECT_EQ(readTrace(*file, grown, 0, nullptr, &longer).values(), times);
}

TEST(Viewer, readsAFileAgainThatWasWrittenAnew) {
  const vtio::tests::TemporaryFolder folder;
  const std::string path = folder.path("run.qat");
  vtio::tests::writeExampleFile(path);
  Viewer seen(ViewedFile::opener(path));
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values().back(), 20.25);
  const std::uint64_t version = seen.refresh();
  EXPECT_EQ(seen.refresh(), version);
  vtio::tests::writeExampleFile(folder.path("next.qat"), 1);
  std::filesystem::rename(folder.path("next.qat"), path);
  EXPECT_NE(seen.refresh(), version);
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values().back(), 21.25);
  // While it is not there, what was there stays.
  std::filesystem::remove(path);
  const std::uint64_t last = seen.refresh();
  EXPECT_EQ(seen.refresh(), last);
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values().back(), 21.25);
}

TEST(Viewer, letsOthersWriteAFileThatIsComplete) {
  const vtio::tests::TemporaryFolder folder;
  const std::string path = folder.path("run.qat");
  vtio::tests::writeExampleFile(path);
  Viewer seen(ViewedFile::opener(path));
  EXPECT_FALSE(vtu::QatFileWrapper(path, "w"));
  seen.release();
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values().back(), 20.25);
  const std::size_t late = seen.first().numberOf("late");
  EXPECT_EQ(seen.valueAt({TraceFile::first, late, 0}, 1.25)->text, "1152921504606846977");
  EXPECT_FALSE(vtu::QatFileWrapper(path, "w"));
  seen.release();
  vtio::tests::writeManySignals(path, 1, 10);
  // What was read is there, the rest is no longer; then the new file.
  EXPECT_EQ(seen.trace({TraceFile::first, 0, 0}).values().back(), 20.25);
  EXPECT_THROW(static_cast<void>(seen.trace({TraceFile::first, seen.first().numberOf("matrix"), 0})), ResultsError);
  seen.refresh();
  EXPECT_EQ(seen.first().file().signals().size(), 1U);
  EXPECT_EQ(seen.trace({TraceFile::first, seen.first().numberOf("s0"), 0}).values().size(), 10U);
}

TEST(Answers, listFilesAsLsDoes) {
  Viewer seen = comparing();
  const json files = json::parse(answer(seen, "files", {}).body);
  ASSERT_EQ(files["files"].size(), 2U);
  EXPECT_EQ(files["files"][0]["file"], "run.qat");
  EXPECT_EQ(files["files"][0]["complete"], true);
  EXPECT_EQ(files["files"][0]["signals"][0]["name"], "height");
  EXPECT_EQ(files["files"][0]["signals"][0]["unit"], "m");
  const json state = json::parse(answer(seen, "state", {}).body);
  EXPECT_EQ(state["files"][0]["signals"], 6);
  EXPECT_EQ(state["files"][0]["last"], 2);
}

TEST(Answers, giveSeriesAsBytes) {
  Viewer seen = viewer();
  const Answer given =
      answer(seen, "series", {{"traces", "a.0.0,a.1.1"}, {"from", "0"}, {"to", "5"}, {"pixels", "100"}});
  EXPECT_EQ(given.status, 200);
  ASSERT_EQ(given.body.size(), 2 * (8 + 6 * sizeof(double)));
  std::uint32_t head[2];
  double numbers[6];
  std::memcpy(head, given.body.data(), sizeof head);
  std::memcpy(numbers, given.body.data() + 8, sizeof numbers);
  EXPECT_EQ(head[0], 3U);
  EXPECT_EQ(head[1], 0U);
  EXPECT_THAT(numbers, testing::ElementsAre(0, 1, 2, 1, 2, 4));
}

TEST(Answers, saySamplesWereLeftOut) {
  ResultsBuilder builder;
  std::vector<double> times(1000);
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
  builder.table(0, times);
  builder.addDoubles(0, "x", times);
  auto file = built(builder);
  Viewer seen([&] { return std::move(file); });
  const auto isReduced = [&](const char* to) {
    const Answer given = answer(seen, "series", {{"traces", "a.0.0"}, {"from", "0"}, {"to", to}, {"pixels", "10"}});
    return given.body.at(4) == 1;
  };
  EXPECT_TRUE(isReduced("999"));
  EXPECT_FALSE(isReduced("20"));
}

TEST(Answers, giveValuesTextsAndStatistics) {
  Viewer seen = viewer();
  const json values = json::parse(answer(seen, "values", {{"traces", "a.0.0,a.2.0"}, {"times", "1,9"}}).body);
  EXPECT_EQ(values[0][0]["value"], 2);
  EXPECT_EQ(values[0][1]["text"], "ON");
  EXPECT_TRUE(values[1][0].is_null());
  EXPECT_EQ(json::parse(answer(seen, "texts", {{"trace", "a.3.0"}}).body), (json{"a", "b"}));
  const json statistics = json::parse(answer(seen, "statistics", {{"traces", "a.0.0"}, {"from", "1"}}).body);
  EXPECT_EQ(statistics[0]["samples"], 2);
  EXPECT_EQ(statistics[0]["mean"], 3);
}

TEST(Answers, refuseWhatTheyCannotAnswer) {
  Viewer seen = viewer();
  EXPECT_EQ(answer(seen, "nothing", {}).status, 404);
  const std::vector<std::pair<Query, std::string>> wrong = {
      {{{"pixels", "10"}}, "the parameter 'traces' is missing"},
      {{{"traces", "a.0.0"}}, "the parameter 'pixels' is missing"},
      {{{"traces", "a.0.0"}, {"pixels", "-1"}}, "pixels: '-1' is no number"},
      {{{"traces", "a.0"}, {"pixels", "1"}}, "'a.0' is no trace"},
      {{{"traces", "x.0.0"}, {"pixels", "1"}}, "'x.0.0' is no trace"},
      {{{"traces", "a.0.0"}, {"pixels", "1"}, {"from", "2"}, {"to", "1"}}, "the range of time ends before it begins"},
      {{{"traces", "a.0.0"}, {"pixels", "1"}, {"from", "nan"}}, "the range of time ends before it begins"},
      {{{"traces", "a.77.0"}, {"pixels", "1"}}, "run.qat: no signal number 77"},
      {{{"traces", "a.0.1"}, {"pixels", "1"}}, "run.qat: signal 'height' has no element 1"},
      {{{"traces", "d.0.0"}, {"pixels", "1"}}, "there is no second file"},
  };
  for (const auto& [query, message] : wrong) {
    const Answer given = answer(seen, "series", query);
    EXPECT_EQ(given.status, 400);
    EXPECT_EQ(json::parse(given.body)["error"], message);
  }
}

}  // namespace
