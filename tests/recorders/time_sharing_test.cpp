// Times are stored once as long as they agree, and each signal keeps its own as soon as they do not.
#include <limits>
#include <random>

#include "platform/qat.hpp"
#include "platform/qat_parts.hpp"
#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

class TimeSharing : public Recording {
 protected:
  static const void* timesOf(const vtu::qxArrayWrapper& element) { return qxGetConstData(values(element, "Time")); }
};

TEST_F(TimeSharing, EachRateSharesItsOwnTimes) {
  std::vector<Recorded> signals;
  for (int i = 0; i < 6; ++i) signals.push_back(record(leaf(u"x"), 0, static_cast<unsigned long>(1 + i % 3)));
  for (int step = 0; step < 3000; ++step) {
    for (Recorded& r : signals) r.add(step * 0.01, 1.0 * step);
  }
  for (std::size_t i = 0; i < 3; ++i) {
    const vtu::qxArrayWrapper one = signals[i].element();
    const vtu::qxArrayWrapper other = signals[i + 3].element();
    EXPECT_EQ(timesOf(one), timesOf(other)) << i;
    const vtu::qxArrayWrapper next = signals[(i + 1) % 3].element();
    EXPECT_NE(timesOf(one), timesOf(next)) << i;
    EXPECT_EQ(numbers<double>(values(one, "Time")), numbers<double>(values(other, "Time")));
    EXPECT_EQ(numbers<double>(values(one, "Time")).back(), 0.01 * static_cast<double>(2999 - 2999 % (i + 1)));
  }
}

TEST_F(TimeSharing, SharedTimesAreStillSharedAfterStepBack) {
  Recorded a = record(leaf(u"a"));
  Recorded b = record(leaf(u"b"));
  const auto run = [&](int from, int to, double rate) {
    for (int i = from; i < to; ++i) {
      a.add(rate * i, 1.0);
      b.add(rate * i, 2.0);
    }
  };
  run(0, 1000, 1.0);
  session_.captureSnapshot(false);
  run(1000, 2000, 1.0);
  session_.rollBack();
  run(1000, 2000, 1.5);
  const vtu::qxArrayWrapper first = a.element();
  const vtu::qxArrayWrapper second = b.element();
  EXPECT_EQ(timesOf(first), timesOf(second));
  EXPECT_EQ(numbers<double>(values(first, "Time"))[999], 999.0);
  EXPECT_EQ(numbers<double>(values(first, "Time"))[1000], 1500.0);
}

TEST_F(TimeSharing, TimesThatAreNotNumbersAreKept) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const SignalDescriptor& descriptor = describe(leaf(u"x"));
  const auto base = vtio::recorders::makeTableBuilder();
  MemoryRecorder one(Client::SignalLogging, descriptor, base);
  MemoryRecorder two(Client::SignalLogging, descriptor, base);
  std::vector<double> times;
  for (int i = 0; i < 1000; ++i) times.push_back(i % 3 == 0 ? nan : i % 3 == 1 ? -infinity : 5.0);
  for (const double& time : times) {
    one.update(&time, &time);
    two.update(&time, &time);
  }
  const vtu::qxArrayWrapper first = one.datasetElement();
  const vtu::qxArrayWrapper second = two.datasetElement();
  EXPECT_EQ(timesOf(first), timesOf(second));
  EXPECT_EQ(std::memcmp(timesOf(first), times.data(), 8 * times.size()), 0);
}

// Two signals under names and units of their own over one column of the file.
TEST_F(TimeSharing, SharedSamplesAreStoredOnce) {
  const StreamedFile folder;
  Recorded x = record(leaf(u"x"));
  Recorded other = record(leaf(u"other"));
  auto renamed = std::make_unique<LeafNode>(0, u"alias", false, "zoh", Dims{}, "double", units(u"km"), u"", leafSignal);
  Recorded alias = record(std::move(renamed));
  alias.recorder->shareSamples(0, *x.recorder, 0);
  for (int i = 0; i < 100; ++i) {
    x.add(0.1 * i, 1.0 * i);
    other.add(0.1 * i, -1.0 * i);
  }
  EXPECT_EQ(alias.recorder->recordedSamples(), 100U);
  EXPECT_EQ(alias.recorder->heldSamples(), 100U);
  EXPECT_EQ(numbers<double>(values(alias.element(), "Data")), numbers<double>(values(x.element(), "Data")));
  EXPECT_EQ(text(values(alias.element(), "Unit")), "km");
  session_.save(folder.path());
  const vtu::QatFileWrapper open(folder.path(), "r");
  const vtu::QatSamples samples(*open.get());
  const std::vector<vtu::StoredColumn>& columns = samples.columns(0);
  ASSERT_EQ(columns.size(), 3U);
  EXPECT_EQ(columns[0].first, columns[1].first);
  EXPECT_EQ(columns[1].unit, "km");
  EXPECT_EQ(columns[2].first, 1U) << "the other one is next to it";
  std::vector<double> read(100);
  samples.readColumn(0, 1, 0, 100, read.data());
  EXPECT_EQ(read[99], 99.0);
}

TEST_F(TimeSharing, SamplesOfOtherTypesCannotBeShared) {
  Recorded x = record(leaf(u"x"));
  Recorded whole = record(leaf(u"whole", "int64"));
  Recorded two = record(leaf(u"two", "double", {2}));
  Recorded newest = record(leaf(u"newest"), 10);
  MemoryRecorder alone(describe(leaf(u"alone")));
  for (MemoryRecorder* recorder : {whole.recorder, two.recorder, newest.recorder, &alone}) {
    EXPECT_THROW(recorder->shareSamples(0, *x.recorder, 0), std::invalid_argument);
  }
  EXPECT_THROW(x.recorder->shareSamples(1, *x.recorder, 0), std::out_of_range);
}

TEST_F(TimeSharing, RandomTimesOfManySignals) {
  std::mt19937 random(4);
  std::vector<Recorded> signals;
  std::vector<std::vector<double>> expected(20);
  for (std::size_t i = 0; i < expected.size(); ++i) signals.push_back(record(leaf(u"x"), i % 2 == 0 ? 0 : 200));
  for (int step = 0; step < 2000; ++step) {
    for (std::size_t i = 0; i < signals.size(); ++i) {
      if (step > 500 && random() % (2 + i) == 0) continue;
      const double time = step + (i == 7 ? 0.5 : 0.0);
      signals[i].add(time, time);
      expected[i].push_back(time);
    }
  }
  for (std::size_t i = 0; i < signals.size(); ++i) {
    const std::vector<double> times = numbers<double>(values(signals[i].element(), "Time"));
    if (i % 2 != 0) expected[i].erase(expected[i].begin(), expected[i].end() - 200);
    EXPECT_EQ(times, expected[i]) << i;
    EXPECT_EQ(numbers<double>(values(signals[i].element(), "Data")), expected[i]) << i;
  }
}

TEST_F(TimeSharing, ArraysTakenEarlierStayAsTheyWere) {
  Recorded r = record(leaf(u"x"));
  r.add(0.0, 1.0);
  const vtu::qxArrayWrapper early = r.element();
  for (int i = 1; i < 1000; ++i) r.add(i, 1.0);
  EXPECT_EQ(numbers<double>(values(early, "Time")), std::vector<double>{0.0});
  EXPECT_EQ(qxGetNumberOfElements(values(r.element(), "Time")), 1000U);
}

}  // namespace
