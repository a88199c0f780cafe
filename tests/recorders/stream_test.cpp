// Streaming into a file: the same results as in memory, in the file itself, in the results file, and in mid-run.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <random>

#include "platform/qat.hpp"
#include "platform/qat_parts.hpp"
#include "platform/qat_stream.hpp"
#include "recorders/recorders.h"
#include "tests/qat/arrays.hpp"
#include "tests/recorders/stream_fixture.hpp"

namespace {

using namespace recording;
using ::testing::HasSubstr;
using vtio::recorders::SampleOrder;
using vtio::tests::difference;

/// A model with signals of every kind, which records into memory or into a file.
class Rig {
 public:
  explicit Rig(const StreamedFile* file, double flushInterval = 0, SampleOrder order = SampleOrder::rowMajor) {
    session.sampleOrder(order);
    if (file != nullptr) file->stream(catalogue);
    session.flushInterval(flushInterval);
    add({.root = leaf(u"x"), .name = u"x"});
    add({.root = leaf(u"m", "int16", {3, 2}), .name = u"m"});
    add({.root = leaf(u"c", "single", {2}, true), .name = u"c"});
    add({.root = leaf(u"on", "logical"), .name = u"on"});
    add({.root = std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2), .name = u"s"});
    add({.root = with(topBus(u"b"), leaf(u"p"), leaf(u"q", "uint8", {3})), .name = u"b"});
    auto block = with(topNvBus(u"nv", {2}, {0, 8}, 16), leaf(u"u"), leaf(u"v", "int32", {2}));
    block->generateLeafDataOffsets();
    add({.root = std::move(block), .name = u"nv"});
    add({.root = leaf(u"few"), .name = u"few", .maxPoints = 37});
    add({.root = std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2),
         .name = u"few texts",
         .maxPoints = 500});
    add({.root = with(topBus(u"b"), leaf(u"p", "single", {2}, true), leaf(u"q", "logical")),
         .name = u"few now and then",
         .maxPoints = 300});
    for (int i = 0; i < 3; ++i) {
      add({.root = leaf(u"each"), .name = u"each", .foreachDimensions = {3}, .foreachIterationIndices = {i}});
    }
    add({.root = leaf(u"fast"), .name = u"fast"});
    add({.root = leaf(u"slow"), .name = u"slow"});
    add({.root = leaf(u"triggered"), .name = u"triggered"});
    add({.root = leaf(u"stops"), .name = u"stops"});
    addAlias({.root = leaf(u"other x"), .name = u"alias of x"}, 0);
    addAlias({.root = std::make_unique<StringLeafNode>(0, u"t", "zoh", Dims{}, "string", units(), u"", 8, 2),
              .name = u"alias of s"},
             4);
    addAlias({.root = with(topBus(u"b"), leaf(u"p"), leaf(u"q", "uint8", {3})), .name = u"alias of b"}, 5);
    addAlias({.root = leaf(u"other few"), .name = u"alias of few", .maxPoints = 37}, 7);
  }

  void addLate() { add({.root = leaf(u"late"), .name = u"late"}); }

  void step(std::uint64_t k, std::uint64_t seed) {
    const double time = 0.01 * static_cast<double>(k);
    std::mt19937_64 random(k * 977 + seed);
    for (std::size_t i = 0; i < signals_.size(); ++i) {
      const vtu::ustring& name = signals_[i].descriptor->signalName();
      if (name.starts_with(u"alias")) continue;
      if (name == u"slow" && k % 3 != 0) continue;
      if ((name == u"triggered" || name == u"few now and then") && random() % 4 != 0) continue;
      if (name == u"stops" && k % 1000 > 700) continue;
      if (name == u"x" && k % 4096 == 4095) continue;  // misses a step
      deliver(i, time, random);
      if (name == u"fast") deliver(i, time + 0.005, random);
    }
  }

  vtu::qxArrayWrapper dataset() { return catalogue.datasetArray(u"logsout"); }

  Catalogue catalogue;
  RecordingSession session{catalogue};

 private:
  void add(SignalDescription description) {
    description.blockPath = {u"model/block"};
    Recorded recorded;
    recorded.descriptor = &catalogue.createSignalDescriptor(std::move(description));
    const bool isBus = dynamic_cast<const TopBusNode*>(recorded.descriptor->root()) != nullptr;
    const auto& interval = catalogue.disabledLoggingIntervals();
    if (isBus) {
      recorded.accessor = std::make_unique<VirtualBus>(*recorded.descriptor, interval);
    } else {
      recorded.accessor = std::make_unique<Scalar>(*recorded.descriptor, interval);
    }
    recorded.recorder = session.attach(*recorded.descriptor, *recorded.accessor);
    signals_.push_back(std::move(recorded));
  }

  // Never delivered: it has the samples of another signal.
  void addAlias(SignalDescription description, std::size_t of) {
    add(std::move(description));
    MemoryRecorder& alias = *signals_.back().recorder;
    for (std::size_t i = 0; i < alias.positions(); ++i) alias.shareSamples(i, *signals_[of].recorder, i);
  }

  void deliver(std::size_t i, double time, std::mt19937_64& random) {
    Recorded& signal = signals_[i];
    if (signal.descriptor->signalName() == u"s" || signal.descriptor->signalName() == u"few texts") {
      const std::string text(random() % 20, static_cast<char>('a' + random() % 26));
      signal.accessor->update(&time, vtu::to_ustring(text).c_str(), 0);
      return;
    }
    std::array<std::uint64_t, 16> bytes{};
    for (std::uint64_t& part : bytes) part = random() & 0x3f7f7f7f3f7f7f7fU;
    signal.accessor->update(&time, bytes.data(), 0);
    if (signal.recorder->positions() > 1) signal.accessor->update(&time, bytes.data() + 1, 1);
  }

  std::vector<Recorded> signals_;
};

class Streamed : public ::testing::Test {
 protected:
  /// Empty if the elements of a file's variable equal those of a dataset.
  static std::string differenceIn(const std::string& file, const qxArray* dataset) {
    const vtu::QatFileWrapper open(file, "r");
    if (!open) return qatLastError();
    const vtu::qxArrayWrapper variable = open.variable(kVariable);
    if (!variable) return qatLastError();
    return difference(elementsOf(dataset), elementsOf(variable.get()));
  }

  StreamedFile file_;
};

/// Readers of the file that is being written see the samples of signals with a limit of points.
void expectNewestInFile(const StreamedFile& file, Rig& memory) {
  const vtu::qxArrayWrapper expected = memory.dataset();
  const vtu::QatFileWrapper open(file.path(), "r");
  ASSERT_TRUE(open) << qatLastError();
  const vtu::qxArrayWrapper variable = open.variable(kVariable);
  ASSERT_TRUE(variable) << qatLastError();
  for (const char* name : {"few", "few texts", "few now and then", "alias of few"}) {
    ASSERT_EQ(difference(elementOf(expected.get(), name), elementOf(variable.get(), name)), "") << name;
  }
}

/// Records the same in memory and in a file, and compares everything that can be asked.
void expectSameAsInMemory(const StreamedFile& file, unsigned seed, double flushInterval, SampleOrder order) {
  std::mt19937 random(seed);
  Rig memory(nullptr, 0, order);
  auto streamed = std::make_unique<Rig>(&file, flushInterval, order);
  const auto both = [&](const auto& work) {
    work(memory);
    work(*streamed);
  };
  both([](Rig& rig) { rig.session.captureSnapshot(true); });
  std::vector<std::uint64_t> snapshots;
  std::uint64_t k = 0;
  for (int command = 0; command < 30; ++command) {
    switch (random() % 8) {
      case 0:
        both([](Rig& rig) { rig.session.captureSnapshot(false); });
        snapshots.push_back(k);
        break;
      case 1:
        if (snapshots.empty()) break;
        both([](Rig& rig) { rig.session.rollBack(); });
        k = snapshots.back();
        break;
      case 2:
        if (random() % 6 == 0) {
          both([](Rig& rig) {
            rig.session.reset();
            rig.session.clearSnapshots();
          });
          k = 0;
          snapshots.clear();
        } else if (!snapshots.empty()) {
          both([](Rig& rig) { rig.session.popLatestSnapshots(1); });
          snapshots.pop_back();
        }
        break;
      case 3:
        if (command % 7 == 3) both([](Rig& rig) { rig.addLate(); });
        streamed->session.flush();
        ASSERT_NO_FATAL_FAILURE(expectNewestInFile(file, memory)) << "command " << command;
        break;
      case 4:
        ASSERT_EQ(difference(elementsOf(memory.dataset().get()), elementsOf(streamed->dataset().get())), "");
        break;
      default:
        for (std::uint64_t end = k + random() % 700; k < end; ++k)
          both([&](Rig& rig) { rig.step(k, static_cast<std::uint64_t>(command)); });
    }
  }
  both([&](Rig& rig) { rig.step(k, 99); });
  const vtu::qxArrayWrapper expected = memory.dataset();
  streamed->session.save(file.path("results.qat"));
  ASSERT_EQ(difference(elementsOf(expected.get()), elementsOf(streamed->dataset().get())), "");
  EXPECT_EQ(streamed->session.streamFailure(), "");
  EXPECT_EQ(streamed->session.lostSamples(), 0U);
  streamed.reset();
  for (const char* name : {"stream.qat", "results.qat"}) {
    const vtu::QatFileWrapper open(file.path(name), "r");
    ASSERT_TRUE(open) << qatLastError();
    const vtu::qxArrayWrapper variable = open.variable(kVariable);
    ASSERT_TRUE(variable) << name << ": " << qatLastError();
    ASSERT_EQ(difference(elementsOf(expected.get()), elementsOf(variable.get())), "") << name;
  }
}

class StreamedRuns : public Streamed, public ::testing::WithParamInterface<unsigned> {};

TEST_P(StreamedRuns, EqualTheSameRunsInMemory) {
  constexpr std::array kIntervals = {0.0, 0.02, 1000.0};
  const SampleOrder order = GetParam() / 3 % 2 == 0 ? SampleOrder::rowMajor : SampleOrder::columnMajor;
  expectSameAsInMemory(file_, GetParam(), kIntervals[GetParam() % 3], order);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StreamedRuns, ::testing::Range(0U, 8U));
INSTANTIATE_TEST_SUITE_P(MoreSeeds, StreamedRuns, ::testing::Range(8U, 24U));

TEST_F(Streamed, ResultsFileLinksTheTablesAndStaysValidWhenBothAreMoved) {
  const std::string kept = file_.path("moved");
  {
    Rig rig(&file_, 0.05);
    for (std::uint64_t k = 0; k < 50000; ++k) rig.step(k, 0);
    rig.session.save(file_.path("results.qat"));
    EXPECT_EQ(differenceIn(file_.path("results.qat"), rig.dataset().get()), "");
  }
  const auto size = std::filesystem::file_size(file_.path());
  EXPECT_LT(std::filesystem::file_size(file_.path("results.qat")), size / 2);
  std::filesystem::create_directory(kept);
  std::filesystem::rename(file_.path(), kept + "/stream.qat");
  std::filesystem::rename(file_.path("results.qat"), kept + "/results.qat");
  const vtu::QatFileWrapper open(kept + "/results.qat", "r");
  const vtu::qxArrayWrapper variable = open.variable(kVariable);
  ASSERT_TRUE(variable) << qatLastError();
  const qxArray* elements = elementsOf(variable.get());
  std::size_t found = 0;
  for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
    const qxArray* element = qxGetCell(elements, i);
    if (text(qxGetField(element, 0, "Name")) != "m") continue;
    EXPECT_EQ(qxGetNumberOfElements(qxGetField(qxGetField(element, 0, "Values"), 0, "Time")), 50000U);
    ++found;
  }
  EXPECT_EQ(found, 1U);
}

TEST_F(Streamed, ResultsInAnotherFolderAreComplete) {
  Rig rig(&file_);
  for (std::uint64_t k = 0; k < 3000; ++k) rig.step(k, 0);
  std::filesystem::create_directory(file_.path("other"));
  rig.session.save(file_.path("other/results.qat"));
  const vtu::qxArrayWrapper dataset = rig.dataset();
  std::filesystem::rename(file_.path(), file_.path("elsewhere.qat"));
  EXPECT_EQ(differenceIn(file_.path("other/results.qat"), dataset.get()).find("cannot be opened"), std::string::npos);
  const vtu::QatFileWrapper open(file_.path("other/results.qat"), "r");
  EXPECT_TRUE(open.variable(kVariable)) << qatLastError();
}

TEST_F(Streamed, NoSampleIsStreamedUnlessTheSettingSaysOn) {
  Rig rig(nullptr);
  rig.step(0, 0);
  static_cast<void>(rig.dataset());
  EXPECT_FALSE(std::filesystem::exists(file_.path()));
}

TEST_F(Streamed, FileWithoutANameIsSignalsQat) {
  const pid_t child = runElsewhere([&] {
    if (chdir(file_.path("").c_str()) != 0) _exit(2);
    Catalogue catalogue;
    catalogue.settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
    RecordingSession session(catalogue);
    const auto accessor = attachScalar(catalogue, session, 0);
    const double time = 0, value = 5;
    accessor->update(&time, &value, 0);
  });
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  const vtu::QatFileWrapper open(file_.path("signals.qat"), "r");
  ASSERT_TRUE(open) << qatLastError();
  const vtu::qxArrayWrapper variable = open.variable(kVariable);
  EXPECT_EQ(numbers<double>(qxGetField(qxGetField(elementOf(variable.get(), "x"), 0, "Values"), 0, "Data")),
            std::vector<double>{5});
}

TEST_F(Streamed, EachRowIsSeenWhenTheNextBeginsWithAFlushIntervalOfZero) {
  Catalogue catalogue;
  file_.stream(catalogue);
  RecordingSession session(catalogue);
  session.flushInterval(0);
  session.syncToDisk(true);
  const auto accessor = attachScalar(catalogue, session, 0);
  for (int k = 0; k < 300; ++k) {
    const double time = k, value = k;
    accessor->update(&time, &value, 0);
    if (k < 150) continue;
    const vtu::QatFileWrapper open(file_.path(), "r");
    ASSERT_TRUE(open) << qatLastError();
    EXPECT_EQ(vtu::QatSamples(*open.get()).columns(0).at(0).count, static_cast<std::uint64_t>(k));
  }
  EXPECT_THROW(session.flushInterval(-1), std::invalid_argument);
}

TEST_F(Streamed, SecondRunIntoOneFileIsRefusedAndLeavesItAlone) {
  Rig rig(&file_);
  for (std::uint64_t k = 0; k < 1000; ++k) rig.step(k, 0);
  try {
    const Rig second(&file_);
    FAIL() << "two runs stream into one file";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr(file_.path()));
    EXPECT_THAT(error.what(), HasSubstr("being written by another run"));
  }
  rig.session.flush();
  const vtu::qxArrayWrapper dataset = rig.dataset();
  EXPECT_EQ(differenceIn(file_.path(), dataset.get()), "");
}

TEST_F(Streamed, SavingOntoTheStreamedFileIsRefused) {
  Rig rig(&file_);
  for (std::uint64_t k = 0; k < 1000; ++k) rig.step(k, 0);
  EXPECT_THROW(rig.session.save(file_.path()), std::exception);
  const vtu::qxArrayWrapper dataset = rig.dataset();
  EXPECT_THROW(rig.session.save(file_.path()), std::exception);
  EXPECT_THROW(rig.catalogue.saveDatasetsToQatFile(vtu::to_ustring(file_.path())), std::exception);
  EXPECT_EQ(differenceIn(file_.path(), dataset.get()), "");
}

TEST_F(Streamed, SnapshotOfAWayThatWasGivenUpIsRefused) {
  Rig rig(&file_, 0.01);
  rig.session.captureSnapshot(true);
  for (std::uint64_t k = 0; k < 40000; ++k) rig.step(k, 0);
  rig.session.captureSnapshot(false);
  rig.session.reset();
  for (std::uint64_t k = 0; k < 10; ++k) rig.step(k, 1);
  rig.session.flush();
  EXPECT_EQ(rig.session.streamFailure(), "");
  EXPECT_THROW(rig.session.rollBack(), std::runtime_error);
  Rig memory(nullptr);
  for (std::uint64_t k = 0; k < 10; ++k) memory.step(k, 1);
  EXPECT_EQ(difference(elementsOf(memory.dataset().get()), elementsOf(rig.dataset().get())), "");
}

TEST_F(Streamed, RunIsReadableWhileItGoesOnAndAfterItIsKilled) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const pid_t child = runElsewhere([&] {
    Rig rig(&file_, 1000);
    rig.session.captureSnapshot(true);
    for (std::uint64_t k = 0; k < 5000; ++k) rig.step(k, 0);
    rig.session.flush();
    rig.addLate();
    rig.session.captureSnapshot(false);
    for (std::uint64_t k = 5000; k < 9000; ++k) rig.step(k, 1);
    rig.session.flush();
    rig.session.rollBack();
    for (std::uint64_t k = 5000; k < 8000; ++k) rig.step(k, 2);
    rig.session.flush();
    static_cast<void>(!write(ends[1], "", 1));
    pause();
  });
  char byte = 0;
  ASSERT_EQ(read(ends[0], &byte, 1), 1);
  Rig memory(nullptr);
  for (std::uint64_t k = 0; k < 8000; ++k) {
    if (k == 5000) memory.addLate();
    memory.step(k, k < 5000 ? 0 : 2);
  }
  const vtu::qxArrayWrapper expected = memory.dataset();
  const auto check = [&] {
    const vtu::QatFileWrapper open(file_.path(), "r");
    ASSERT_TRUE(open) << qatLastError();
    const vtu::qxArrayWrapper variable = open.variable(kVariable);
    ASSERT_TRUE(variable) << qatLastError();
    for (const char* name : {"x", "m", "c", "on", "s", "b", "nv", "few", "few texts", "few now and then",
                             "alias of few", "each", "fast", "slow", "triggered", "stops", "late"}) {
      const qxArray* element = elementOf(expected.get(), name);
      ASSERT_NE(element, nullptr) << name;
      EXPECT_EQ(difference(element, elementOf(variable.get(), name)), "") << name;
    }
  };
  check();
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  check();
  ASSERT_TRUE(vtu::QatFileWrapper(file_.path(), "u")) << qatLastError();
  check();
  const vtu::QatFileWrapper plain(file_.path(), "r");
  EXPECT_TRUE(vtu::QatSamples(*plain.get()).isComplete());
}

TEST_F(Streamed, FullDiskIsToldOnceAndWhatWasFlushedStays) {
  const std::string folder = file_.path("disk");
  std::filesystem::create_directory(folder);
  int stopped = 0;
  for (int megabytes = 9; megabytes < 40; megabytes += 6) {
    if (mount("none", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(megabytes) + "m").c_str()) != 0) {
      GTEST_SKIP() << "this process may not mount a small file system: " << strerror(errno);
    }
    {
      Catalogue catalogue;
      catalogue.settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
      catalogue.settings(Catalogue::SignalStorageParameters, vtu::to_ustring(folder + "/full.qat"));
      RecordingSession session(catalogue);
      session.flushInterval(0.001);
      const SignalDescriptor& descriptor =
          catalogue.createSignalDescriptor({.root = leaf(u"x", "double", {1000}), .name = u"x", .blockPath = {u"b"}});
      Scalar accessor(descriptor, catalogue.disabledLoggingIntervals());
      MemoryRecorder* recorder = session.attach(descriptor, accessor);
      std::vector<double> values(1000);
      for (int k = 0; k < 6000; ++k) {
        values[0] = k;
        const double time = k;
        ASSERT_NO_THROW(accessor.update(&time, values.data(), 0));
      }
      EXPECT_THAT(session.streamFailure(), HasSubstr("full.qat"));
      EXPECT_THAT(vtioRecordingLastError(), HasSubstr("full.qat"));
      EXPECT_GT(session.lostSamples(), 0U);
      EXPECT_EQ(session.lostSamples() + recorder->recordedSamples(), 6000U);
      ++stopped;
    }
    const vtu::QatFileWrapper open(folder + "/full.qat", "r");
    EXPECT_TRUE(open) << qatLastError();
    if (open) {
      const vtu::QatSamples samples(*open.get());
      for (const std::uint32_t table : samples.tables()) {
        const std::uint64_t rows = samples.columns(table).at(0).count;
        std::vector<double> all(rows * 1000);
        samples.readColumn(table, 0, 0, rows, all.data());
        for (std::uint64_t row = 0; row < rows; ++row) ASSERT_EQ(all[row * 1000], static_cast<double>(row));
      }
    }
    umount(folder.c_str());
  }
  EXPECT_GE(stopped, 5);
}

}  // namespace
