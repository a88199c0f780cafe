// Stepping a streamed run back: readers never miss a flushed row that is left.
#include <gtest/gtest.h>

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

}  // namespace
