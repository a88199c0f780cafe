// Stepping back and replaying equals never having stepped back.
#include <cmath>
#include <cstdint>
#include <deque>
#include <random>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

// A plain model of the recorders: the newest samples of each, copied completely into each snapshot.
struct Model {
  std::vector<std::deque<std::pair<double, double>>> samples;
  std::vector<std::deque<std::string>> texts;
};

class Replay : public Recording, public ::testing::WithParamInterface<unsigned> {
 protected:
  static constexpr unsigned long kLimits[] = {0, 1, 5, 100, 333};

  void recordAll() {
    for (const unsigned long most : kLimits) numbers_.push_back(record(leaf(u"x"), most));
    for (const unsigned long most : kLimits) {
      texts_.push_back(
          record(std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2), most));
    }
    now_.samples.resize(numbers_.size());
    now_.texts.resize(texts_.size());
  }

  template <typename T>
  static void keep(std::deque<T>& list, T value, unsigned long most) {
    list.push_back(std::move(value));
    if (most != 0 && list.size() > most) list.pop_front();
  }

  void step(double time, std::mt19937& random) {
    for (std::size_t i = 0; i < numbers_.size(); ++i) {
      if (random() % 16 == 0) continue;
      const double value = static_cast<double>(random());
      numbers_[i].add(time, value);
      keep(now_.samples[i], {time, value}, kLimits[i]);
    }
    for (std::size_t i = 0; i < texts_.size(); ++i) {
      if (random() % 4 != 0) continue;
      const std::string text(random() % 40, static_cast<char>('a' + random() % 26));
      texts_[i].accessor->update(&time, vtu::to_ustring(text).c_str(), 0);
      keep(now_.texts[i], text, kLimits[i]);
    }
  }

  void play(bool isStreamed);

  Model recorded() {
    Model model;
    for (const Recorded& r : numbers_) {
      const vtu::qxArrayWrapper element = r.element();
      const std::vector<double> times = numbers<double>(values(element, "Time"));
      const std::vector<double> data = numbers<double>(values(element, "Data"));
      EXPECT_EQ(times.size(), data.size());
      std::deque<std::pair<double, double>>& list = model.samples.emplace_back();
      for (std::size_t i = 0; i < data.size(); ++i) list.emplace_back(times[i], data[i]);
    }
    for (const Recorded& r : texts_) {
      const vtu::qxArrayWrapper element = r.element();
      const qxArray* data = values(element, "Data");
      EXPECT_EQ(qxGetNumberOfElements(values(element, "Time")), qxGetNumberOfElements(data));
      std::deque<std::string>& list = model.texts.emplace_back();
      for (std::size_t i = 0; i < qxGetNumberOfElements(data); ++i) list.push_back(text(qxGetCell(data, i)));
    }
    return model;
  }

  // Prints where the lists differ first, not their contents.
  template <typename List>
  static void expectSame(const std::vector<List>& held, const std::vector<List>& expected, const char* what) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const auto [mine, other] = std::mismatch(held[i].begin(), held[i].end(), expected[i].begin(), expected[i].end());
      EXPECT_TRUE(held[i] == expected[i])
          << what << ' ' << i << ": " << held[i].size() << " held, " << expected[i].size() << " expected, the first "
          << mine - held[i].begin() << " are equal";
    }
  }

  std::vector<Recorded> numbers_;
  std::vector<Recorded> texts_;
  Model now_;
};

TEST_P(Replay, RandomCommandsEqualAModelThatCopiesEverything) {
  recordAll();
  play(false);
}

class StreamedReplay : public Replay {
 protected:
  StreamedFile file_;
};

TEST_P(StreamedReplay, RandomCommandsEqualAModelThatCopiesEverything) {
  file_.stream(catalogue_);
  session_.flushInterval(GetParam() % 2 == 0 ? 0 : 1000);
  recordAll();
  play(true);
  EXPECT_EQ(session_.streamFailure(), "");
  EXPECT_EQ(session_.lostSamples(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StreamedReplay, ::testing::Range(0U, 8U));
INSTANTIATE_TEST_SUITE_P(MoreSeeds, StreamedReplay, ::testing::Range(8U, 25U));

void Replay::play(bool isStreamed) {
  std::mt19937 random(GetParam());
  std::deque<Model> snapshots;
  session_.captureSnapshot(true);
  Model initial = now_;
  double time = 0.0;
  for (int command = 0; command < 120; ++command) {
    switch (random() % 10) {
      case 0:
      case 1:
        session_.captureSnapshot(false);
        snapshots.push_back(now_);
        break;
      case 2:
      case 3:
        if (snapshots.empty()) break;
        session_.rollBack();
        now_ = snapshots.back();
        break;
      case 4:
        session_.popLatestSnapshots(1);
        if (!snapshots.empty()) snapshots.pop_back();
        break;
      case 5:
        if (random() % 4 == 0) {
          session_.reset();
          now_ = initial;
          if (isStreamed) {  // later snapshots are of a way that was given up
            session_.clearSnapshots();
            snapshots.clear();
          }
        } else if (random() % 4 == 0) {
          session_.captureSnapshot(true);
          initial = now_;
          if (isStreamed) {  // a step back beyond it would give its strays up
            session_.clearSnapshots();
            snapshots.clear();
          }
        } else {
          session_.limitSnapshots(3);
          while (snapshots.size() > 3) snapshots.pop_front();
        }
        break;
      case 6:
        if (isStreamed && random() % 2 == 0) session_.flush();
        if (isStreamed && random() % 3 == 0) static_cast<void>(catalogue_.datasetArray(u"logsout"));
        [[fallthrough]];
      default:
        for (std::size_t n = random() % 150; n > 0; --n) {
          // Some replays go through other times than before.
          time += random() % 64 == 0 ? 0.5 : 1.0;
          if (random() % 64 == 0) time = std::floor(time / 2);
          step(time, random);
        }
    }
    const Model held = recorded();
    expectSame(held.samples, now_.samples, "number");
    expectSame(held.texts, now_.texts, "text");
    ASSERT_FALSE(HasFailure()) << "after command " << command;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, Replay, ::testing::Range(0U, 25U));

class Wrap : public Recording {};

TEST_F(Wrap, SamplesDroppedSinceTheSnapshotComeBack) {
  Recorded r = record(leaf(u"x"), 10);
  for (int i = 0; i < 25; ++i) r.add(i, 1.0 * i);
  const std::vector<double> before = numbers<double>(values(r.element(), "Data"));
  session_.captureSnapshot(false);
  for (int i = 25; i < 5000; ++i) r.add(i, -1.0 * i);
  session_.rollBack();
  EXPECT_EQ(numbers<double>(values(r.element(), "Data")), before);
  EXPECT_EQ(r.recorder->recordedSamples(), 25U);
}

TEST_F(Wrap, ReplayEqualsNeverHavingSteppedBack) {
  Recorded stepped = record(leaf(u"x"), 100);
  const auto value = [](int i) { return std::sin(0.1 * i); };
  std::vector<double> expected;
  for (int i = 900; i < 1000; ++i) expected.push_back(value(i));
  for (int i = 0; i < 1000; ++i) {
    if (i % 7 == 0) {
      session_.captureSnapshot(false);
      for (int wrong = 0; wrong < i % 50; ++wrong) stepped.add(1e6 + wrong, -1.0);
      session_.rollBack();
      session_.limitSnapshots(2);
    }
    stepped.add(i, value(i));
  }
  EXPECT_EQ(numbers<double>(values(stepped.element(), "Data")), expected);
}

}  // namespace
