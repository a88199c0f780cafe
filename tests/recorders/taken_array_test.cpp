// Arrays that were taken from a recorder stay what they are, whatever the recorder does afterwards.
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <optional>
#include <thread>

#include "platform/qat.hpp"
#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

class TakenArray : public Recording {
 protected:
  static constexpr int kMany = 3000;  // more than one chunk, and enough for values to be shared with the recorder

  static void fill(Recorded& signal, int from, int to, double offset = 0) {
    for (int i = from; i < to; ++i) signal.add(i * 0.1, offset + i);
  }

  static std::vector<double> sequence(int from, int to, double offset = 0) {
    std::vector<double> expected(static_cast<std::size_t>(to - from));
    std::iota(expected.begin(), expected.end(), offset + from);
    return expected;
  }

  static std::vector<double> data(const vtu::qxArrayWrapper& element) {
    return numbers<double>(values(element, "Data"));
  }
};

TEST_F(TakenArray, StaysWhenRecordingGoesOn) {
  Recorded signal = record(leaf(u"x"));
  fill(signal, 0, kMany);
  const vtu::qxArrayWrapper taken = signal.element();
  fill(signal, kMany, 2 * kMany);
  EXPECT_EQ(data(taken), sequence(0, kMany));
  EXPECT_EQ(data(signal.element()), sequence(0, 2 * kMany));
}

TEST_F(TakenArray, StaysWhenTheNewestSamplesPushTheOthersOut) {
  Recorded signal = record(leaf(u"x"), kMany);
  fill(signal, 0, kMany + 500);
  const vtu::qxArrayWrapper taken = signal.element();
  fill(signal, kMany + 500, 4 * kMany);
  EXPECT_EQ(data(taken), sequence(500, kMany + 500));
  EXPECT_EQ(data(signal.element()), sequence(3 * kMany, 4 * kMany));
}

TEST_F(TakenArray, StaysWhenTheRecorderStepsBackAndRecordsOtherValues) {
  for (const int back : {0, 1, 100, 2900, 2999}) {
    Recorded signal = record(leaf(u"x"));
    const auto snapshots = signal.recorder->getSnapshotInterface();
    fill(signal, 0, back);
    snapshots->captureSnapshot(false);
    fill(signal, back, kMany);
    const vtu::qxArrayWrapper taken = signal.element();
    snapshots->rollBack();
    fill(signal, back, kMany, 1e6);
    EXPECT_EQ(data(taken), sequence(0, kMany)) << "back to " << back;
    std::vector<double> replayed = sequence(0, back);
    const std::vector<double> others = sequence(back, kMany, 1e6);
    replayed.insert(replayed.end(), others.begin(), others.end());
    EXPECT_EQ(data(signal.element()), replayed) << "back to " << back;
  }
}

TEST_F(TakenArray, StaysWhenTheRowInWhichItEndsIsWrittenAgain) {
  Recorded first = record(leaf(u"a"));
  Recorded second = record(std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2));
  Recorded third = record(leaf(u"b"));
  double time = 0;
  first.add(time, 1.0);
  second.accessor->update(&time, u"before", 0);
  third.add(time, 1.0);
  time = 1;
  first.add(time, 1.0);
  session_.captureSnapshot(false);
  second.accessor->update(&time, u"taken", 0);
  third.add(time, 2.0);
  const vtu::qxArrayWrapper word = second.element();
  const vtu::qxArrayWrapper number = third.element();
  session_.rollBack();
  second.accessor->update(&time, u"other", 0);
  third.add(time, 3.0);
  EXPECT_EQ(text(qxGetCell(values(word, "Data"), 1)), "taken");
  EXPECT_EQ(data(number), (std::vector<double>{1, 2}));
  EXPECT_EQ(text(qxGetCell(values(second.element(), "Data"), 1)), "other");
  EXPECT_EQ(data(third.element()), (std::vector<double>{1, 3}));
}

TEST_F(TakenArray, StaysWhenTheRecorderIsGone) {
  std::optional<Catalogue> catalogue(std::in_place);
  std::optional<RecordingSession> session(std::in_place, *catalogue);
  const SignalDescriptor& descriptor =
      catalogue->createSignalDescriptor(leaf(u"x"), 512, 0, 1, u"signal", u"", pathOf(u"model/block"), 0);
  Recorded signal;
  signal.accessor = std::make_unique<Scalar>(descriptor, catalogue->disabledLoggingIntervals());
  signal.recorder = session->attach(descriptor, *signal.accessor);
  fill(signal, 0, kMany);
  const vtu::qxArrayWrapper taken = signal.element();
  signal.accessor.reset();
  session.reset();
  catalogue.reset();
  EXPECT_EQ(data(taken), sequence(0, kMany));
}

TEST_F(TakenArray, MayBeDestroyedOnAnotherThreadWhileRecordingGoesOn) {
  Recorded signal = record(leaf(u"x"));
  fill(signal, 0, kMany);
  for (int i = 0; i < 20; ++i) {
    vtu::qxArrayWrapper taken = signal.element();
    std::thread reader([taken = std::move(taken), i]() mutable {
      EXPECT_EQ(data(taken), sequence(0, kMany + 100 * i));
      taken.reset();
    });
    fill(signal, kMany + 100 * i, kMany + 100 * (i + 1));
    reader.join();
  }
  EXPECT_EQ(data(signal.element()), sequence(0, kMany + 2000));
}

TEST_F(TakenArray, ChangedByItsHolderLeavesTheRecording) {
  Recorded signal = record(leaf(u"x"));
  fill(signal, 0, kMany);
  vtu::qxArrayWrapper element = signal.element();
  vtu::qxArrayWrapper mine(qxShareArray(values(element, "Data")));
  static_cast<double*>(qxGetData(mine.get()))[0] = -1;
  EXPECT_EQ(data(element), sequence(0, kMany));
  EXPECT_EQ(data(signal.element()), sequence(0, kMany));
}

TEST_F(TakenArray, IsSavedAsItIs) {
  Recorded matrix = record(leaf(u"m", "single", {2, 3}));
  Recorded flags = record(leaf(u"f", "boolean"));
  for (int i = 0; i < kMany; ++i) {
    const float row[] = {static_cast<float>(i), 1, 2, 3, 4, 5};
    const unsigned char flag = i % 3 == 0 ? 7 : 0;
    matrix.add(i, row);
    flags.add(i, flag);
  }
  const std::string path =
      (std::filesystem::temp_directory_path() / ("vtio_taken_array_" + std::to_string(getpid()) + ".qat")).string();
  catalogue_.saveDatasetsToQatFile(vtu::to_ustring(path));
  vtu::QatFileWrapper file(path, "r");
  ASSERT_TRUE(file) << qatLastError();
  const vtu::qxArrayWrapper saved = file.variable("DATASET_SIGNAL_LOGGING");
  const std::string reason = qatLastError();
  file.reset();
  std::filesystem::remove(path);
  ASSERT_TRUE(saved) << reason;
  const qxArray* elements = field(field(saved.get(), "Dataset"), "Elements");
  const auto savedData = [elements](std::size_t i) { return field(field(qxGetCell(elements, i), "Values"), "Data"); };
  EXPECT_EQ(dimensions(savedData(0)), dimensions(values(matrix.element(), "Data")));
  EXPECT_EQ(numbers<float>(savedData(0)), numbers<float>(values(matrix.element(), "Data")));
  EXPECT_EQ(numbers<unsigned char>(savedData(1)), numbers<unsigned char>(values(flags.element(), "Data")));
}

}  // namespace
