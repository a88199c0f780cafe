// Leaves that miss rows, come late, get extra samples or change their rate: what is recorded equals a plain list of
// samples per leaf, whatever is captured, rolled back, reset or read in between.
#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

// A sample as it is expected: its time and the bytes or the text of its value.
using Sample = std::pair<double, std::string>;
using List = std::deque<Sample>;

// How a leaf is updated.
enum class Habit : std::uint8_t { always, often, half, blocks, extras, late, rates, own };

struct Leaf {
  Recorded recorded;
  Habit habit;
  std::size_t bytes;  // 0: a text
  unsigned long most;
  unsigned every = 1;
};

class Irregular : public Recording, public ::testing::WithParamInterface<unsigned> {
 protected:
  static constexpr unsigned long kLimits[] = {0, 0, 0, 1, 7, 150};

  Irregular() : random_(GetParam()) {}

  std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random_()) % n; }

  void add() {
    static constexpr std::pair<const char*, std::size_t> kTypes[] = {{"double", 8}, {"int8", 1}, {"single", 4}};
    Leaf one;
    one.habit = static_cast<Habit>(below(8));
    one.most = kLimits[below(std::size(kLimits))];
    if (below(5) == 0) {
      one.bytes = 0;
      one.recorded =
          record(std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 8, 2), one.most);
    } else {
      const auto& [type, bytes] = kTypes[below(std::size(kTypes))];
      const bool isMatrix = below(4) == 0;
      one.bytes = bytes * (isMatrix ? 6 : 1);
      one.recorded = record(leaf(u"x", type, isMatrix ? Dims{2, 3} : Dims{}), one.most);
    }
    leaves_.push_back(std::move(one));
    now_.emplace_back();
  }

  void update(std::size_t i, double time) {
    Leaf& leaf = leaves_[i];
    std::string value(leaf.bytes != 0 ? leaf.bytes : below(30), ' ');
    for (char& c : value) c = static_cast<char>('a' + below(26));
    if (leaf.bytes != 0) {
      leaf.recorded.accessor->update(&time, value.data(), 0);
    } else {
      leaf.recorded.accessor->update(&time, vtu::to_ustring(value).c_str(), 0);
    }
    now_[i].emplace_back(time, std::move(value));
    if (leaf.most != 0 && now_[i].size() > leaf.most) now_[i].pop_front();
  }

  void updateAsUsual(std::size_t i, int step) {
    Leaf& leaf = leaves_[i];
    switch (leaf.habit) {
      case Habit::often:
        if (below(100) == 0) return;
        break;
      case Habit::half:
        if (below(2) == 0) return;
        break;
      case Habit::blocks:
        if (step / 37 % 3 == 1) return;
        break;
      case Habit::extras:
        if (below(20) == 0) update(i, step - 0.5 * below(2));
        break;
      case Habit::late:
        if (step < 100) return;
        break;
      case Habit::rates:
        if (below(300) == 0) leaf.every = 1 + below(4);
        if (step % static_cast<int>(leaf.every) != 0) return;
        break;
      case Habit::own:
        return update(i, step + 1e-6 * static_cast<double>(i));
      case Habit::always:
        break;
    }
    update(i, step);
  }

  // One step through all leaves; `interrupt` is called somewhere in it.
  template <typename Interrupt>
  void step(const Interrupt& interrupt) {
    ++step_;
    const std::size_t at = below(static_cast<std::uint32_t>(leaves_.size()));
    for (std::size_t i = 0; i < leaves_.size(); ++i) {
      if (i == at) interrupt();
      updateAsUsual(i, step_);
    }
  }

  static std::string rowOf(const qxArray* array, std::size_t row, std::size_t bytes) {
    vtu::qxArrayWrapper own(qxShareArray(array));
    return {static_cast<const char*>(qxGetRowMajorData(own.get())) + row * bytes, bytes};
  }

  List read(std::size_t i) const {
    const vtu::qxArrayWrapper element = leaves_[i].recorded.element();
    const std::vector<double> times = numbers<double>(values(element, "Time"));
    const qxArray* data = values(element, "Data");
    EXPECT_EQ(qxGetDimensions(data)[0], times.size());
    List list;
    for (std::size_t n = 0; n < times.size(); ++n) {
      const bool isText = leaves_[i].bytes == 0;
      list.emplace_back(times[n], isText ? text(qxGetCell(data, n)) : rowOf(data, n, leaves_[i].bytes));
    }
    return list;
  }

  void expectAll(const std::string& when) const {
    for (std::size_t i = 0; i < leaves_.size(); ++i) {
      const List held = read(i);
      const auto different = std::mismatch(held.begin(), held.end(), now_[i].begin(), now_[i].end());
      EXPECT_TRUE(held == now_[i]) << "leaf " << i << " (habit " << static_cast<int>(leaves_[i].habit) << ", limit "
                                   << leaves_[i].most << ") " << when << ": " << held.size() << " held, "
                                   << now_[i].size() << " expected, the first " << different.first - held.begin()
                                   << " are equal";
    }
  }

  // Takes the arrays of a leaf, to be compared later.
  void take() {
    const std::size_t i = below(static_cast<std::uint32_t>(leaves_.size()));
    if (leaves_[i].bytes == 0) return;
    taken_.emplace_back(leaves_[i].recorded.element(), now_[i], leaves_[i].bytes);
  }

  void expectTaken() const {
    for (const auto& [element, list, bytes] : taken_) {
      const std::vector<double> times = numbers<double>(values(element, "Time"));
      ASSERT_EQ(times.size(), list.size());
      for (std::size_t n = 0; n < times.size(); ++n) {
        ASSERT_EQ(times[n], list[n].first) << n;
        ASSERT_EQ(rowOf(values(element, "Data"), n, bytes), list[n].second) << n;
      }
    }
  }

  // A command of the session, in the middle of a step or between two.
  void command() {
    switch (below(10)) {
      case 0:
      case 1:
        session_.captureSnapshot(false);
        snapshots_.push_back(now_);
        captured_ = step_;
        break;
      case 2:
      case 3:
        if (snapshots_.empty()) break;
        session_.rollBack();
        restore(snapshots_.back());
        step_ = captured_ - static_cast<int>(below(2));  // goes on at the time of the newest row, or after it
        break;
      case 4:
        session_.popLatestSnapshots(1);
        if (!snapshots_.empty()) snapshots_.pop_back();
        break;
      case 5:
        session_.reset();
        restore(initial_);
        break;
      case 6:
        take();
        break;
      case 7:
        session_.limitSnapshots(3);
        while (snapshots_.size() > 3) snapshots_.pop_front();
        break;
      default:
        break;
    }
  }

  // Leaves that were added since have no samples.
  void restore(const std::vector<List>& lists) {
    now_ = lists;
    now_.resize(leaves_.size());
  }

  std::mt19937 random_;
  std::vector<Leaf> leaves_;
  std::vector<List> now_;  // of each leaf
  std::vector<List> initial_;
  std::deque<std::vector<List>> snapshots_;
  std::deque<std::tuple<vtu::qxArrayWrapper, List, std::size_t>> taken_;
  int step_ = 0;
  int captured_ = 0;
};

TEST_P(Irregular, RecordingEqualsPlainLists) {
  for (std::uint32_t n = 2 + below(12); n > 0; --n) add();
  for (int i = 0; i < 600; ++i) {
    step([] {});
    if (below(100) == 0) add();
    if (i % 150 == 149) expectAll("after step " + std::to_string(i));
  }
}

TEST_P(Irregular, SteppingBackEqualsPlainLists) {
  for (std::uint32_t n = 2 + below(12); n > 0; --n) add();
  session_.captureSnapshot(true);
  initial_ = now_;
  for (int i = 0; i < 500; ++i) {
    step([this] {
      if (below(12) == 0) command();
    });
    if (below(12) == 0) command();
    if (below(12) == 0) command();
    if (below(150) == 0) add();
    if (below(3) == 0 && below(4) == 0) step_ = std::max(0, step_ - 30);
    if (below(10) != 0) continue;
    expectAll("after step " + std::to_string(i));
    ASSERT_FALSE(HasFailure());
  }
  expectTaken();
}

INSTANTIATE_TEST_SUITE_P(Seeds, Irregular, ::testing::Range(0U, 40U));

}  // namespace
