// Signals as rows: joined by time, and at a fixed step; read back from CSV.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "dice.hpp"
#include "memory_source.hpp"
#include "results/export/csv.hpp"
#include "results/file/results_error.hpp"
#include "results/rows/joined_rows.hpp"
#include "results/rows/resampled_rows.hpp"
#include "results/values/shown_value.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using vtio::tests::allOf;
using vtio::tests::ResultsBuilder;
using vtio::tests::TemporaryFolder;

std::string csvOf(RowSource& rows, bool raw = false) {
  const TemporaryFolder folder;
  TextOutput out(folder.path("out.csv"));
  writeCsv(rows, raw, out);
  out.commit();
  return folder.read("out.csv");
}

std::string joined(const ResultsFile& file, TimeRange range = {}) {
  JoinedRows rows(file, allOf(file), range);
  return csvOf(rows);
}

std::string resampled(const ResultsFile& file, double step, TimeRange range = {}) {
  ResampledRows rows(file, allOf(file), range, step);
  return csvOf(rows);
}

TEST(JoinedRows, haveOneRowPerTimeOfAnySignal) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2}).table(1, {0.5, 1});
  builder.addDoubles(0, "a", {10, 11, 12});
  builder.addDoubles(1, "b", {20, 21});
  EXPECT_EQ(joined(builder.build()), "time,a,b\r\n0,10,\r\n0.5,,20\r\n1,11,21\r\n2,12,\r\n");
}

TEST(JoinedRows, putTheKthSampleOfATimeIntoItsKthRow) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 1, 1}).table(1, {1, 1});
  builder.addDoubles(0, "a", {1, 2, 3, 4});
  builder.addDoubles(1, "b", {5, 6});
  builder.limitRows(builder.addDoubles(0, "late", {7, 8, 9, 10}), 2, 2);
  EXPECT_EQ(joined(builder.build()), "time,a,b,late\r\n0,1,,\r\n1,2,5,9\r\n1,3,6,10\r\n1,4,,\r\n");
}

TEST(JoinedRows, leaveOutTimesAtWhichNoChosenSignalHasASample) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2, 3, 4});
  builder.limitRows(builder.addDoubles(0, "a", {1, 2, 3, 4, 5}), 0, 1);
  builder.limitRows(builder.addDoubles(0, "b", {1, 2, 3, 4, 5}), 3, 1);
  EXPECT_EQ(joined(builder.build()), "time,a,b\r\n0,1,\r\n3,,4\r\n");
}

TEST(JoinedRows, keepBothEndsOfARange) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2, 3});
  builder.addDoubles(0, "a", {1, 2, 3, 4});
  EXPECT_EQ(joined(builder.build(), {1, 2}), "time,a\r\n1,2\r\n2,3\r\n");
}

TEST(JoinedRows, sayWhereTimeGoesBack) {
  ResultsBuilder builder;
  builder.table(7, {0, 1, 0.5});
  builder.addDoubles(7, "a", {1, 2, 3});
  const ResultsFile file = builder.build("run.qat");
  try {
    static_cast<void>(joined(file));
    FAIL() << "nothing was said";
  } catch (const ResultsError& error) {
    EXPECT_STREQ(error.what(), "run.qat: signal 'a': time goes back from 1 to 0.5 at row 2 of table 7");
  }
}

TEST(JoinedRows, ofNothingAreAHeader) {
  ResultsBuilder builder;
  builder.table(0, {});
  builder.addDoubles(0, "a", {});
  EXPECT_EQ(joined(builder.build()), "time,a\r\n");
}

// Rows of random tables, made by definition: for each time the k-th samples side by side.
TEST(JoinedRows, agreeWithTheirDefinition) {
  vtio::tests::Dice dice(3);
  for (int round = 0; round < 200; ++round) {
    ResultsBuilder builder;
    std::map<double, std::vector<std::map<int, double>>> expected;  // time: rows: signal: value
    int signal = 0;
    for (std::uint32_t table = 0; table < 1 + dice(3); ++table) {
      std::vector<double> times(dice(12));
      double time = dice(3);
      for (double& t : times) t = time += dice(3) * 0.5;
      builder.table(table, times);
      for (std::size_t s = 0; s < 1 + dice(3); ++s, ++signal) {
        std::vector<double> values(times.size());
        for (double& value : values) value = dice(1000);
        SignalInfo& info = builder.addDoubles(table, std::string("s").append(std::to_string(signal)), values);
        const std::uint64_t begin = dice(times.size() + 1);
        const std::uint64_t count = dice(times.size() - begin + 1);
        builder.limitRows(info, begin, count);
        std::map<double, std::size_t> seen;
        for (std::uint64_t row = begin; row < begin + count; ++row) {
          auto& rows = expected[times[row]];
          const std::size_t k = seen[times[row]]++;
          if (rows.size() <= k) rows.resize(k + 1);
          rows[k][signal] = values[row];
        }
      }
    }
    std::string text = "time";
    for (int i = 0; i < signal; ++i) text += ",s" + std::to_string(i);
    text += "\r\n";
    for (const auto& [time, rows] : expected) {
      for (const auto& row : rows) {
        appendPlain(text, time);
        for (int i = 0; i < signal; ++i) {
          text += ',';
          if (row.contains(i)) appendPlain(text, row.at(i));
        }
        text += "\r\n";
      }
    }
    ASSERT_EQ(joined(builder.build()), text) << "round " << round;
  }
}

// More rows than a window holds, with one time over many of them.
TEST(JoinedRows, readWindowAfterWindow) {
  constexpr std::size_t kRows = 200'000;
  std::vector<double> times(kRows);
  for (std::size_t i = 0; i < kRows; ++i) times[i] = i < 70'000 ? 0 : static_cast<double>(i);
  std::vector<double> values(kRows);
  for (std::size_t i = 0; i < kRows; ++i) values[i] = static_cast<double>(i);
  ResultsBuilder builder;
  builder.table(0, times);
  builder.addDoubles(0, "a", values);
  const ResultsFile file = builder.build();
  JoinedRows rows(file, allOf(file), {});
  for (std::size_t i = 0; i < kRows; ++i) {
    ASSERT_TRUE(rows.next());
    ASSERT_EQ(rows.time(), times[i]);
    ASSERT_EQ(numberAt(ElementClass::float64, rows.sample(0).bytes), values[i]);
  }
  EXPECT_FALSE(rows.next());
}

TEST(ResampledRows, holdOrInterpolateAsEachSignalSays) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2});
  builder.addDoubles(0, "line", {0, 10, 0}).interpolation = "linear";
  builder.addDoubles(0, "held", {0, 10, 0});
  builder.add(0, "on", {ElementClass::logical, false}, std::vector<std::uint8_t>{0, 1, 0}).interpolation = "linear";
  SignalInfo& mode = builder.add(0, "mode", {ElementClass::int32, false}, std::vector<std::int32_t>{0, 1, 0});
  mode.interpolation = "linear";
  mode.labels = EnumLabels{{"OFF", 0}, {"ON", 1}};
  builder.addTexts(0, "text", {"a", "b", "c"}).interpolation = "linear";
  EXPECT_EQ(resampled(builder.build(), 0.5),
            "time,line,held,on,mode,text\r\n"
            "0,0,0,0,OFF,a\r\n0.5,5,0,0,OFF,a\r\n1,10,10,1,ON,b\r\n1.5,5,10,1,ON,b\r\n2,0,0,0,OFF,c\r\n");
}

TEST(ResampledRows, areEmptyBeforeTheFirstAndAfterTheLastSample) {
  ResultsBuilder builder;
  builder.table(0, {1, 2}).table(1, {0, 3});
  builder.addDoubles(0, "a", {5, 6});
  builder.addDoubles(1, "b", {7, 8});
  const ResultsFile file = builder.build();
  EXPECT_EQ(resampled(file, 1), "time,a,b\r\n0,,7\r\n1,5,7\r\n2,6,7\r\n3,,8\r\n");
  EXPECT_EQ(resampled(file, 2, {-1, 4}), "time,a,b\r\n-1,,\r\n1,5,7\r\n3,,8\r\n");
}

TEST(ResampledRows, takeTheLastSampleOfARepeatedTime) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 1, 2});
  builder.addDoubles(0, "a", {0, 10, 20, 30}).interpolation = "linear";
  EXPECT_EQ(resampled(builder.build(), 0.5), "time,a\r\n0,0\r\n0.5,5\r\n1,20\r\n1.5,25\r\n2,30\r\n");
}

TEST(ResampledRows, refuseAStepThatLeadsNowhere) {
  ResultsBuilder builder;
  builder.table(0, {1e16, 1e16 + 64});
  builder.addDoubles(0, "a", {1, 2});
  const ResultsFile file = builder.build();
  for (const double step : {0.0, -1.0, std::nan(""), static_cast<double>(INFINITY), 0.1}) {
    EXPECT_THROW(static_cast<void>(resampled(file, step)), ResultsError) << step;
  }
}

// Value of a signal at a time by definition, looking through all samples.
double valueAt(const std::vector<double>& times, const std::vector<double>& values, bool isLinear, double time) {
  if (times.empty() || time < times.front() || time > times.back()) return std::nan("");
  std::size_t last = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (times[i] <= time) last = i;
  }
  if (!isLinear || times[last] == time) return values[last];
  const double share = (time - times[last]) / (times[last + 1] - times[last]);
  return values[last] + share * (values[last + 1] - values[last]);
}

TEST(ResampledRows, agreeWithTheirDefinition) {
  vtio::tests::Dice dice(5);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> times(1 + dice(12));
    double time = dice(4);
    for (double& t : times) t = time += dice(3) * 0.25;
    std::vector<double> values(times.size());
    for (double& value : values) value = dice(64);
    ResultsBuilder builder;
    builder.table(0, times);
    SignalInfo& info = builder.addDoubles(0, "a", values);
    const bool isLinear = dice(2) == 0;
    info.interpolation = isLinear ? "linear" : "zoh";
    const std::size_t begin = dice(times.size());
    const std::size_t count = 1 + dice(times.size() - begin);
    builder.limitRows(info, begin, count);
    const auto part = [&](const std::vector<double>& all) {
      return std::vector<double>(all.begin() + static_cast<long>(begin),
                                 all.begin() + static_cast<long>(begin + count));
    };
    const ResultsFile file = builder.build();
    ResampledRows rows(file, allOf(file), {0, 8}, 0.125);
    for (int k = 0; k <= 64; ++k) {
      ASSERT_TRUE(rows.next());
      ASSERT_EQ(rows.time(), k * 0.125);
      const double expected = valueAt(part(times), part(values), isLinear, rows.time());
      const SampleView sample = rows.sample(0);
      ASSERT_EQ(sample.exists(), !std::isnan(expected)) << round << " at " << rows.time();
      if (!sample.exists()) continue;
      ASSERT_NEAR(numberAt(sample.type.id, sample.bytes), expected, 1e-12) << round;
    }
    EXPECT_FALSE(rows.next());
  }
}

TEST(ResampledRows, readWindowAfterWindow) {
  constexpr std::size_t kRows = 200'000;
  std::vector<double> times(kRows);
  for (std::size_t i = 0; i < kRows; ++i) times[i] = static_cast<double>(i);
  ResultsBuilder builder;
  builder.table(0, times);
  builder.addDoubles(0, "a", times).interpolation = "linear";
  const ResultsFile file = builder.build();
  ResampledRows rows(file, allOf(file), {100.5, 199'998.5}, 333.5);
  for (double time = 100.5; time <= 199'998.5; time += 333.5) {
    ASSERT_TRUE(rows.next());
    ASSERT_EQ(numberAt(ElementClass::float64, rows.sample(0).bytes), time);
  }
  EXPECT_FALSE(rows.next());
}

TEST(Csv, quotesWhatNeedsIt) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2, 3, 4});
  builder.addTexts(0, "say \"hi\", all", {"a,b", "say \"hi\"", "two\r\nlines", "", " plain "});
  EXPECT_EQ(joined(builder.build()),
            "time,\"say \"\"hi\"\", all\"\r\n0,\"a,b\"\r\n1,\"say \"\"hi\"\"\"\r\n2,\"two\r\nlines\"\r\n3,\"\"\r\n4, "
            "plain \r\n");
}

TEST(Csv, hasAColumnPerElementAndPart) {
  ResultsBuilder builder;
  builder.table(0, {0});
  builder.addDoubles(0, "m", {1, 2, 3, 4}, {2, 2});
  builder.add(0, "z", {ElementClass::float32, true}, std::vector<float>{0.1F, -0.5F});
  builder.addDoubles(0, "none", {}, {0});
  EXPECT_EQ(joined(builder.build()), "time,m[0][0],m[0][1],m[1][0],m[1][1],z.re,z.im\r\n0,1,2,3,4,0.1,-0.5\r\n");
}

TEST(Csv, writesWhatIsNotFinite) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2});
  builder.addDoubles(0, "a", {std::nan(""), INFINITY, -INFINITY});
  EXPECT_EQ(joined(builder.build()), "time,a\r\n0,NaN\r\n1,Inf\r\n2,-Inf\r\n");
}

}  // namespace
