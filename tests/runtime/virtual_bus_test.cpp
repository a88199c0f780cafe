// Tests of the accessor of a virtual bus, which delivers leaf by leaf.

#include "vtio/core/accessor/virtual_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/utils/split_buffer_policy.hpp"
#include "vtio/core/utils/vtio_vbus_accessor_snapshot_handler.hpp"

namespace vtio::testing {
namespace {

using core::accessor::Accessor;
using core::accessor::VirtualBus;
using core::utils::VtioVBusAccessorSnapshotHandler;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

unsigned long counterOf(VirtualBus& accessor, unsigned long leaf) {
  return VtioVBusAccessorSnapshotHandler(accessor).captureSnapshot()->decimationCounter(leaf);
}

class IndirectVirtualBus : public VirtualBus {
 public:
  IndirectVirtualBus(const core::utils::SignalDescriptor& descriptor, const smartlog::LoggingInterval& interval)
      : VirtualBus(descriptor, interval) {
    indirectData = true;
  }
};

class VirtualBusTest : public ::testing::Test {
 protected:
  void start(unsigned long decimation, std::unique_ptr<core::utils::Node> root, unsigned long inputs) {
    describe(decimation, std::move(root), inputs);
    accessor_ = std::make_unique<VirtualBus>(*descriptor_, interval_);
    accessor_->addClient(*client_);
  }
  void startIndirect(unsigned long decimation, std::unique_ptr<core::utils::Node> root, unsigned long inputs) {
    describe(decimation, std::move(root), inputs);
    accessor_ = std::make_unique<IndirectVirtualBus>(*descriptor_, interval_);
    accessor_->addClient(*client_);
  }
  void describe(unsigned long decimation, std::unique_ptr<core::utils::Node> root, unsigned long inputs) {
    descriptor_ = makeDescriptor(std::move(root), {.inputs = inputs, .decimation = decimation});
    client_ = std::make_unique<RecordingClient>(*descriptor_);
  }
  void step(double time, unsigned long leaf) { accessor_->update(&time, &value_, leaf); }
  std::vector<double> timesOf(unsigned long leaf) const {
    std::vector<double> result;
    for (const Sample& sample : client_->samples) {
      if (sample.leaf == leaf) {
        result.push_back(sample.time);
      }
    }
    return result;
  }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_;
  std::unique_ptr<RecordingClient> client_;
  std::unique_ptr<VirtualBus> accessor_;
  double value_ = 1.5;
};

TEST_F(VirtualBusTest, deliversLeafPositionAndTheCallersOwnAddresses) {
  start(1, makeTopBus(3), 3);
  const double time = 0.5;
  accessor_->update(&time, &value_, 2);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_TRUE(client_->samples[0].perLeaf);
  EXPECT_EQ(client_->samples[0].leaf, 2u);
  EXPECT_EQ(client_->samples[0].timeAddress, &time);
  EXPECT_EQ(client_->samples[0].data, &value_);
}

TEST_F(VirtualBusTest, everyCounterStartsAtTheDecimation) {
  start(4, makeTopBus(3), 3);
  for (unsigned long leaf = 0; leaf < 3; ++leaf) {
    EXPECT_EQ(counterOf(*accessor_, leaf), 4u);
  }
}

TEST_F(VirtualBusTest, leavesAreDecimatedIndependently) {
  start(2, makeTopBus(2), 2);
  for (int i = 0; i < 5; ++i) {
    step(i, 0);
    if (i > 0) {
      step(i, 1);  // joins one step later
    }
  }
  EXPECT_THAT(timesOf(0), ElementsAre(0.0, 2.0, 4.0));
  EXPECT_THAT(timesOf(1), ElementsAre(1.0, 3.0));
}

TEST_F(VirtualBusTest, aLeafThatPausesKeepsItsPhase) {
  start(3, makeTopBus(2), 2);
  step(0, 0);
  step(0, 1);
  for (int i = 1; i < 10; ++i) {
    step(i, 1);
  }
  EXPECT_EQ(counterOf(*accessor_, 0), 1u);
  EXPECT_THAT(timesOf(1), ElementsAre(0.0, 3.0, 6.0, 9.0));
}

TEST_F(VirtualBusTest, callsOutsideTheIntervalNeitherDeliverNorCount) {
  interval_ = smartlog::LoggingInterval::within({{0.0, 1.0}});
  start(2, makeTopBus(1), 1);
  step(0.0, 0);
  step(5.0, 0);
  EXPECT_EQ(counterOf(*accessor_, 0), 1u);
  step(0.5, 0);
  step(1.0, 0);
  EXPECT_THAT(timesOf(0), ElementsAre(0.0, 1.0));
}

TEST_F(VirtualBusTest, aDecimationLoweredBelowTheCounterEndsDelivery) {
  start(5, makeTopBus(1), 1);
  setDecimation(*descriptor_, 1);
  for (int i = 0; i < 20; ++i) {
    step(i, 0);
  }
  EXPECT_THAT(client_->samples, IsEmpty());
}

TEST_F(VirtualBusTest, aNonVirtualBusInsideIsOneLeafPosition) {
  auto root = std::make_unique<core::utils::TopBusNode>(-1, u"bus", 3);
  root->addChild(makeLeaf(u"before"));
  SubstitutePolicy::Log nvLog;
  const int nvSubstitute = 0;
  auto nested = makeTopNVBus();
  nested->addPolicy(std::make_unique<SubstitutePolicy>(&nvSubstitute, nvLog));
  root->addChild(std::move(nested));
  SubstitutePolicy::Log leafLog;
  const int leafSubstitute = 0;
  auto after = makeLeaf(u"after");
  after->addPolicy(std::make_unique<SubstitutePolicy>(&leafSubstitute, leafLog));
  root->addChild(std::move(after));
  start(1, std::move(root), 3);
  step(0, 0);
  step(0, 1);
  step(0, 2);
  ASSERT_EQ(client_->samples.size(), 3u);
  EXPECT_EQ(client_->samples[0].data, &value_);
  EXPECT_EQ(client_->samples[1].data, &nvSubstitute);
  EXPECT_EQ(client_->samples[2].data, &leafSubstitute);
}

TEST_F(VirtualBusTest, leavesOfNestedVirtualBusesAreCountedDepthFirst) {
  auto root = std::make_unique<core::utils::TopBusNode>(-1, u"bus", 2);
  auto inner = std::make_unique<core::utils::BusNode>(-1, u"inner", 2, core::utils::virtualBus);
  std::vector<int> substitutes(3);
  SubstitutePolicy::Log log;
  for (std::size_t i = 0; i < 2; ++i) {
    auto leaf = makeLeaf();
    leaf->addPolicy(std::make_unique<SubstitutePolicy>(&substitutes[i], log));
    inner->addChild(std::move(leaf));
  }
  root->addChild(std::move(inner));
  auto last = makeLeaf();
  last->addPolicy(std::make_unique<SubstitutePolicy>(&substitutes[2], log));
  root->addChild(std::move(last));
  start(1, std::move(root), 3);
  for (unsigned long leaf = 0; leaf < 3; ++leaf) {
    step(0, leaf);
  }
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(client_->samples.at(i).data, &substitutes[i]);
  }
}

TEST_F(VirtualBusTest, aSiblingWithoutPoliciesKeepsTheCallersAddress) {
  auto root = makeTopBus(2);
  SubstitutePolicy::Log log;
  const int substitute = 0;
  root->children()[1]->addPolicy(std::make_unique<SubstitutePolicy>(&substitute, log));
  start(2, std::move(root), 2);
  for (int i = 0; i < 3; ++i) {
    step(i, 0);
    step(i, 1);
  }
  ASSERT_EQ(client_->samples.size(), 4u);
  EXPECT_EQ(client_->samples[0].data, &value_);
  EXPECT_EQ(client_->samples[1].data, &substitute);
  EXPECT_EQ(log.seen.size(), 2u) << "only delivered samples are transformed";
}

TEST_F(VirtualBusTest, policiesOfTheRootTakeNoPart) {
  class BusWithPolicies : public core::utils::TopBusNode {
   public:
    using TopBusNode::TopBusNode;
    const std::vector<unsigned long>* transformationPolicies() const override { return &indices_; }
    const core::utils::TransformationPolicy* transformationPolicy(unsigned long) const override { return &policy_; }

   private:
    SubstitutePolicy::Log log_;
    SubstitutePolicy policy_{nullptr, log_};
    std::vector<unsigned long> indices_{0};
  };
  auto root = std::make_unique<BusWithPolicies>(-1, u"bus", 1);
  root->addChild(makeLeaf());
  start(1, std::move(root), 1);
  step(0, 0);
  EXPECT_EQ(client_->samples.at(0).data, &value_);
}

TEST_F(VirtualBusTest, deliversInListOrderToEverySubscriber) {
  start(1, makeTopBus(1), 1);
  std::vector<int> order;
  RecordingClient second(*descriptor_);
  RecordingClient third(*descriptor_);
  accessor_->addClient(second);
  accessor_->addClient(third);
  client_->onUpdate = [&order] { order.push_back(1); };
  second.onUpdate = [&order] { order.push_back(2); };
  third.onUpdate = [&order] { order.push_back(3); };
  step(0, 0);
  accessor_->removeClient(*client_);
  step(1, 0);
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 3, 2));
}

class BoundVirtualBusTest : public VirtualBusTest {
 protected:
  void bind(unsigned long decimation) {
    describe(decimation, makeTopBus(2), 7);  // the number of inputs plays no part here
    std::vector<const double*> times{&times_[0], &times_[1]};
    std::vector<const void*> data{&data_[0], &data_[1]};
    accessor_ = std::make_unique<VirtualBus>(*descriptor_, interval_, times, data);
    accessor_->addClient(*client_);
    times.assign(2, nullptr);
    data.assign(2, nullptr);
  }
  double times_[2] = {1.0, 2.0};
  double data_[2] = {10.0, 20.0};
};

TEST_F(BoundVirtualBusTest, shortFormsDeliverTheBoundAddressesOfTheLeaf) {
  bind(1);
  accessor_->update(1);
  accessor_->update(0, client_.get());
  static_cast<Accessor&>(*accessor_).update(0);
  accessor_->update(1, nullptr);
  ASSERT_EQ(client_->samples.size(), 4u);
  const unsigned long expected[] = {1, 0, 0, 1};
  for (std::size_t i = 0; i < 4; ++i) {
    const unsigned long leaf = expected[i];
    EXPECT_EQ(client_->samples[i].leaf, leaf);
    EXPECT_EQ(client_->samples[i].timeAddress, &times_[leaf]);
    EXPECT_EQ(client_->samples[i].data, &data_[leaf]);
  }
}

TEST_F(BoundVirtualBusTest, everyBoundLeafHasItsCounter) {
  bind(6);
  EXPECT_EQ(counterOf(*accessor_, 0), 6u);
  EXPECT_EQ(counterOf(*accessor_, 1), 6u);
}

TEST_F(BoundVirtualBusTest, theClientFormDeliversToThatClientOnlyAndSharesTheCounter) {
  bind(2);
  RecordingClient outsider(*descriptor_);
  accessor_->update(0, &outsider);  // delivered to the outsider
  accessor_->update(0);             // skipped
  accessor_->update(0);             // delivered to the subscribers
  EXPECT_EQ(outsider.samples.size(), 1u);
  EXPECT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(counterOf(*accessor_, 1), 2u);
}

TEST_F(BoundVirtualBusTest, theFourArgumentFormPrefersItsOwnArguments) {
  bind(1);
  RecordingClient outsider(*descriptor_);
  const double time = 5.0;
  accessor_->update(&time, &value_, 1, &outsider);
  ASSERT_EQ(outsider.samples.size(), 1u);
  EXPECT_EQ(outsider.samples[0].leaf, 1u);
  EXPECT_EQ(outsider.samples[0].timeAddress, &time);
  EXPECT_EQ(outsider.samples[0].data, &value_);
  EXPECT_THAT(client_->samples, IsEmpty());
}

TEST_F(VirtualBusTest, indirectDataFollowsTheStoredPointer) {
  startIndirect(1, makeTopBus(1), 1);
  const double target = 3.0;
  const void* stored = &target;
  const double time = 0.0;
  accessor_->update(&time, &stored, 0);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &target);
}

TEST_F(VirtualBusTest, indirectDataIsFollowedBeforeItIsTransformed) {
  SubstitutePolicy::Log log;
  const int substitute = 0;
  auto root = makeTopBus(1);
  root->children()[0]->addPolicy(std::make_unique<SubstitutePolicy>(&substitute, log));
  startIndirect(1, std::move(root), 1);
  const double target = 3.0;
  const void* stored = &target;
  const double time = 0.0;
  accessor_->update(&time, &stored, 0);
  EXPECT_THAT(log.seen, ElementsAre(&target));
  EXPECT_EQ(client_->samples.at(0).data, &substitute);
}

TEST_F(VirtualBusTest, aNullStoredPointerDeliversNothingAndDelaysTheLeafByOneCall) {
  startIndirect(2, makeTopBus(2), 2);
  const double target = 3.0;
  const void* null = nullptr;
  const void* stored = &target;
  double time = 0.0;
  accessor_->update(&time, &null, 0);
  EXPECT_THAT(client_->samples, IsEmpty());
  EXPECT_EQ(counterOf(*accessor_, 0), 0u);
  EXPECT_EQ(counterOf(*accessor_, 1), 2u);
  for (time = 1.0; time < 6.0; time += 1.0) {
    accessor_->update(&time, &stored, 0);
  }
  EXPECT_THAT(client_->times(), ElementsAre(3.0, 5.0));
}

TEST_F(VirtualBusTest, indirectDataIsNotTouchedOnSkippedCalls) {
  startIndirect(2, makeTopBus(1), 1);
  const double target = 3.0;
  const void* stored = &target;
  const double time = 0.0;
  accessor_->update(&time, &stored, 0);
  accessor_->update(&time, nullptr, 0);
  EXPECT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(counterOf(*accessor_, 0), 2u);
}

TEST_F(VirtualBusTest, directDataMayBeNull) {
  start(1, makeTopBus(1), 1);
  const double time = 0.0;
  accessor_->update(&time, nullptr, 0);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, nullptr);
}

TEST_F(VirtualBusTest, aClientsExceptionPassesAndLeavesTheLeafsCounterAtZero) {
  start(2, makeTopBus(2), 2);
  client_->onUpdate = [] { throw std::runtime_error("full"); };
  EXPECT_THROW(step(0, 1), std::runtime_error);
  EXPECT_EQ(counterOf(*accessor_, 0), 2u);
  EXPECT_EQ(counterOf(*accessor_, 1), 0u);
}

// One decimation counter per leaf, as the plainest possible model.
TEST_F(VirtualBusTest, agreesWithTheOracleOverRandomHistories) {
  std::mt19937 random(99);
  interval_ = smartlog::LoggingInterval::within({{0.0, 1.0}});
  for (int history = 0; history < 200; ++history) {
    const unsigned long leaves = 1 + random() % 5;
    unsigned long decimation = random() % 5;
    startIndirect(decimation, makeTopBus(leaves), leaves);
    std::vector<unsigned long> counters(leaves, decimation);
    for (int i = 0; i < 150; ++i) {
      if (random() % 50 == 0) {
        decimation = random() % 5;
        setDecimation(*descriptor_, decimation);
      }
      const unsigned long leaf = random() % leaves;
      const bool inside = random() % 4 != 0;
      const bool null = random() % 8 == 0;
      const bool fails = random() % 6 == 0;
      const void* stored = null ? nullptr : &value_;
      client_->onUpdate = fails ? std::function<void()>([] { throw 1; }) : nullptr;
      client_->samples.clear();

      const bool due = inside && counters[leaf] == decimation;
      const bool delivers = due && !null;
      counters[leaf] = due ? 0 : counters[leaf];
      counters[leaf] += inside && !(due && (null || fails)) ? 1 : 0;

      const double time = inside ? 0.5 : 1.5;
      bool threw = false;
      try {
        accessor_->update(&time, &stored, leaf);
      } catch (int) {
        threw = true;
      }
      ASSERT_EQ(client_->samples.size(), delivers ? 1u : 0u) << "history " << history << ", call " << i;
      ASSERT_EQ(threw, delivers && fails);
      for (unsigned long k = 0; k < leaves; ++k) {
        ASSERT_EQ(counterOf(*accessor_, k), counters[k]) << "history " << history << ", call " << i;
      }
    }
  }
}

TEST_F(VirtualBusTest, theSnapshotInterfaceRestoresEveryLeaf) {
  start(3, makeTopBus(2), 2);
  const auto snapshots = accessor_->getSnapshotInterface();
  ASSERT_NE(snapshots, nullptr);
  EXPECT_NE(dynamic_cast<vtsim::DefaultSnapshotInterface<VtioVBusAccessorSnapshotHandler>*>(snapshots.get()), nullptr);
  step(0, 0);
  step(0, 1);
  step(1, 1);
  snapshots->captureSnapshot(false);
  for (int i = 2; i < 7; ++i) {
    step(i, 0);
    step(i, 1);
  }
  snapshots->rollBack();
  EXPECT_EQ(counterOf(*accessor_, 0), 1u);
  EXPECT_EQ(counterOf(*accessor_, 1), 2u);
}

}  // namespace
}  // namespace vtio::testing
