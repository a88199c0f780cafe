// The accessors that generated code gets, which cache what a step reads, deliver as the others do and follow every
// later change.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
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

/// Which accessor a step reaches, and how: all have to agree.
enum class Way { ownAccessor, generatedAccessor, entryFunction };

class CachedAccessorsTest : public ::testing::TestWithParam<Way> {
 protected:
  ~CachedAccessorsTest() override { mdlref_simtarget::zetDestructAccessorPointer(handle_); }

  template <typename AccessorClass>
  void start(std::unique_ptr<Node> root, unsigned long inputs = 1) {
    SignalSetup setup;
    setup.inputs = inputs;
    descriptor_ = makeDescriptor(std::move(root), setup);
    client_ = std::make_unique<RecordingClient>(*descriptor_);
    if (GetParam() == Way::ownAccessor) {
      own_ = std::make_unique<AccessorClass>(*descriptor_, interval_);
      accessor_ = own_.get();
    } else {
      handle_ = mdlref_simtarget::zetGetAccessor(descriptor_.get(), &interval_);
      accessor_ = static_cast<Accessor*>(mdlref_simtarget::zetGetPointerFromUniquePtr(handle_));
    }
    accessor_->addClient(*client_);
  }

  void step(double time, unsigned long index = 0) {
    if (GetParam() == Way::entryFunction) {
      mdlref_simtarget::zetVtioUpdateAccessor(handle_, static_cast<unsigned>(index), time, &value_);
    } else {
      accessor_->update(&time, &value_, index);
    }
  }

  /// Enough steps for the cache to be filled.
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

  /// One step in which the client fails: the counter is 0 during it and afterwards.
  template <typename Counter>
  void expectZeroAtAFailure(const Counter& counter) {
    unsigned long during = 99;
    client_->onUpdate = [&] {
      during = counter();
      throw std::runtime_error("disk full");
    };
    if (GetParam() == Way::entryFunction) {
      EXPECT_NO_THROW(step(3));
    } else {
      EXPECT_THROW(step(3), std::runtime_error);
    }
    EXPECT_EQ(during, 0u);
    EXPECT_EQ(counter(), 0u);
  }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_;
  std::unique_ptr<RecordingClient> client_;
  std::unique_ptr<Accessor> own_;
  void** handle_ = nullptr;
  Accessor* accessor_ = nullptr;
  double value_ = 1.5;
  double substitute_ = 2.5;
  SubstitutePolicy::Log log_;
};

INSTANTIATE_TEST_SUITE_P(Ways, CachedAccessorsTest,
                         ::testing::Values(Way::ownAccessor, Way::generatedAccessor, Way::entryFunction));

TEST_P(CachedAccessorsTest, aPolicyAttachedToTheLeafLaterIsApplied) {
  start<Scalar>(makeLeaf());
  warmUp();
  descriptor_->root()->addPolicy(std::make_unique<SubstitutePolicy>(&substitute_, log_));
  step(3);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
  EXPECT_THAT(log_.seen, ElementsAre(&value_));
}

TEST_P(CachedAccessorsTest, aPolicyIsAppliedWithoutAClientToo) {
  start<Scalar>(makeLeaf());
  descriptor_->root()->addPolicy(std::make_unique<SubstitutePolicy>(&substitute_, log_));
  accessor_->removeClient(*client_);
  step(0);
  step(1);
  EXPECT_EQ(log_.seen.size(), 2u);
}

TEST_P(CachedAccessorsTest, aPolicyAttachedToTheRootBusLaterIsApplied) {
  start<Scalar>(makeTopNVBus());
  warmUp();
  descriptor_->root()->addPolicy(std::make_unique<SubstitutePolicy>(&substitute_, log_));
  step(3);
  ASSERT_EQ(client_->samples.size(), 1u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
}

TEST_P(CachedAccessorsTest, aPolicyAttachedToOneLeafOfAVirtualBusLaterIsAppliedToThatLeaf) {
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

/// A leaf of another library, whose policies come and go without addPolicy().
class ChangingLeaf : public LeafNode {
 public:
  ChangingLeaf(bool& transforms, const SubstitutePolicy& policy)
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

TEST_P(CachedAccessorsTest, aNodeOfAnotherClassIsAskedAtEveryStep) {
  const SubstitutePolicy policy(&substitute_, log_);
  bool transforms = false;
  start<Scalar>(std::make_unique<ChangingLeaf>(transforms, policy));
  warmUp();
  transforms = true;
  step(3);
  transforms = false;
  step(4);
  ASSERT_EQ(client_->samples.size(), 2u);
  EXPECT_EQ(client_->samples[0].data, &substitute_);
  EXPECT_EQ(client_->samples[1].data, &value_);
}

TEST_P(CachedAccessorsTest, aDecimationOverriddenLaterHolds) {
  start<Scalar>(makeLeaf());
  warmUp();
  setDecimation(*descriptor_, 3);
  for (int i = 3; i < 10; ++i) step(i);
  EXPECT_THAT(client_->times(), ElementsAre(5.0, 8.0)) << "the counter stood at 1";
  setDecimation(*descriptor_, 1);
  step(10);
  EXPECT_THAT(client_->times(), ElementsAre(5.0, 8.0)) << "the counter passed 1 and never comes back";
}

TEST_P(CachedAccessorsTest, aDecimationOverriddenLaterHoldsForEachLeafOfAVirtualBus) {
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

TEST_P(CachedAccessorsTest, clientsThatComeAndGoAreServed) {
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

TEST_P(CachedAccessorsTest, anIntervalSetLaterHolds) {
  start<Scalar>(makeLeaf());
  warmUp();
  interval_.disable(4.0, 5.0);
  for (int i = 3; i < 8; ++i) step(i);
  EXPECT_THAT(client_->times(), ElementsAre(3.0, 6.0, 7.0));
}

TEST_P(CachedAccessorsTest, theCounterIsZeroDuringADeliveryAndAfterAFailure) {
  start<Scalar>(makeLeaf());
  warmUp();
  expectZeroAtAFailure([this] { return scalarCounter(); });
}

TEST_P(CachedAccessorsTest, theLeafsCounterIsZeroDuringADeliveryAndAfterAFailure) {
  start<VirtualBus>(makeTopBus(1));
  warmUp();
  expectZeroAtAFailure([this] { return busCounter(0); });
}

TEST_P(CachedAccessorsTest, oneClientIsServedWithTheOthersLeftOut) {
  start<Scalar>(makeLeaf());
  warmUp();
  RecordingClient second(*descriptor_);
  accessor_->addClient(second);
  auto& scalar = dynamic_cast<Scalar&>(*accessor_);
  const double time = 3;
  scalar.update(&time, &value_, 0, &second);
  EXPECT_TRUE(client_->samples.empty());
  EXPECT_THAT(second.times(), ElementsAre(3.0));
}

/// An accessor of the core and one of generated code, driven alike.
template <typename AccessorClass>
struct Twins {
  Twins(std::unique_ptr<Node> root, unsigned long leaves) {
    SignalSetup setup;
    setup.inputs = leaves;
    descriptor = makeDescriptor(std::move(root), setup);
    own = std::make_unique<AccessorClass>(*descriptor, interval);
    handle = mdlref_simtarget::zetGetAccessor(descriptor.get(), &interval);
    generated = static_cast<Accessor*>(mdlref_simtarget::zetGetPointerFromUniquePtr(handle));
    for (int i = 0; i < 3; ++i) {
      ownClients.push_back(std::make_unique<RecordingClient>(*descriptor));
      generatedClients.push_back(std::make_unique<RecordingClient>(*descriptor));
    }
  }
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;
  ~Twins() { mdlref_simtarget::zetDestructAccessorPointer(handle); }

  void step(double time, unsigned long leaf) {
    own->update(&time, &value, leaf);
    mdlref_simtarget::zetVtioUpdateAccessor(handle, static_cast<unsigned>(leaf), time, &value);
  }
  void subscribe(std::size_t client, bool on) {
    if (subscribed[client] == on) return;
    subscribed[client] = on;
    if (on) {
      own->addClient(*ownClients[client]);
      generated->addClient(*generatedClients[client]);
    } else {
      own->removeClient(*ownClients[client]);
      generated->removeClient(*generatedClients[client]);
    }
  }

  smartlog::LoggingInterval interval;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor;
  std::unique_ptr<AccessorClass> own;
  void** handle = nullptr;
  Accessor* generated = nullptr;
  std::vector<std::unique_ptr<RecordingClient>> ownClients, generatedClients;
  std::vector<bool> subscribed = std::vector<bool>(3);
  double value = 1.5;
};

template <typename AccessorClass>
void driveAlike(Twins<AccessorClass>& twins, unsigned long leaves, unsigned seed) {
  std::mt19937 random(seed);
  double time = 0;
  for (int i = 0; i < 2000; ++i) {
    switch (random() % 40) {
      case 0:
        setDecimation(*twins.descriptor, 1 + random() % 4);
        break;
      case 1:
        twins.interval.disable(time + 1, time + 1 + static_cast<double>(random() % 20));
        break;
      case 2:
      case 3:
        twins.subscribe(random() % 3, random() % 2 == 0);
        break;
      default:
        time += static_cast<double>(random() % 2);
        twins.step(time, random() % leaves);
    }
  }
  for (std::size_t c = 0; c < 3; ++c) {
    ASSERT_EQ(twins.ownClients[c]->times(), twins.generatedClients[c]->times()) << "seed " << seed << ", client " << c;
  }
}

TEST(TwinsTest, accessorsOfGeneratedCodeDeliverAsThoseOfTheCore) {
  std::size_t delivered = 0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    Twins<Scalar> scalars(makeLeaf(), 1);
    driveAlike(scalars, 1, seed);
    Twins<VirtualBus> buses(makeTopBus(3), 3);
    driveAlike(buses, 3, seed);
    delivered += scalars.ownClients[0]->samples.size() + buses.ownClients[0]->samples.size();
  }
  EXPECT_GT(delivered, 1000U);
}

/// An accessor of another library, which delivers the first two steps only.
class TwoSteps final : public Scalar {
 public:
  using Scalar::Scalar;
  void update(const double* time, const void* data, unsigned long index) override {
    if (++steps_ <= 2) Scalar::update(time, data, index);
  }

 private:
  int steps_ = 0;
};

TEST(EntryFunctionTest, aDerivedAccessorsUpdateIsCalled) {
  const auto descriptor = makeDescriptor(makeLeaf());
  const smartlog::LoggingInterval interval;
  RecordingClient client(*descriptor);
  TwoSteps accessor(*descriptor, interval);
  accessor.addClient(client);
  Accessor* cell = &accessor;
  const double value = 1.5;
  for (int i = 0; i < 5; ++i) mdlref_simtarget::zetVtioUpdateAccessor(&cell, 0, i, &value);
  EXPECT_THAT(client.times(), ElementsAre(0.0, 1.0));
}

}  // namespace
}  // namespace vtio::testing
