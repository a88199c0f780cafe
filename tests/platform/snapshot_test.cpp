#include "platform/snapshot.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <deque>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// One saved counter; counts how many of them exist.
struct SavedCounter {
  explicit SavedCounter(int v) : value(v) { ++alive; }
  SavedCounter(const SavedCounter&) = delete;
  SavedCounter& operator=(const SavedCounter&) = delete;
  ~SavedCounter() { --alive; }
  int value;
  static inline int alive = 0;
};

class CounterHandler : public vtsim::SnapshotHandler<SavedCounter> {
 public:
  using Element = SavedCounter;
  explicit CounterHandler(int& counter) : counter_(counter) {}
  std::unique_ptr<SavedCounter> captureSnapshot() override { return std::make_unique<SavedCounter>(counter_); }
  void rollBack(SavedCounter& element) override { counter_ = element.value; }
  void reset(SavedCounter& element) override { counter_ = element.value + 1000; }

 private:
  int& counter_;
};

class DefaultSnapshotInterfaceTest : public testing::Test {
 protected:
  /// Captures 1, 2, … n.
  void captureUpTo(int n) {
    for (counter_ = 1; counter_ <= n; ++counter_) snapshots_.captureSnapshot(false);
  }

  /// The value to which rollBack() returns.
  int newest() {
    counter_ = -1;
    snapshots_.rollBack();
    return counter_;
  }

  int counter_ = 0;
  vtsim::DefaultSnapshotInterface<CounterHandler> snapshots_{std::make_unique<CounterHandler>(counter_)};
};

TEST_F(DefaultSnapshotInterfaceTest, rollBackKeepsTheNewestSnapshot) {
  captureUpTo(3);
  EXPECT_EQ(newest(), 3);
  EXPECT_EQ(newest(), 3);
  EXPECT_EQ(SavedCounter::alive, 3);
}

TEST_F(DefaultSnapshotInterfaceTest, resetReturnsToTheInitialStateThroughTheHandlersReset) {
  counter_ = 4;
  snapshots_.captureSnapshot(true);
  captureUpTo(2);
  snapshots_.reset();
  EXPECT_EQ(counter_, 1004);
  EXPECT_EQ(SavedCounter::alive, 3);
}

TEST_F(DefaultSnapshotInterfaceTest, aSecondInitialCaptureReplacesTheFirst) {
  counter_ = 4;
  snapshots_.captureSnapshot(true);
  counter_ = 5;
  snapshots_.captureSnapshot(true);
  EXPECT_EQ(SavedCounter::alive, 1);
  snapshots_.reset();
  EXPECT_EQ(counter_, 1005);
}

TEST_F(DefaultSnapshotInterfaceTest, clearKeepsTheInitialState) {
  counter_ = 4;
  snapshots_.captureSnapshot(true);
  captureUpTo(3);
  snapshots_.clear();
  EXPECT_EQ(SavedCounter::alive, 1);
  snapshots_.reset();
  EXPECT_EQ(counter_, 1004);
}

TEST_F(DefaultSnapshotInterfaceTest, sizeDropsTheOldest) {
  captureUpTo(5);
  snapshots_.size(9);
  snapshots_.size(5);
  EXPECT_EQ(SavedCounter::alive, 5);
  snapshots_.size(3);
  EXPECT_EQ(SavedCounter::alive, 3);
  EXPECT_EQ(newest(), 5);
  snapshots_.popLatest(2);
  EXPECT_EQ(newest(), 3) << "1 and 2 were dropped";
}

TEST_F(DefaultSnapshotInterfaceTest, sizeCountsModulo32Bits) {
  captureUpTo(5);
  snapshots_.size(INT_MIN);  // 5 + 2^31 is negative as a signed 32-bit value
  EXPECT_EQ(SavedCounter::alive, 5);
  snapshots_.size(INT_MIN + 5);
  EXPECT_EQ(SavedCounter::alive, 5);
  snapshots_.size(INT_MIN + 6);  // 2^31 - 1
  EXPECT_EQ(SavedCounter::alive, 0);
  captureUpTo(5);
  snapshots_.size(-1);
  EXPECT_EQ(SavedCounter::alive, 0);
}

TEST_F(DefaultSnapshotInterfaceTest, saysThatThereIsNoSnapshot) {
  counter_ = 4;
  const auto message = [](auto operation) -> std::string {
    try {
      operation();
    } catch (const std::logic_error& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(message([this] { snapshots_.rollBack(); }), "Cannot roll back: no snapshot was taken");
  EXPECT_EQ(message([this] { snapshots_.reset(); }), "Cannot reset: no initial snapshot was taken");
  captureUpTo(2);
  snapshots_.clear();
  EXPECT_EQ(message([this] { snapshots_.rollBack(); }), "Cannot roll back: no snapshot was taken");
}

TEST_F(DefaultSnapshotInterfaceTest, popsNothingForLessThanOne) {
  captureUpTo(3);
  for (const int n : {0, -2, INT_MIN}) {
    snapshots_.popLatest(n);
    snapshots_.popOldest(n);
  }
  EXPECT_EQ(SavedCounter::alive, 3);
}

TEST_F(DefaultSnapshotInterfaceTest, popsWhatThereIsWhenAskedForMore) {
  captureUpTo(3);
  snapshots_.popLatest(INT_MAX);
  EXPECT_EQ(SavedCounter::alive, 0);
  captureUpTo(3);
  snapshots_.popOldest(4);
  EXPECT_EQ(SavedCounter::alive, 0);
  snapshots_.size(-1);
  EXPECT_EQ(SavedCounter::alive, 0);
}

TEST_F(DefaultSnapshotInterfaceTest, aNegativeSizeDropsAll) {
  captureUpTo(2);
  snapshots_.size(-1);
  EXPECT_EQ(SavedCounter::alive, 0);
}

TEST_F(DefaultSnapshotInterfaceTest, behavesAsAListOfNumbers) {
  std::mt19937 random(5);
  std::deque<int> model;
  for (int step = 0; step < 5000; ++step) {
    const int n = static_cast<int>(random() % 6) - 1;
    const auto atMost = static_cast<std::size_t>(std::max(n, 0));
    switch (random() % 6) {
      case 0:
        snapshots_.popLatest(n);
        for (std::size_t i = 0; i < atMost && !model.empty(); ++i) model.pop_back();
        break;
      case 1:
        snapshots_.popOldest(n);
        for (std::size_t i = 0; i < atMost && !model.empty(); ++i) model.pop_front();
        break;
      case 2:
        snapshots_.size(n + 3);
        while (model.size() > static_cast<std::size_t>(n + 3)) model.pop_front();
        break;
      default:
        counter_ = step;
        snapshots_.captureSnapshot(false);
        model.push_back(step);
    }
    ASSERT_EQ(static_cast<std::size_t>(SavedCounter::alive), model.size());
    if (!model.empty()) {
      ASSERT_EQ(newest(), model.back());
    }
  }
}

/// Records the calls of popOldest.
class RecordingInterface : public vtsim::DefaultSnapshotInterface<CounterHandler> {
 public:
  using DefaultSnapshotInterface::DefaultSnapshotInterface;
  void popOldest(int n) override {
    calls.push_back(n);
    DefaultSnapshotInterface::popOldest(n);
  }
  std::vector<int> calls;
};

TEST(DefaultSnapshotInterface, sizeGoesThroughTheVirtualPopOldest) {
  int counter = 0;
  RecordingInterface snapshots(std::make_unique<CounterHandler>(counter));
  for (int i = 0; i < 5; ++i) snapshots.captureSnapshot(false);
  snapshots.size(5);
  EXPECT_TRUE(snapshots.calls.empty());
  snapshots.size(3);
  EXPECT_EQ(snapshots.calls, std::vector<int>{2});
}

TEST(DefaultSnapshotInterface, ownsHandlerAndSnapshots) {
  int counter = 0;
  {
    std::unique_ptr<vtsim::SnapshotInterface> snapshots =
        std::make_unique<vtsim::DefaultSnapshotInterface<CounterHandler>>(std::make_unique<CounterHandler>(counter));
    snapshots->captureSnapshot(true);
    snapshots->captureSnapshot(false);
    EXPECT_EQ(SavedCounter::alive, 2);
  }
  EXPECT_EQ(SavedCounter::alive, 0);
}

}  // namespace
