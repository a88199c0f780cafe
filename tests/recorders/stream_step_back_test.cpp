// Stepping a streamed run back: readers never miss a flushed row that is left.
#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "platform/qat.hpp"
#include "tests/recorders/stream_fixture.hpp"

namespace {

using namespace recording;

/// Some scalar signals; sample k of a signal has time k and tells the way on which it was recorded.
class StreamedStepBack : public ::testing::Test {
 protected:
  static constexpr std::size_t kSignals = 4;

  StreamedStepBack() {
    file_.stream(catalogue_);
    session_.flushInterval(1000);
    while (accessors_.size() < kSignals) accessors_.push_back(attachScalar(catalogue_, session_, accessors_.size()));
  }

  static double valueOf(std::size_t signal, std::uint64_t k, int way) {
    return static_cast<double>(k) + 0.1 * static_cast<double>(signal) + 1e6 * way;
  }

  void record(std::size_t signal, std::uint64_t k, int way) {
    const double time = static_cast<double>(k), value = valueOf(signal, k, way);
    accessors_[signal]->update(&time, &value, 0);
  }

  /// Steps [begin, end). @param has Whether a signal has a sample.
  void run(
      std::uint64_t begin, std::uint64_t end, int way,
      const std::function<bool(std::size_t, std::uint64_t)>& has = [](std::size_t, std::uint64_t) { return true; }) {
    for (std::uint64_t k = begin; k < end; ++k) {
      for (std::size_t i = 0; i < kSignals; ++i) {
        if (has(i, k)) record(i, k, way);
      }
    }
  }

  MemoryRecorder& recorder(std::size_t signal) {
    return static_cast<MemoryRecorder&>(*accessors_[signal]->clients().front());
  }

  /// Steps back at once: it waits for the next call of a recorder else.
  void rollBack() {
    session_.rollBack();
    static_cast<void>(recorder(0).recordedSamples());
  }

  /// What a reader sees of a signal.
  std::vector<double> seen(std::size_t signal) const {
    const vtu::QatFileWrapper open(file_.path(), "r");
    EXPECT_TRUE(open) << qatLastError();
    const vtu::qxArrayWrapper variable = open.variable(kVariable);
    EXPECT_TRUE(variable) << qatLastError();
    const qxArray* values = qxGetField(qxGetCell(elementsOf(variable.get()), signal), 0, "Values");
    return numbers<double>(qxGetField(values, 0, "Data"));
  }

  void expectRows(std::size_t signal, std::uint64_t rows, int way = 0) const {
    std::vector<double> expected;
    for (std::uint64_t k = 0; k < rows; ++k) expected.push_back(valueOf(signal, k, way));
    EXPECT_EQ(seen(signal), expected) << "signal " << signal;
  }

  StreamedFile file_;
  Catalogue catalogue_;
  RecordingSession session_{catalogue_};
  std::vector<std::unique_ptr<Scalar>> accessors_;
};

TEST_F(StreamedStepBack, KeepsTheLastRowBeforeTheSnapshot) {
  run(0, 300, 0);
  session_.flush();
  session_.captureSnapshot(false);
  run(300, 500, 0);
  session_.flush();
  rollBack();
  for (std::size_t i = 0; i < kSignals; ++i) expectRows(i, 300);
}

TEST_F(StreamedStepBack, KeepsTheSamplesOfARowThatWasBegun) {
  run(0, 300, 0);
  record(0, 300, 0);
  record(1, 300, 0);
  session_.flush();
  session_.captureSnapshot(false);
  record(2, 300, 0);
  record(3, 300, 0);
  run(301, 500, 0);
  session_.flush();
  rollBack();
  for (std::size_t i = 0; i < kSignals; ++i) expectRows(i, i < 2 ? 301 : 300);
  record(2, 300, 1);
  session_.flush();
  for (std::size_t i = 0; i < 2; ++i) expectRows(i, 301);
  EXPECT_EQ(seen(2).back(), valueOf(2, 300, 1));
}

TEST_F(StreamedStepBack, WhatOneSignalRecordsBetweenTwoRowsGoesAmongTheStrays) {
  run(0, 300, 0);
  session_.flush();
  record(0, 300, 0);
  run(301, 400, 0);
  session_.flush();
  EXPECT_EQ(seen(0).size(), 400U);
  for (std::size_t i = 1; i < kSignals; ++i) EXPECT_EQ(seen(i).size(), 399U);
  EXPECT_EQ(seen(0)[300], valueOf(0, 300, 0));
  EXPECT_EQ(seen(1)[300], valueOf(1, 301, 0));
}

TEST_F(StreamedStepBack, ToATimeBeforeTheLayoutKeepsTheRowsBeforeIt) {
  run(0, 50, 0);
  record(0, 50, 0);
  session_.captureSnapshot(false);
  run(50, 51, 0, [](std::size_t i, std::uint64_t) { return i != 0; });
  run(51, 300, 0);
  session_.flush();
  rollBack();
  for (std::size_t i = 0; i < kSignals; ++i) expectRows(i, i == 0 ? 51 : 50);
}

TEST_F(StreamedStepBack, AgainToATimeBeforeTheLayoutKeepsTheRowsOfASignalThatMissedSome) {
  run(0, 50, 0);
  session_.captureSnapshot(false);
  run(50, 300, 0);
  session_.flush();
  rollBack();
  run(50, 200, 1, [](std::size_t i, std::uint64_t k) { return i != 3 || k % 20 != 0; });
  session_.flush();
  EXPECT_EQ(seen(0).size(), 200U);
  EXPECT_EQ(seen(3).size(), 193U);
  rollBack();
  for (std::size_t i = 0; i < kSignals; ++i) expectRows(i, 50);
  run(50, 60, 2);
  session_.flush();
  for (std::size_t i = 0; i < kSignals; ++i) {
    ASSERT_EQ(seen(i).size(), 60U);
    EXPECT_EQ(seen(i)[49], valueOf(i, 49, 0));
    EXPECT_EQ(seen(i)[50], valueOf(i, 50, 2));
  }
}

TEST_F(StreamedStepBack, KeepsTheSamplesThatAnAliasShares) {
  accessors_.push_back(attachScalar(catalogue_, session_, kSignals, u"y"));
  recorder(kSignals).shareSamples(0, recorder(0), 0);
  run(0, 300, 0);
  session_.flush();
  session_.captureSnapshot(false);
  run(300, 500, 0, [](std::size_t i, std::uint64_t k) { return i != 0 || k != 400; });
  session_.flush();
  EXPECT_EQ(seen(0).size(), 499U);
  EXPECT_EQ(seen(kSignals).size(), 400U);
  static_cast<void>(catalogue_.datasetArray(u"logsout"));
  EXPECT_EQ(seen(kSignals), seen(0));
  rollBack();
  expectRows(0, 300);
  static_cast<void>(catalogue_.datasetArray(u"logsout"));
  EXPECT_EQ(seen(kSignals), seen(0));
  EXPECT_EQ(session_.streamFailure(), "");
}

/// Signals with limits of points, which are recorded at different times.
class StreamedNewest : public ::testing::Test {
 protected:
  static constexpr std::array<std::uint64_t, 4> kLimits{10, 100, 1000, 1000};

  StreamedNewest() {
    file_.stream(catalogue_);
    session_.flushInterval(1000);
    for (const std::uint64_t limit : kLimits) attach(limit);
  }

  void attach(std::uint64_t limit) {
    accessors_.push_back(attachScalar(catalogue_, session_, accessors_.size(), u"x", limit));
  }

  static bool has(std::size_t signal, std::uint64_t k) { return signal != 3 || (k * 2654435761U >> 7U) % 4 != 0; }

  static double valueOf(std::size_t signal, std::uint64_t k, int way) {
    return static_cast<double>(k) + 0.1 * static_cast<double>(signal) + 1e6 * way;
  }

  /// Steps [begin, end).
  void run(std::uint64_t begin, std::uint64_t end, int way) {
    for (std::uint64_t k = begin; k < end; ++k) {
      for (std::size_t i = 0; i < accessors_.size(); ++i) {
        if (!has(i, k)) continue;
        const double time = static_cast<double>(k), value = valueOf(i, k, way);
        accessors_[i]->update(&time, &value, 0);
      }
    }
    ways_.resize(begin);
    ways_.resize(end, way);
  }

  /// Readers see the newest samples before step `end` of a signal.
  /// @param least So many of them at least.
  void expectNewest(std::size_t signal, std::uint64_t end, std::uint64_t least = UINT64_MAX) const {
    const vtu::QatFileWrapper open(file_.path(), "r");
    ASSERT_TRUE(open) << qatLastError();
    const vtu::qxArrayWrapper variable = open.variable(kVariable);
    ASSERT_TRUE(variable) << qatLastError();
    const qxArray* values = qxGetField(qxGetCell(elementsOf(variable.get()), signal), 0, "Values");
    const std::vector<double> seen = numbers<double>(qxGetField(values, 0, "Data"));
    const std::vector<double> times = numbers<double>(qxGetField(values, 0, "Time"));
    std::vector<double> expected, expectedTimes;
    for (std::uint64_t k = end; k > 0 && expected.size() < kLimits.at(signal); --k) {
      if (!has(signal, k - 1)) continue;
      expected.insert(expected.begin(), valueOf(signal, k - 1, ways_[k - 1]));
      expectedTimes.insert(expectedTimes.begin(), static_cast<double>(k - 1));
    }
    ASSERT_GE(seen.size(), std::min<std::size_t>(least, expected.size())) << "signal " << signal << " at " << end;
    ASSERT_LE(seen.size(), expected.size()) << "signal " << signal << " at " << end;
    const auto gone = static_cast<std::ptrdiff_t>(expected.size() - seen.size());
    EXPECT_EQ(seen, std::vector<double>(expected.begin() + gone, expected.end())) << signal << " at " << end;
    EXPECT_EQ(times, std::vector<double>(expectedTimes.begin() + gone, expectedTimes.end())) << signal << " at " << end;
  }

  void expectAllNewest(std::uint64_t end) const {
    for (std::size_t i = 0; i < kLimits.size(); ++i) expectNewest(i, end);
  }

  void rollBack() {
    session_.rollBack();
    static_cast<void>(static_cast<MemoryRecorder&>(*accessors_[0]->clients().front()).recordedSamples());
  }

  StreamedFile file_;
  Catalogue catalogue_;
  RecordingSession session_{catalogue_};
  std::vector<std::unique_ptr<Scalar>> accessors_;
  std::vector<int> ways_;  // by step
};

TEST_F(StreamedNewest, AreInTheFileAfterEachFlush) {
  std::uint64_t k = 0;
  for (const std::uint64_t rows : std::array<std::uint64_t, 11>{150, 1, 2, 30, 64, 65, 200, 999, 1, 1250, 3000}) {
    run(k, k + rows, 0);
    k += rows;
    session_.flush();
    expectAllNewest(k);
  }
}

TEST_F(StreamedNewest, TakeNoMoreRoomHoweverLongTheRunIs) {
  run(0, 4000, 0);
  session_.flush();
  const auto size = std::filesystem::file_size(file_.path());
  EXPECT_LT(size, 16U * (1250 + 1250 + 164 + 74) + 30000);
  run(4000, 20000, 0);
  session_.flush();
  EXPECT_EQ(std::filesystem::file_size(file_.path()), size);
  expectAllNewest(20000);
}

TEST_F(StreamedNewest, AreSeenAllTheTimeAcrossAShortStepBack) {
  run(0, 4000, 0);
  session_.flush();
  run(4000, 5000, 0);
  session_.captureSnapshot(false);
  run(5000, 5040, 0);
  session_.flush();
  rollBack();
  for (std::size_t i = 1; i < kLimits.size(); ++i) expectNewest(i, 5000);
  run(5000, 5001, 1);
  session_.flush();
  expectAllNewest(5001);
}

TEST_F(StreamedNewest, AreSeenAgainAfterTheFirstRowThatFollowsALongStepBack) {
  run(0, 5000, 0);
  session_.captureSnapshot(false);
  run(5000, 5700, 0);
  session_.flush();
  rollBack();
  for (std::size_t i = 0; i < kLimits.size(); ++i) expectNewest(i, 5000, 0);
  run(5000, 5001, 1);
  expectNewest(1, 5000);
  expectNewest(2, 5000);
  run(5001, 5300, 1);
  session_.flush();
  expectAllNewest(5300);
}

TEST_F(StreamedNewest, AreSeenAgainWhenTheFileWasClosed) {
  run(0, 3000, 0);
  session_.captureSnapshot(false);
  run(3000, 3500, 0);
  static_cast<void>(catalogue_.datasetArray(u"logsout"));
  expectAllNewest(3500);
  run(3500, 3600, 0);
  session_.flush();
  expectAllNewest(3600);
  static_cast<void>(catalogue_.datasetArray(u"logsout"));
  expectAllNewest(3600);
  rollBack();
  run(3000, 3010, 1);
  session_.flush();
  expectAllNewest(3010);
}

}  // namespace
