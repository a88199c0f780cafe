// Runs that stream and are killed: what was flushed stays, and what a step back has given up does not come back.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <random>
#include <thread>

#include "platform/qat.hpp"
#include "tests/qat/arrays.hpp"
#include "tests/qat/dying_writes.hpp"
#include "tests/recorders/stream_fixture.hpp"

namespace {

using namespace recording;

/// A run of some signals that is killed. Its child reports how many rows are flushed at least, and its steps back.
class StreamedKills : public ::testing::Test {
 protected:
  static constexpr std::uint64_t kNone = UINT64_MAX;

  struct Told {
    std::uint64_t flushed = 0;     // rows
    std::uint64_t backTo = kNone;  // the row that the run goes on with after a step back
    bool isBack = false;           // since the last flush there was a step back
  };

  /// What the child has told.
  struct Known {
    std::uint64_t flushed = 0;
    bool isBack = false;
    std::vector<std::uint64_t> limits;  // by way: the row from which a step back has given its samples up

    void add(const Told& told) {
      flushed = told.flushed;
      isBack = told.isBack;
      if (told.backTo == kNone) return;
      for (std::uint64_t& limit : limits) limit = std::min(limit, told.backTo);
      limits.push_back(kNone);
    }
  };

  static constexpr std::size_t kSignals = 30;
  static constexpr std::size_t kRegular = 26;  // the others miss rows, and the last two come late

  static constexpr std::uint64_t kLate = 300;

  /// Most points that are kept of a signal; 0: all.
  static std::uint64_t maxPoints(std::size_t signal) { return signal == 4 ? 100 : signal == 27 ? 300 : 0; }

  static bool hasSample(std::size_t signal, std::uint64_t k) {
    if (signal >= kSignals - 2 && k < kLate) return false;
    return signal < kRegular || (k * 2654435761U >> 7U) % 16 != signal - kRegular;
  }

  static double valueOf(std::size_t signal, std::uint64_t k, std::uint64_t way) {
    return static_cast<double>(k) + 1e6 * static_cast<double>(way) + 0.01 * static_cast<double>(signal);
  }

  /// @param longWrites The process dies in so many writes across pages after the first flush; 0: in none.
  void runForever(unsigned seed, int pipe, std::size_t longWrites) const {
    std::mt19937 random(seed);
    Catalogue catalogue;
    file_.stream(catalogue);
    RecordingSession session(catalogue);
    session.flushInterval(1000);
    std::vector<std::unique_ptr<Scalar>> accessors;
    const auto attachOne = [&] {
      accessors.push_back(attachScalar(catalogue, session, accessors.size(), u"x", maxPoints(accessors.size())));
    };
    while (accessors.size() < kSignals - 2) attachOne();
    std::uint64_t k = 0, way = 0, snapshot = 0, flushed = 0;
    const auto tell = [pipe](Told told) {
      if (write(pipe, &told, sizeof told) < 0) _exit(2);
    };
    for (bool isCaptured = false, isBack = false;;) {
      for (std::uint64_t end = k + 1 + random() % 200; k < end; ++k) {
        if (k == kLate) {
          while (accessors.size() < kSignals) attachOne();
        }
        for (std::size_t i = 0; i < accessors.size(); ++i) {
          if (!hasSample(i, k)) continue;
          const double time = static_cast<double>(k), value = valueOf(i, k, way);
          accessors[i]->update(&time, &value, 0);
        }
        if (std::exchange(isBack, false))
          tell({flushed, k, true});  // the step back is done with the first sample after it
      }
      if (random() % 4 == 0) {
        session.captureSnapshot(false);
        session.limitSnapshots(1);
        snapshot = k;
        isCaptured = true;
      } else if (isCaptured && random() % 6 == 0) {
        flushed = std::min(flushed, snapshot);  // the rows before it stay
        tell({flushed, kNone, true});
        session.rollBack();
        k = snapshot;
        ++way;
        isBack = true;
      } else if (random() % 3 == 0) {
        session.flush();
        vtio::tests::dieInWrite(std::exchange(longWrites, 0));
        flushed = k;
        tell({flushed, kNone});
      }
      if (random() % 40 == 0) static_cast<void>(catalogue.datasetArray(u"logsout"));
    }
  }

  /// Runs until the child is dead. @param killWhenFlushed Called with the child when it has flushed some rows.
  template <typename Kill>
  Known run(unsigned seed, std::size_t longWrites, const Kill& killWhenFlushed) const {
    std::filesystem::remove(file_.path());
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t child = runElsewhere([&] { runForever(seed, ends[1], longWrites); });
    close(ends[1]);
    Known known{0, false, {kNone}};
    Told told;
    while (known.flushed == 0 && read(ends[0], &told, sizeof told) == sizeof told) known.add(told);
    std::thread killer([&] { killWhenFlushed(child); });
    while (read(ends[0], &told, sizeof told) == sizeof told) known.add(told);
    killer.join();
    waitpid(child, nullptr, 0);
    close(ends[0]);
    return known;
  }

  Known killAfter(std::chrono::microseconds delay, unsigned seed) const {
    return run(seed, 0, [delay](pid_t child) {
      std::this_thread::sleep_for(delay);
      kill(child, SIGKILL);
    });
  }

  /// A sample was recorded and not given up.
  /// @param way That of the sample before; becomes that of this one.
  static void checkSample(std::size_t signal, std::uint64_t k, double value, const Known& known, std::uint64_t& way) {
    const auto itsWay = static_cast<std::uint64_t>(value / 1e6);
    ASSERT_EQ(value, valueOf(signal, k, itsWay)) << "signal " << signal << " row " << k;
    ASSERT_GE(itsWay, way) << "signal " << signal << " row " << k;
    ASSERT_LT(itsWay, known.limits.size()) << "signal " << signal << " row " << k;
    ASSERT_LT(k, known.limits[itsWay]) << "signal " << signal << ": a row that was given up";
    way = itsWay;
  }

  /// All flushed samples of a signal in order, and none that was given up. They may go on after the last row of another
  /// signal, as strays do until the next flush.
  /// @param ways Of a signal with all rows; empty: not known.
  static void checkSignal(std::size_t signal, const std::vector<double>& times, const std::vector<double>& data,
                          const std::vector<std::uint64_t>& ways, const Known& known) {
    ASSERT_EQ(times.size(), data.size());
    std::uint64_t k = signal < kSignals - 2 ? 0 : kLate, way = 0;
    if (maxPoints(signal) != 0 && !times.empty()) k = static_cast<std::uint64_t>(times.front());
    const std::uint64_t first = k;
    for (std::size_t i = 0; i < data.size(); ++i, ++k) {
      while (!hasSample(signal, k)) ++k;
      ASSERT_EQ(times[i], static_cast<double>(k)) << "signal " << signal;
      checkSample(signal, k, data[i], known, way);
      if (HasFatalFailure()) return;
      if (k < ways.size()) {
        ASSERT_EQ(way, ways[k]) << "signal " << signal << " row " << k;
      }
    }
    while (k < known.flushed && !hasSample(signal, k)) ++k;
    const bool mayBeLost = maxPoints(signal) != 0 && known.isBack;  // before it is copied to the file again
    if (mayBeLost && data.empty()) return;
    ASSERT_GE(k, known.flushed) << "signal " << signal;
    if (maxPoints(signal) == 0) return;
    ASSERT_LE(data.size(), maxPoints(signal)) << "signal " << signal;
    if (data.size() < maxPoints(signal) && !mayBeLost) {
      for (std::uint64_t before = 0; before < first; ++before) ASSERT_FALSE(hasSample(signal, before)) << signal;
    }
  }

  void check(const Known& known, const char* mode) const {
    const vtu::QatFileWrapper open(file_.path(), mode);
    ASSERT_TRUE(open) << qatLastError();
    const vtu::qxArrayWrapper variable = open.variable(kVariable);
    ASSERT_TRUE(variable) << qatLastError();
    std::vector<std::uint64_t> ways;
    const std::size_t elements = qxGetNumberOfElements(elementsOf(variable.get()));
    ASSERT_LE(elements, kSignals);
    if (known.flushed > kLate) {
      ASSERT_EQ(elements, kSignals);
    }
    for (std::size_t i = 0; i < elements; ++i) {
      const qxArray* values = qxGetField(qxGetCell(elementsOf(variable.get()), i), 0, "Values");
      const std::vector<double> data = numbers<double>(qxGetField(values, 0, "Data"));
      checkSignal(i, numbers<double>(qxGetField(values, 0, "Time")), data, ways, known);
      if (HasFatalFailure()) return;
      if (i == 0) std::transform(data.begin(), data.end(), std::back_inserter(ways), [](double v) { return v / 1e6; });
      if (i < kRegular && maxPoints(i) == 0) {
        ASSERT_EQ(data.size(), ways.size()) << "signal " << i;
      }
    }
  }

  void checkAll(const Known& known, unsigned run) const {
    check(known, "r");
    check(known, "u");
    check(known, "r");
    ASSERT_FALSE(HasFailure()) << "run " << run;
  }

  void killManyTimes(unsigned times, unsigned longestMicroseconds) {
    std::mt19937 random(times);
    for (unsigned i = 0; i < times && !HasFatalFailure(); ++i) {
      checkAll(killAfter(std::chrono::microseconds(random() % longestMicroseconds), i), i);
    }
  }

  /// Kills within the 1st, 2nd, ... write across pages after the first flush.
  void killWithinWrites(unsigned times) {
    for (unsigned i = 1; i <= times && !HasFatalFailure(); ++i) checkAll(run(i, i, [](pid_t) {}), i);
  }

  StreamedFile file_;
};

TEST_F(StreamedKills, KeepEveryFlushedRow) { killManyTimes(20, 40000); }
TEST_F(StreamedKills, KeepEveryFlushedRowManyTimes) { killManyTimes(200, 100000); }
TEST_F(StreamedKills, WithinWritesKeepEveryFlushedRow) { killWithinWrites(20); }
TEST_F(StreamedKills, WithinWritesKeepEveryFlushedRowManyTimes) { killWithinWrites(120); }

}  // namespace
