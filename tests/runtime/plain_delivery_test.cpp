// Tests that a signal which was delivered the short way follows every change that comes later.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/utils/vtio_scalar_accessor_snapshot_handler.hpp"
#include "vtio/core/utils/vtio_vbus_accessor_snapshot_handler.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace vtio::testing {
namespace {

using core::accessor::Accessor;
using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::utils::LeafNode;
using core::utils::Node;
using ::testing::ElementsAre;

/// How a step reaches the accessor: all ways have to agree.
enum class Way { accessor, entryFunction };

class PlainDeliveryTest : public ::testing::TestWithParam<Way> {
 protected:
  template <typename AccessorClass>
  void start(std::unique_ptr<Node> root, unsigned long inputs = 1) {
    SignalSetup setup;
    setup.inputs = inputs;
    descriptor_ = makeDescriptor(std::move(root), setup);
    client_ = std::make_unique<RecordingClient>(*descriptor_);
    accessor_ = std::make_unique<AccessorClass>(*descriptor_, interval_);
    accessor_->addClient(*client_);
  }

  void step(double time, unsigned long index = 0) {
    if (GetParam() == Way::accessor) {
      accessor_->update(&time, &value_, index);
      return;
    }
    Accessor* cell = accessor_.get();
    mdlref_simtarget::zetVtioUpdateAccessor(&cell, static_cast<unsigned>(index), time, &value_);
  }

  /// Enough steps for whatever is learned to be learned.
  void warmUp(unsigned long leaves = 1) {
    for (int i = 0; i < 3; ++i) {
      for (unsigned long leaf = 0; leaf < leaves; ++leaf) step(i, leaf);
    }
    ASSERT_EQ(client_->samples.size(), 3 * leaves);
    client_->samples.clear();
  }

  unsigned long scalarCounter() {
    return core::utils::VtioScalarAccessorSnapshotHandler(dynamic_cast<Scalar&>(*accessor_))
        .captureSnapshot()
        ->decimationCounter(0);
  }
  unsigned long busCounter(unsigned long leaf) {
    return core::utils::VtioVBusAccessorSnapshotHandler(dynamic_cast<VirtualBus&>(*accessor_))
        .captureSnapshot()
        ->decimationCounter(leaf);
  }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_;
  std::unique_ptr<RecordingClient> client_;
  std::unique_ptr<Accessor> accessor_;
  double value_ = 1.5;
  double substitute_ = 2.5;
  SubstitutePolicy::Log log_;
};

INSTANTIATE_TEST_SUITE_P(Ways, PlainDeliveryTest, ::testing::Values(Way::accessor, Way::entryFunction));

TEST_P(PlainDeliveryTest, aPolicyAttachedToTheLeafLaterIsApplied) {
  start<Scalar>(makeLeaf());
  warmUp();
  descriptor_->root()->addPolicy(std::make_unique<SubstitutePolicy>(&substitute_, log_));
  step(3);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
  EXPECT_THAT(log_.seen, ElementsAre(&value_));
}

TEST_P(PlainDeliveryTest, aPolicyAttachedToTheRootBusLaterIsApplied) {
  start<Scalar>(makeTopNVBus());
  warmUp();
  descriptor_->root()->addPolicy(std::make_unique<SubstitutePolicy>(&substitute_, log_));
  step(3);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
}

TEST_P(PlainDeliveryTest, aPolicyAttachedToOneLeafOfAVirtualBusLaterIsAppliedToThatLeaf) {
  auto root = makeTopBus(2);
  const Node* second = root->children()[1].get();
  start<VirtualBus>(std::move(root), 2);
  warmUp(2);
  second->addPolicy(std::make_unique<SubstitutePolicy>(&substitute_, log_));
  step(3, 0);
  step(3, 1);
  ASSERT_EQ(client_->samples.size(), 2u);
  EXPECT_EQ(client_->samples[0].data, &value_);
  EXPECT_EQ(client_->samples[1].data, &substitute_);
}

/// A leaf that changes its mind without notice.
class FickleLeaf : public LeafNode {
 public:
  FickleLeaf(bool& transforms, const SubstitutePolicy& policy)
      : LeafNode(0, u"f", false, "zoh", {}, "double", core::utils::units(), u"", core::utils::leafSignal),
        transforms_(&transforms),
        policy_(&policy) {}
  [[nodiscard]] const std::vector<unsigned long>* transformationPolicies() const override {
    return *transforms_ ? &indices_ : nullptr;
  }
  [[nodiscard]] const core::utils::TransformationPolicy* transformationPolicy(unsigned long) const override {
    return policy_;
  }

 private:
  bool* transforms_;
  const SubstitutePolicy* policy_;
  std::vector<unsigned long> indices_{0};
};

TEST_P(PlainDeliveryTest, aNodeOfAnotherClassIsAskedAtEveryStep) {
  const SubstitutePolicy policy(&substitute_, log_);
  bool transforms = false;
  start<Scalar>(std::make_unique<FickleLeaf>(transforms, policy));
  warmUp();
  transforms = true;
  step(3);
  transforms = false;
  step(4);
  ASSERT_EQ(client_->samples.size(), 2u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
  EXPECT_EQ(client_->samples[1].data, &value_);
}

TEST_P(PlainDeliveryTest, aDecimationOverriddenLaterHolds) {
  start<Scalar>(makeLeaf());
  warmUp();
  setDecimation(*descriptor_, 3);
  for (int i = 3; i < 10; ++i) step(i);
  EXPECT_THAT(client_->times(), ElementsAre(5.0, 8.0)) << "the counter stood at 1";
  setDecimation(*descriptor_, 1);
  step(10);
  EXPECT_THAT(client_->times(), ElementsAre(5.0, 8.0)) << "the counter passed 1 and never comes back";
}

TEST_P(PlainDeliveryTest, aDecimationOverriddenLaterHoldsForEachLeafOfAVirtualBus) {
  start<VirtualBus>(makeTopBus(2), 2);
  warmUp(2);
  setDecimation(*descriptor_, 2);
  step(3, 0);
  step(4, 0);
  EXPECT_EQ(busCounter(0), 1u);
  EXPECT_EQ(busCounter(1), 1u);
  step(5, 1);
  EXPECT_EQ(busCounter(1), 2u);
  EXPECT_THAT(client_->times(), ElementsAre(4.0));
}

TEST_P(PlainDeliveryTest, clientsThatComeAndGoAreServed) {
  start<Scalar>(makeLeaf());
  warmUp();
  RecordingClient second(*descriptor_);
  accessor_->addClient(second);
  step(3);
  accessor_->removeClient(*client_);
  step(4);
  accessor_->removeClient(second);
  step(5);
  EXPECT_EQ(scalarCounter(), 1u);
  EXPECT_THAT(client_->times(), ElementsAre(3.0));
  EXPECT_THAT(second.times(), ElementsAre(3.0, 4.0));
}

TEST_P(PlainDeliveryTest, anIntervalSetLaterHolds) {
  start<Scalar>(makeLeaf());
  warmUp();
  interval_.disable(4.0, 5.0);
  for (int i = 3; i < 8; ++i) step(i);
  EXPECT_THAT(client_->times(), ElementsAre(3.0, 6.0, 7.0));
}

TEST_P(PlainDeliveryTest, theCounterIsZeroDuringADeliveryAndAfterAFailure) {
  start<Scalar>(makeLeaf());
  warmUp();
  unsigned long during = 99;
  client_->onUpdate = [&] {
    during = scalarCounter();
    throw std::runtime_error("disk full");
  };
  if (GetParam() == Way::accessor) {
    EXPECT_THROW(step(3), std::runtime_error);
  } else {
    EXPECT_NO_THROW(step(3));
  }
  EXPECT_EQ(during, 0u);
  EXPECT_EQ(scalarCounter(), 0u);
}

TEST_P(PlainDeliveryTest, theLeafsCounterIsZeroDuringADeliveryAndAfterAFailure) {
  start<VirtualBus>(makeTopBus(1));
  warmUp();
  unsigned long during = 99;
  client_->onUpdate = [&] {
    during = busCounter(0);
    throw std::runtime_error("disk full");
  };
  if (GetParam() == Way::accessor) {
    EXPECT_THROW(step(3), std::runtime_error);
  } else {
    EXPECT_NO_THROW(step(3));
  }
  EXPECT_EQ(during, 0u);
  EXPECT_EQ(busCounter(0), 0u);
}

/// An accessor of somebody else, which hands over the first two steps only.
class TwoSteps final : public Scalar {
 public:
  using Scalar::Scalar;
  void update(const double* time, const void* data, unsigned long index) override {
    if (++steps_ <= 2) Scalar::update(time, data, index);
  }

 private:
  int steps_ = 0;
};

TEST_P(PlainDeliveryTest, aDerivedAccessorHasItsOwnWay) {
  start<TwoSteps>(makeLeaf());
  for (int i = 0; i < 5; ++i) step(i);
  EXPECT_THAT(client_->times(), ElementsAre(0.0, 1.0));
}

/// A bus that takes each data argument for the address of a pointer from some step on.
class LaterIndirect final : public VirtualBus {
 public:
  using VirtualBus::VirtualBus;
  void beIndirect() { indirectData = true; }
};

TEST_P(PlainDeliveryTest, aBusThatBecomesIndirectFollowsThePointer) {
  start<LaterIndirect>(makeTopBus(1));
  warmUp();
  dynamic_cast<LaterIndirect&>(*accessor_).beIndirect();
  const void* pointer = &substitute_;
  const double time = 3;
  accessor_->update(&time, &pointer, 0);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
}

}  // namespace
}  // namespace vtio::testing
