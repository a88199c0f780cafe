// Tests of the subscription list that every accessor keeps.

#include "vtio/core/accessor/accessor.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"

namespace vtio::testing {
namespace {

using core::accessor::Accessor;
using core::client::Client;
using ::testing::ElementsAre;

class BareAccessor : public Accessor {
 public:
  using Accessor::Accessor;
  void update(const double*, const void*, unsigned long) override {}
  void update(unsigned long) override {}
  std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override { return {}; }
  bool indirect() const { return indirectData; }
};

class AccessorTest : public ::testing::Test {
 protected:
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_ = makeDescriptor(makeLeaf());
  smartlog::LoggingInterval interval_;
  BareAccessor accessor_{*descriptor_, interval_};
  RecordingClient p_{*descriptor_};
  RecordingClient q_{*descriptor_};
  RecordingClient r_{*descriptor_};
};

static_assert(std::is_abstract_v<Accessor>);
static_assert(std::has_virtual_destructor_v<Accessor>);

TEST_F(AccessorTest, startsWithoutSubscribersAndWithDirectData) {
  EXPECT_FALSE(accessor_.hasSubscribedClients());
  EXPECT_TRUE(accessor_.clients().empty());
  EXPECT_FALSE(accessor_.indirect());
}

TEST_F(AccessorTest, refersToTheVeryDescriptorItWasGiven) {
  EXPECT_EQ(&std::as_const(accessor_).signalDescriptor(), descriptor_.get());
}

TEST_F(AccessorTest, keepsSubscribersInSubscriptionOrder) {
  accessor_.addClient(p_);
  accessor_.addClient(q_);
  accessor_.addClient(r_);
  EXPECT_TRUE(std::as_const(accessor_).hasSubscribedClients());
  EXPECT_THAT(accessor_.clients(), ElementsAre(&p_, &q_, &r_));
}

TEST_F(AccessorTest, acceptsTheSameClientTwice) {
  accessor_.addClient(p_);
  accessor_.addClient(p_);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&p_, &p_));
}

TEST_F(AccessorTest, removingTheFirstMovesTheLastIntoItsPlace) {
  accessor_.addClient(p_);
  accessor_.addClient(q_);
  accessor_.addClient(r_);
  accessor_.removeClient(p_);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&r_, &q_));
}

TEST_F(AccessorTest, aMovedSubscriberKnowsItsNewPosition) {
  accessor_.addClient(p_);
  accessor_.addClient(q_);
  accessor_.addClient(r_);
  accessor_.removeClient(p_);
  accessor_.removeClient(r_);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&q_));
}

TEST_F(AccessorTest, removingTheLastLeavesTheOthersUntouched) {
  accessor_.addClient(p_);
  accessor_.addClient(q_);
  accessor_.addClient(r_);
  accessor_.removeClient(r_);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&p_, &q_));
}

TEST_F(AccessorTest, removingTheOnlyOneEmptiesTheList) {
  accessor_.addClient(p_);
  accessor_.removeClient(p_);
  EXPECT_TRUE(accessor_.clients().empty());
  EXPECT_FALSE(accessor_.hasSubscribedClients());
}

TEST_F(AccessorTest, aRemovedClientCanSubscribeAgainAtTheEnd) {
  accessor_.addClient(p_);
  accessor_.addClient(q_);
  accessor_.removeClient(p_);
  accessor_.addClient(p_);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&q_, &p_));
  accessor_.removeClient(q_);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&p_));
}

TEST_F(AccessorTest, removingFromAnEmptyListIsALengthError) {
  EXPECT_THROW(accessor_.removeClient(p_), std::length_error);
  EXPECT_TRUE(accessor_.clients().empty());
}

TEST_F(AccessorTest, trustsThePositionThatTheClientCarries) {
  RecordingClient stranger(*descriptor_);  // never subscribed: its position reads 0
  accessor_.addClient(p_);
  accessor_.addClient(q_);
  accessor_.addClient(r_);
  accessor_.removeClient(stranger);
  EXPECT_THAT(accessor_.clients(), ElementsAre(&r_, &q_));
}

TEST_F(AccessorTest, aListOfOneShrinksWhoeverIsNamed) {
  accessor_.addClient(p_);
  accessor_.removeClient(q_);
  EXPECT_TRUE(accessor_.clients().empty());
}

TEST_F(AccessorTest, addClientIsVirtual) {
  class Refusing : public BareAccessor {
   public:
    using BareAccessor::BareAccessor;
    void addClient(Client&) override { ++refused; }
    int refused = 0;
  };
  Refusing refusing(*descriptor_, interval_);
  static_cast<Accessor&>(refusing).addClient(p_);
  EXPECT_EQ(refusing.refused, 1);
  EXPECT_FALSE(refusing.hasSubscribedClients());
}

TEST_F(AccessorTest, neverDeletesItsClients) {
  int destroyed = 0;
  auto client = std::make_unique<RecordingClient>(*descriptor_);
  client->onDestruction = [&destroyed] { ++destroyed; };
  {
    BareAccessor shortLived(*descriptor_, interval_);
    shortLived.addClient(*client);
  }
  EXPECT_EQ(destroyed, 0);
}

TEST_F(AccessorTest, concreteAccessorsInheritTheList) {
  core::accessor::Scalar scalar(*descriptor_, interval_);
  scalar.addClient(p_);
  scalar.addClient(q_);
  scalar.removeClient(p_);
  EXPECT_THAT(scalar.clients(), ElementsAre(&q_));

  const auto busDescriptor = makeDescriptor(makeTopBus(2), {.inputs = 2});
  core::accessor::VirtualBus bus(*busDescriptor, interval_);
  bus.addClient(r_);
  EXPECT_THAT(bus.clients(), ElementsAre(&r_));
}

// Random subscriptions and removals against a list that is searched each time.
TEST_F(AccessorTest, agreesWithASearchingListOverRandomHistories) {
  std::mt19937 random(20240611);
  for (int history = 0; history < 40; ++history) {
    BareAccessor accessor(*descriptor_, interval_);
    std::vector<std::unique_ptr<RecordingClient>> pool;
    for (int i = 0; i < 12; ++i) {
      pool.push_back(std::make_unique<RecordingClient>(*descriptor_));
    }
    std::vector<Client*> expected;
    for (int step = 0; step < 200; ++step) {
      RecordingClient& client = *pool[random() % pool.size()];
      const auto found = std::find(expected.begin(), expected.end(), &client);
      if (found == expected.end()) {
        accessor.addClient(client);
        expected.push_back(&client);
      } else {
        accessor.removeClient(client);
        *found = expected.back();
        expected.pop_back();
      }
      ASSERT_EQ(accessor.clients(), expected) << "history " << history << ", step " << step;
      ASSERT_EQ(accessor.hasSubscribedClients(), !expected.empty());
    }
  }
}

}  // namespace
}  // namespace vtio::testing
