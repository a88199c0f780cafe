// How much recorders allocate, and how often.
#include <cstdint>

#include "tests/allocation/allocation_counter.hpp"
#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;
using vtio::test::allocationCount;
using vtio::test::liveBytes;

class MemoryUse : public Recording {
 protected:
  // Bytes that recording allocates beyond times plus data, as a fraction of them.
  template <typename Step>
  static double overhead(std::size_t payload, int steps, const Step& step) {
    const std::size_t before = liveBytes();
    for (int i = 0; i < steps; ++i) step(i);
    return static_cast<double>(liveBytes() - before) / static_cast<double>(payload) - 1.0;
  }
};

TEST_F(MemoryUse, ThousandSignalsOfTwoThousandSteps) {
  std::vector<Recorded> signals;
  for (int i = 0; i < 1000; ++i) signals.push_back(record(leaf(u"x")));
  const double rest = overhead((1000 + 1) * 2000 * sizeof(double), 2000, [&](int step) {
    for (Recorded& r : signals) r.add(step, 1.0);
  });
  RecordProperty("overhead", std::to_string(rest));
  EXPECT_GE(rest, 0.0);
  EXPECT_LE(rest, 0.05);
}

TEST_F(MemoryUse, SignalsOfEveryWidth) {
  double start = 0.0;
  for (const char* type : {"uint8", "int16", "single", "double"}) {
    for (const int steps : {50000, 123457, 400000}) {
      Recorded r = record(leaf(u"x", type));
      const std::size_t payload =
          static_cast<std::size_t>(steps) * (sizeof(double) + r.descriptor->root()->bytesPerSample());
      start += 0.001;  // at times of its own
      const double rest = overhead(payload, steps, [&r, start](int step) { r.add(start + step, 1.0); });
      EXPECT_GE(rest, 0.0) << type << ' ' << steps;
      EXPECT_LE(rest, 0.05) << type << ' ' << steps;
    }
  }
}

TEST_F(MemoryUse, LimitedSignalNeedsNoMoreThanItKeeps) {
  constexpr int kMost = 50000;
  Recorded r = record(leaf(u"x"), kMost);
  const double rest = overhead(2 * kMost * sizeof(double), 7 * kMost, [&r](int step) { r.add(step, 1.0); });
  EXPECT_GE(rest, 0.0);
  EXPECT_LE(rest, 0.05);
}

TEST_F(MemoryUse, TimesThatAgreeAreStoredOnce) {
  constexpr int kSteps = 100000;
  std::vector<Recorded> signals;
  for (int i = 0; i < 10; ++i) signals.push_back(record(leaf(u"x", "uint8")));
  const double rest = overhead(kSteps * (sizeof(double) + 10), kSteps, [&](int step) {
    for (Recorded& r : signals) r.add(step, std::uint8_t{1});
  });
  EXPECT_LE(rest, 0.05);
}

TEST_F(MemoryUse, AllocatesOnlyAChunkNowAndThen) {
  Recorded number = record(leaf(u"x"));
  Recorded bus = record(with(topNvBus(u"b", {4}, {0, 8}, 16), leaf(u"x"), leaf(u"y", "int32", {2})));
  const double sample[8] = {};
  const std::size_t before = allocationCount();
  for (int i = 0; i < 100000; ++i) {
    number.add(i, 1.0);
    bus.add(i, sample);
  }
  EXPECT_GE(allocationCount() - before, 100U);
  EXPECT_LE(allocationCount() - before, 1000U);
}

TEST_F(MemoryUse, ReorderingAllocatesNothingPerSample) {
  session_.sampleOrder(vtio::recorders::SampleOrder::columnMajor);
  Recorded matrix = record(leaf(u"m", "double", {3, 4}), 100);
  Recorded buses = record(with(topNvBus(u"b", {2, 2}, {0, 8}, 24), leaf(u"x"), leaf(u"y", "int32", {2, 2})), 100);
  const double sample[12] = {};
  const auto add = [&](int from, int to) {
    for (int i = from; i < to; ++i) {
      matrix.add(i, sample);
      buses.add(i, sample);
    }
  };
  add(0, 1000);
  const std::size_t before = allocationCount();
  add(1000, 21000);
  EXPECT_EQ(allocationCount() - before, 0U);
}

TEST_F(MemoryUse, LimitedSignalUsesItsChunksAgain) {
  for (const unsigned long most : {1UL, 100UL, 5000UL}) {
    Recorded r = record(leaf(u"x"), most);
    for (int i = 0; i < 40000; ++i) r.add(i, 1.0);
    const std::size_t before = allocationCount();
    for (int i = 40000; i < 140000; ++i) r.add(i, 1.0);
    EXPECT_EQ(allocationCount() - before, 0U) << most;
  }
}

TEST_F(MemoryUse, SnapshotsGiveBackWhatTheyHeld) {
  Recorded r = record(leaf(u"x"), 1000);
  for (int i = 0; i < 5000; ++i) r.add(i, 1.0);
  const std::size_t before = liveBytes();
  for (int k = 0; k < 20; ++k) {
    session_.captureSnapshot(false);
    for (int i = 0; i < 5000; ++i) r.add(5000 * (k + 1) + i, 1.0);
  }
  EXPECT_GT(liveBytes(), before + 20 * 1000 * 2 * sizeof(double));
  session_.clearSnapshots();
  for (int i = 0; i < 5000; ++i) r.add(200000 + i, 1.0);
  EXPECT_LE(liveBytes(), before + 8192);
}

TEST_F(MemoryUse, StepBackWithinAChunkDoesNotAccumulate) {
  Recorded r = record(std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2));
  Recorded number = record(leaf(u"x"));
  const auto attempt = [&] {
    session_.captureSnapshot(false);
    const std::u16string text(100, u'x');
    const std::u16string* address = &text;
    const double time = 1.0;
    for (int i = 0; i < 20; ++i) {
      r.recorder->update(&time, &address);
      number.add(i, 1.0);
    }
    session_.rollBack();
    session_.clearSnapshots();
  };
  for (int k = 0; k < 10; ++k) attempt();
  const std::size_t before = liveBytes();
  for (int k = 0; k < 1000; ++k) attempt();
  EXPECT_LE(liveBytes(), before + 4096);
}

}  // namespace
