// Tests of the generic snapshot interface, over a handler made for the purpose.

#include "platform/snapshot.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <set>
#include <type_traits>
#include <vector>

#include <random>

namespace vtio::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A stored state that counts the objects of its class.
struct State {
  State(int stateValue, std::multiset<int>& living) : value(stateValue), alive(&living) { alive->insert(value); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() { alive->erase(alive->find(value)); }
  int value;
  std::multiset<int>* alive;
};

struct World {
  int value = 0;
  std::multiset<int> alive;
  std::vector<int> restored;
  std::vector<int> resets;
};

class StateHandler : public vtsim::SnapshotHandler<State> {
 public:
  using Element = State;
  explicit StateHandler(World& world) : world_(&world) {}
  std::unique_ptr<State> captureSnapshot() override { return std::make_unique<State>(world_->value, world_->alive); }
  void rollBack(State& state) override { world_->restored.push_back(state.value); }
  void reset(State& state) override { world_->resets.push_back(state.value); }

 private:
  World* world_;
};

using Interface = vtsim::DefaultSnapshotInterface<StateHandler>;

static_assert(std::is_abstract_v<vtsim::SnapshotInterface>);
static_assert(std::has_virtual_destructor_v<vtsim::SnapshotInterface>);
static_assert(std::is_abstract_v<vtsim::SnapshotHandler<State>>);
static_assert(std::has_virtual_destructor_v<vtsim::SnapshotHandler<State>>);
static_assert(std::is_base_of_v<vtsim::SnapshotInterface, Interface>);

class DefaultSnapshotInterfaceTest : public ::testing::Test {
 protected:
  void capture(std::initializer_list<int> values) {
    for (const int value : values) {
      world_.value = value;
      interface_.captureSnapshot(false);
    }
  }
  void captureInitial(int value) {
    world_.value = value;
    interface_.captureSnapshot(true);
  }

  World world_;
  Interface interface_{std::make_unique<StateHandler>(world_)};
};

TEST_F(DefaultSnapshotInterfaceTest, startsWithoutSnapshots) { EXPECT_THAT(world_.alive, IsEmpty()); }

TEST_F(DefaultSnapshotInterfaceTest, rollBackRestoresTheNewestAndKeepsIt) {
  capture({1, 2});
  interface_.rollBack();
  interface_.rollBack();
  EXPECT_THAT(world_.restored, ElementsAre(2, 2));
  EXPECT_THAT(world_.alive, ElementsAre(1, 2));
  EXPECT_THAT(world_.resets, IsEmpty());
}

TEST_F(DefaultSnapshotInterfaceTest, resetRestoresTheInitialAndLeavesTheQueueUntouched) {
  captureInitial(7);
  capture({1, 2});
  interface_.reset();
  EXPECT_THAT(world_.resets, ElementsAre(7));
  EXPECT_THAT(world_.restored, IsEmpty());
  EXPECT_THAT(world_.alive, ElementsAre(1, 2, 7));
  interface_.rollBack();
  EXPECT_THAT(world_.restored, ElementsAre(2));
}

TEST_F(DefaultSnapshotInterfaceTest, aSecondInitialReplacesTheFirst) {
  captureInitial(7);
  captureInitial(8);
  EXPECT_THAT(world_.alive, ElementsAre(8));
  interface_.reset();
  EXPECT_THAT(world_.resets, ElementsAre(8));
}

TEST_F(DefaultSnapshotInterfaceTest, clearKeepsTheInitial) {
  captureInitial(7);
  capture({1, 2, 3});
  interface_.clear();
  EXPECT_THAT(world_.alive, ElementsAre(7));
  interface_.reset();
  EXPECT_THAT(world_.resets, ElementsAre(7));
}

TEST_F(DefaultSnapshotInterfaceTest, popLatestDropsTheNewest) {
  capture({1, 2, 3, 4});
  interface_.popLatest(2);
  EXPECT_THAT(world_.alive, ElementsAre(1, 2));
  interface_.rollBack();
  EXPECT_THAT(world_.restored, ElementsAre(2));
}

TEST_F(DefaultSnapshotInterfaceTest, popOldestDropsTheOldest) {
  capture({1, 2, 3, 4});
  interface_.popOldest(3);
  EXPECT_THAT(world_.alive, ElementsAre(4));
  interface_.rollBack();
  EXPECT_THAT(world_.restored, ElementsAre(4));
}

TEST_F(DefaultSnapshotInterfaceTest, poppingLessThanOneDoesNothing) {
  capture({1, 2});
  interface_.popLatest(0);
  interface_.popLatest(-1);
  interface_.popOldest(0);
  interface_.popOldest(-2);
  EXPECT_THAT(world_.alive, ElementsAre(1, 2));
}

TEST_F(DefaultSnapshotInterfaceTest, poppingMoreThanThereAreDropsAll) {
  captureInitial(9);
  capture({1, 2});
  interface_.popLatest(5);
  EXPECT_THAT(world_.alive, ElementsAre(9));
  capture({3, 4});
  interface_.popOldest(2147483647);
  EXPECT_THAT(world_.alive, ElementsAre(9));
}

TEST_F(DefaultSnapshotInterfaceTest, sizeKeepsTheNewest) {
  capture({1, 2, 3, 4, 5});
  interface_.size(9);
  EXPECT_EQ(world_.alive.size(), 5u);
  interface_.size(5);
  EXPECT_EQ(world_.alive.size(), 5u);
  interface_.size(3);
  EXPECT_THAT(world_.alive, ElementsAre(3, 4, 5));
  interface_.size(0);
  EXPECT_THAT(world_.alive, IsEmpty());
}

TEST_F(DefaultSnapshotInterfaceTest, sizeDoesNotCountTheInitial) {
  captureInitial(9);
  capture({1, 2});
  interface_.size(2);
  EXPECT_THAT(world_.alive, ElementsAre(1, 2, 9));
  interface_.size(0);
  EXPECT_THAT(world_.alive, ElementsAre(9));
}

TEST_F(DefaultSnapshotInterfaceTest, sizeSetsNoLastingBound) {
  capture({1, 2});
  interface_.size(1);
  capture({3, 4});
  EXPECT_THAT(world_.alive, ElementsAre(2, 3, 4));
}

TEST(DefaultSnapshotInterfaceVirtualTest, sizeGoesThroughTheVirtualPopOldest) {
  class Watching : public Interface {
   public:
    using Interface::Interface;
    void popOldest(int n) override { popped.push_back(n); }
    std::vector<int> popped;
  };
  World world;
  Watching watching(std::make_unique<StateHandler>(world));
  for (int i = 0; i < 5; ++i) {
    watching.captureSnapshot(false);
  }
  watching.size(3);
  watching.size(5);
  EXPECT_THAT(watching.popped, ElementsAre(2));
  EXPECT_EQ(world.alive.size(), 5u);
}

TEST(DefaultSnapshotInterfaceVirtualTest, dropsEverythingWhenItGoes) {
  World world;
  {
    Interface interface(std::make_unique<StateHandler>(world));
    interface.captureSnapshot(true);
    interface.captureSnapshot(false);
    EXPECT_EQ(world.alive.size(), 2u);
  }
  EXPECT_THAT(world.alive, IsEmpty());
}

// Random commands against a plain deque.
TEST(DefaultSnapshotInterfacePropertyTest, agreesWithADequeOverRandomCommands) {
  std::mt19937 random(3);
  for (int history = 0; history < 50; ++history) {
    World world;
    Interface interface(std::make_unique<StateHandler>(world));
    std::deque<int> queue;
    std::multiset<int> initial;
    for (int i = 1; i < 120; ++i) {
      const int n = static_cast<int>(random() % 5) - 1;
      const std::size_t drop = std::min<std::size_t>(n < 1 ? 0 : static_cast<std::size_t>(n), queue.size());
      world.value = i;
      switch (random() % 8) {
        case 0:
          interface.captureSnapshot(true);
          initial = {i};
          break;
        case 1:
          interface.popLatest(n);
          queue.erase(queue.end() - static_cast<std::ptrdiff_t>(drop), queue.end());
          break;
        case 2:
          interface.popOldest(n);
          queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(drop));
          break;
        case 3:
          interface.size(n + 4);
          while (queue.size() > static_cast<std::size_t>(n + 4)) {
            queue.pop_front();
          }
          break;
        case 4:
          if (random() % 10 == 0) {
            interface.clear();
            queue.clear();
          }
          break;
        default:
          interface.captureSnapshot(false);
          queue.push_back(i);
      }
      std::multiset<int> expected(queue.begin(), queue.end());
      expected.insert(initial.begin(), initial.end());
      ASSERT_EQ(world.alive, expected) << "history " << history << ", command " << i;
      if (!queue.empty()) {
        interface.rollBack();
        ASSERT_EQ(world.restored.back(), queue.back());
      }
    }
  }
}

}  // namespace
}  // namespace vtio::testing
