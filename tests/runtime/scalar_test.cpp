// Tests of the accessor of a signal that arrives as one piece of data.

#include "vtio/core/accessor/scalar.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/utils/split_buffer_policy.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/vtio_scalar_accessor_snapshot_handler.hpp"

namespace vtio::testing {
namespace {

using core::accessor::Accessor;
using core::accessor::Scalar;
using core::utils::VtioScalarAccessorSnapshotHandler;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

unsigned long counterOf(Scalar& accessor) {
  return VtioScalarAccessorSnapshotHandler(accessor).captureSnapshot()->decimationCounter(0);
}

class ScalarTest : public ::testing::Test {
 protected:
  void start(unsigned long decimation, std::unique_ptr<core::utils::Node> root = makeLeaf()) {
    descriptor_ = makeDescriptor(std::move(root), {.decimation = decimation});
    accessor_ = std::make_unique<Scalar>(*descriptor_, interval_);
    client_ = std::make_unique<RecordingClient>(*descriptor_);
    accessor_->addClient(*client_);
  }
  void step(double time) { accessor_->update(&time, &value_, 0); }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_;
  std::unique_ptr<RecordingClient> client_;
  std::unique_ptr<Scalar> accessor_;
  double value_ = 1.5;
};

TEST_F(ScalarTest, theCounterStartsAtTheDecimation) {
  start(7);
  EXPECT_EQ(counterOf(*accessor_), 7u);
}

TEST_F(ScalarTest, decimationOneDeliversEveryCall) {
  start(1);
  for (int i = 0; i < 4; ++i) {
    step(i);
  }
  EXPECT_THAT(client_->times(), ElementsAre(0.0, 1.0, 2.0, 3.0));
}

TEST_F(ScalarTest, decimationThreeDeliversCallsZeroThreeAndSix) {
  start(3);
  for (int i = 0; i < 7; ++i) {
    step(i);
  }
  EXPECT_THAT(client_->times(), ElementsAre(0.0, 3.0, 6.0));
}

TEST_F(ScalarTest, theCounterIsOneAfterADelivery) {
  start(3);
  step(0);
  EXPECT_EQ(counterOf(*accessor_), 1u);
}

TEST_F(ScalarTest, deliversTheCallersOwnAddresses) {
  start(1);
  const double time = 2.5;
  accessor_->update(&time, &value_, 0);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_FALSE(client_->samples[0].perLeaf);
  EXPECT_EQ(client_->samples[0].timeAddress, &time);
  EXPECT_EQ(client_->samples[0].data, &value_);
}

TEST_F(ScalarTest, ignoresTheIndex) {
  start(2);
  const double time = 0.0;
  accessor_->update(&time, &value_, 99);
  accessor_->update(&time, &value_, std::numeric_limits<unsigned long>::max());
  accessor_->update(&time, &value_, 3);
  EXPECT_EQ(client_->samples.size(), 2u);
}

TEST_F(ScalarTest, callsOutsideTheIntervalNeitherDeliverNorCount) {
  interval_ = smartlog::LoggingInterval::within({{0.0, 1.0}, {4.0, 9.0}});
  start(2);
  step(0.0);  // in: delivered
  step(2.0);  // out
  step(3.0);  // out
  EXPECT_EQ(counterOf(*accessor_), 1u);
  step(4.0);  // in: skipped
  step(5.0);  // in: delivered
  EXPECT_THAT(client_->times(), ElementsAre(0.0, 5.0));
}

TEST_F(ScalarTest, seesAnIntervalThatIsSwitchedOffLater) {
  start(1);
  step(1.0);
  interval_.disable(2.0, 3.0);
  step(2.0);
  step(3.5);
  EXPECT_THAT(client_->times(), ElementsAre(1.0, 3.5));
}

TEST_F(ScalarTest, aDecimationLoweredBelowTheCounterEndsDelivery) {
  start(5);
  setDecimation(*descriptor_, 1);
  for (int i = 0; i < 50; ++i) {
    step(i);
  }
  EXPECT_THAT(client_->samples, IsEmpty());
  EXPECT_EQ(counterOf(*accessor_), 55u);
}

TEST_F(ScalarTest, readsTheDecimationAtEveryCall) {
  start(2);
  step(0);  // delivered, counter 1
  setDecimation(*descriptor_, 4);
  for (int i = 1; i < 9; ++i) {
    step(i);
  }
  EXPECT_THAT(client_->times(), ElementsAre(0.0, 4.0, 8.0));
}

TEST_F(ScalarTest, decimationZeroDeliversOnlyTheFirstCall) {
  start(0);
  for (int i = 0; i < 5; ++i) {
    step(i);
  }
  EXPECT_THAT(client_->times(), ElementsAre(0.0));
}

TEST_F(ScalarTest, deliversInListOrderToEverySubscriber) {
  start(1);
  std::vector<int> order;
  RecordingClient second(*descriptor_);
  RecordingClient third(*descriptor_);
  accessor_->addClient(second);
  accessor_->addClient(third);
  client_->onUpdate = [&order] { order.push_back(1); };
  second.onUpdate = [&order] { order.push_back(2); };
  third.onUpdate = [&order] { order.push_back(3); };
  step(0);
  accessor_->removeClient(*client_);
  step(1);
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 3, 2));
}

TEST_F(ScalarTest, countsWithoutSubscribers) {
  start(3);
  accessor_->removeClient(*client_);
  step(0);
  step(1);
  EXPECT_EQ(counterOf(*accessor_), 2u);
  accessor_->addClient(*client_);
  step(2);
  step(3);
  EXPECT_THAT(client_->times(), ElementsAre(3.0));
}

TEST_F(ScalarTest, pointLimitIsLeftToTheClients) {
  descriptor_ = makeDescriptor(makeLeaf(), {.maxPoints = 2});
  accessor_ = std::make_unique<Scalar>(*descriptor_, interval_);
  client_ = std::make_unique<RecordingClient>(*descriptor_);
  accessor_->addClient(*client_);
  for (int i = 0; i < 5; ++i) {
    step(i);
  }
  EXPECT_EQ(client_->samples.size(), 5u);
}

class BoundScalarTest : public ScalarTest {
 protected:
  void bind(unsigned long decimation) {
    descriptor_ = makeDescriptor(makeLeaf(), {.decimation = decimation});
    accessor_ = std::make_unique<Scalar>(*descriptor_, interval_, &time_, &value_);
    client_ = std::make_unique<RecordingClient>(*descriptor_);
    accessor_->addClient(*client_);
  }
  double time_ = 0.25;
};

TEST_F(BoundScalarTest, everyShortFormDeliversTheBoundAddresses) {
  bind(1);
  RecordingClient other(*descriptor_);
  accessor_->update();
  accessor_->update(5);
  accessor_->update(5, client_.get());
  accessor_->update(5, nullptr);
  static_cast<Accessor&>(*accessor_).update(2);
  ASSERT_EQ(client_->samples.size(), 5u);
  for (const Sample& sample : client_->samples) {
    EXPECT_EQ(sample.timeAddress, &time_);
    EXPECT_EQ(sample.data, &value_);
  }
}

TEST_F(BoundScalarTest, readsTheBoundTimeAtEveryCall) {
  interval_ = smartlog::LoggingInterval::within({{1.0, 2.0}});
  bind(1);
  accessor_->update();
  time_ = 1.5;
  accessor_->update();
  EXPECT_THAT(client_->times(), ElementsAre(1.5));
}

TEST_F(BoundScalarTest, theClientFormDeliversToThatClientOnly) {
  bind(1);
  RecordingClient outsider(*descriptor_);  // need not be subscribed
  accessor_->update(0, &outsider);
  EXPECT_THAT(client_->samples, IsEmpty());
  EXPECT_EQ(outsider.samples.size(), 1u);
}

TEST_F(BoundScalarTest, theClientFormAdvancesTheSharedCounter) {
  bind(2);
  RecordingClient outsider(*descriptor_);
  accessor_->update(0, &outsider);  // delivered to the outsider
  accessor_->update();              // skipped
  accessor_->update(0, &outsider);  // delivered to the outsider
  accessor_->update(0, &outsider);  // skipped
  accessor_->update();              // delivered to the subscribers
  EXPECT_EQ(outsider.samples.size(), 2u);
  EXPECT_EQ(client_->samples.size(), 1u);
}

TEST_F(BoundScalarTest, theFourArgumentFormPrefersItsOwnArguments) {
  bind(1);
  RecordingClient outsider(*descriptor_);
  const double time = 8.0;
  const double value = 9.0;
  accessor_->update(&time, &value, 0, &outsider);
  accessor_->update(&time, &value, 0, nullptr);
  ASSERT_EQ(outsider.samples.size(), 1u);
  EXPECT_EQ(outsider.samples[0].timeAddress, &time);
  EXPECT_EQ(outsider.samples[0].data, &value);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &value);
}

TEST_F(BoundScalarTest, theFormWithoutArgumentsGoesThroughTheVirtualUpdate) {
  class Watching : public Scalar {
   public:
    using Scalar::Scalar;
    using Scalar::update;
    void update(const double* time, const void* data, unsigned long index) override {
      calls.emplace_back(time, data, index);
    }
    std::vector<std::tuple<const double*, const void*, unsigned long>> calls;
  };
  const auto descriptor = makeDescriptor(makeLeaf());
  Watching bound(*descriptor, interval_, &time_, &value_);
  bound.update();
  Watching unbound(*descriptor, interval_);
  unbound.update();
  using Call = std::tuple<const double*, const void*, unsigned long>;
  EXPECT_THAT(bound.calls, ElementsAre(Call(&time_, &value_, 0)));
  EXPECT_THAT(unbound.calls, ElementsAre(Call(nullptr, nullptr, 0)));
}

TEST_F(ScalarTest, deliversTheTransformedAddress) {
  SubstitutePolicy::Log log;
  const int substitute = 0;
  auto root = makeLeaf();
  root->addPolicy(std::make_unique<SubstitutePolicy>(&substitute, log));
  start(2, std::move(root));
  RecordingClient second(*descriptor_);
  accessor_->addClient(second);
  for (int i = 0; i < 4; ++i) {
    step(i);
  }
  ASSERT_EQ(client_->samples.size(), 2u);
  EXPECT_EQ(client_->samples[0].data, &substitute);
  EXPECT_EQ(second.samples[1].data, &substitute);
  EXPECT_THAT(log.seen, ElementsAre(&value_, &value_)) << "once per delivery, however many clients there are";
}

TEST_F(ScalarTest, appliesOnlyTheFirstTransformation) {
  SubstitutePolicy::Log first;
  SubstitutePolicy::Log second;
  const int substitutes[2] = {};
  auto root = makeLeaf();
  root->addPolicy(std::make_unique<SubstitutePolicy>(&substitutes[0], first));
  root->addPolicy(std::make_unique<SubstitutePolicy>(&substitutes[1], second));
  start(1, std::move(root));
  step(0);
  EXPECT_EQ(client_->samples.at(0).data, &substitutes[0]);
  EXPECT_THAT(second.seen, IsEmpty());
}

TEST_F(ScalarTest, transformsNothingOutsideTheInterval) {
  SubstitutePolicy::Log log;
  auto root = makeLeaf();
  root->addPolicy(std::make_unique<SubstitutePolicy>(nullptr, log));
  interval_ = smartlog::LoggingInterval::within({});
  start(1, std::move(root));
  step(0);
  EXPECT_THAT(log.seen, IsEmpty());
}

TEST_F(ScalarTest, gathersTheSplitBufferOfANonVirtualBusRoot) {
  auto root = makeTopNVBus();
  std::vector<unsigned long> offsets{8, 0};
  root->addPolicy(std::make_unique<core::utils::SplitBufferPolicy>(8ul, std::move(offsets)));
  start(1, std::move(root));
  const double pieces[2] = {1.0, 2.0};
  std::vector<double> delivered(2);
  client_->onUpdate = [&] { std::memcpy(delivered.data(), client_->samples.back().data, 2 * sizeof(double)); };
  const double time = 0.0;
  accessor_->update(&time, pieces, 0);
  EXPECT_THAT(delivered, ElementsAre(2.0, 1.0));
}

TEST_F(ScalarTest, deliversANonVirtualBusAsOneBlock) {
  start(1, makeTopNVBus());
  const double pieces[2] = {1.0, 2.0};
  const double time = 0.0;
  accessor_->update(&time, pieces, 1);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_FALSE(client_->samples[0].perLeaf);
  EXPECT_EQ(client_->samples[0].data, pieces);
}

TEST_F(ScalarTest, deliversTheAddressOfTheKeptTextOfAStringLeaf) {
  start(1, std::make_unique<core::utils::StringLeafNode>(0, u"text", "none", std::vector<long long>{}, "string",
                                                         core::utils::units(), u"", sizeof(void*), 1));
  std::vector<const std::u16string*> delivered;
  client_->onUpdate = [&] {
    const std::u16string* text = nullptr;
    std::memcpy(&text, client_->samples.back().data, sizeof text);
    delivered.push_back(text);
  };
  const double time = 0.0;
  accessor_->update(&time, u"first", 0);
  accessor_->update(&time, u"second", 0);
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(*delivered[0], u"first");
  EXPECT_EQ(*delivered[1], u"second");
}

TEST_F(ScalarTest, aClientsExceptionPassesAndLeavesTheCounterAtZero) {
  start(2);
  client_->onUpdate = [] { throw std::runtime_error("full"); };
  EXPECT_THROW(step(0), std::runtime_error);
  EXPECT_EQ(counterOf(*accessor_), 0u);
  client_->onUpdate = nullptr;
  step(1);
  step(2);
  step(3);
  EXPECT_THAT(client_->times(), ElementsAre(0.0, 3.0));
}

TEST_F(ScalarTest, clientsAfterTheFailingOneAreNotReached) {
  start(1);
  RecordingClient failing(*descriptor_);
  RecordingClient last(*descriptor_);
  accessor_->addClient(failing);
  accessor_->addClient(last);
  failing.onUpdate = [] { throw 42; };
  EXPECT_THROW(step(0), int);
  EXPECT_EQ(client_->samples.size(), 1u);
  EXPECT_THAT(last.samples, IsEmpty());
}

// What the accessor has to do, in five lines.
struct Oracle {
  unsigned long counter;
  bool step(bool inside, unsigned long decimation, bool clientFails) {
    if (!inside) {
      return false;
    }
    const bool delivers = counter == decimation;
    counter = delivers ? 0 : counter;
    counter += delivers && clientFails ? 0 : 1;
    return delivers;
  }
};

TEST_F(ScalarTest, agreesWithTheOracleOverRandomHistories) {
  std::mt19937 random(7);
  for (int history = 0; history < 300; ++history) {
    interval_ = smartlog::LoggingInterval::within({{0.0, 1.0}});
    unsigned long decimation = random() % 6;
    start(decimation);
    Oracle oracle{decimation};
    for (int i = 0; i < 120; ++i) {
      if (random() % 40 == 0) {
        decimation = random() % 6;
        setDecimation(*descriptor_, decimation);
      }
      const bool inside = random() % 4 != 0;
      const bool fails = random() % 6 == 0;
      client_->onUpdate = fails ? std::function<void()>([] { throw std::runtime_error("x"); }) : nullptr;
      client_->samples.clear();
      const bool delivers = oracle.step(inside, decimation, fails);
      bool threw = false;
      try {
        step(inside ? 0.5 : 2.0);
      } catch (const std::runtime_error&) {
        threw = true;
      }
      ASSERT_EQ(client_->samples.size(), delivers ? 1u : 0u) << "history " << history << ", call " << i;
      ASSERT_EQ(threw, delivers && fails);
      ASSERT_EQ(counterOf(*accessor_), oracle.counter) << "history " << history << ", call " << i;
    }
  }
}

TEST_F(ScalarTest, theSnapshotInterfaceRestoresTheDecimationPhase) {
  start(3);
  const auto snapshots = accessor_->getSnapshotInterface();
  ASSERT_NE(snapshots, nullptr);
  EXPECT_NE(dynamic_cast<vtsim::DefaultSnapshotInterface<VtioScalarAccessorSnapshotHandler>*>(snapshots.get()),
            nullptr);
  step(0);
  step(1);
  snapshots->captureSnapshot(false);
  step(2);
  step(3);
  snapshots->rollBack();
  client_->samples.clear();
  step(2);
  step(3);
  EXPECT_THAT(client_->times(), ElementsAre(3.0));
}

TEST_F(ScalarTest, everySnapshotInterfaceIsNew) {
  start(3);
  const auto first = accessor_->getSnapshotInterface();
  const auto second = accessor_->getSnapshotInterface();
  EXPECT_NE(first.get(), second.get());
}

}  // namespace
}  // namespace vtio::testing
