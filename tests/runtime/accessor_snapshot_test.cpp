// Tests of the snapshot element and handlers of the accessors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/utils/vtio_accessor_snapshot_element.hpp"
#include "vtio/core/utils/vtio_scalar_accessor_snapshot_handler.hpp"
#include "vtio/core/utils/vtio_vbus_accessor_snapshot_handler.hpp"

namespace vtio::testing {
namespace {

using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::utils::VtioAccessorSnapshotElement;
using core::utils::VtioScalarAccessorSnapshotHandler;
using core::utils::VtioVBusAccessorSnapshotHandler;
using Counters = std::vector<unsigned long>;

using AnyHandler = vtsim::SnapshotHandler<VtioAccessorSnapshotElement>;
static_assert(std::is_base_of_v<AnyHandler, VtioScalarAccessorSnapshotHandler>);
static_assert(std::is_base_of_v<AnyHandler, VtioVBusAccessorSnapshotHandler>);
static_assert(std::is_same_v<VtioScalarAccessorSnapshotHandler::Element, VtioAccessorSnapshotElement>);
static_assert(std::is_same_v<VtioVBusAccessorSnapshotHandler::Element, VtioAccessorSnapshotElement>);

TEST(VtioAccessorSnapshotElementTest, keepsItsOwnCopyOfTheCounters) {
  Counters counters{3, 1, 0xffffffffffffffff};
  const VtioAccessorSnapshotElement element(counters);
  counters.assign(3, 0);
  EXPECT_EQ(element.decimationCounter(0), 3u);
  EXPECT_EQ(element.decimationCounter(1), 1u);
  EXPECT_EQ(element.decimationCounter(2), 0xffffffffffffffffu);
}

class ScalarHandlerTest : public ::testing::Test {
 protected:
  unsigned long counter() { return handler_.captureSnapshot()->decimationCounter(0); }
  void steps(int count) {
    const double time = 0.0;
    for (int i = 0; i < count; ++i) {
      accessor_.update(&time, &time, 0);
    }
  }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_ = makeDescriptor(makeLeaf(), {.decimation = 10});
  Scalar accessor_{*descriptor_, interval_};
  VtioScalarAccessorSnapshotHandler handler_{accessor_};
};

TEST_F(ScalarHandlerTest, capturesTheLiveCounter) {
  EXPECT_EQ(counter(), 10u);
  steps(4);
  EXPECT_EQ(counter(), 4u);
}

TEST_F(ScalarHandlerTest, aCapturedElementDoesNotFollowTheAccessor) {
  steps(4);
  const auto element = handler_.captureSnapshot();
  steps(3);
  EXPECT_EQ(element->decimationCounter(0), 4u);
}

TEST_F(ScalarHandlerTest, rollBackAndResetWriteTheCounterBack) {
  VtioAccessorSnapshotElement element(Counters{6});
  handler_.rollBack(element);
  EXPECT_EQ(counter(), 6u);
  VtioAccessorSnapshotElement other(Counters{2, 99});
  handler_.reset(other);
  EXPECT_EQ(counter(), 2u);
}

TEST_F(ScalarHandlerTest, resetGoesThroughTheVirtualRollBack) {
  class Watching : public VtioScalarAccessorSnapshotHandler {
   public:
    using VtioScalarAccessorSnapshotHandler::VtioScalarAccessorSnapshotHandler;
    void rollBack(VtioAccessorSnapshotElement& element) override { seen = &element; }
    const VtioAccessorSnapshotElement* seen = nullptr;
  };
  Watching watching(accessor_);
  VtioAccessorSnapshotElement element(Counters{6});
  watching.reset(element);
  EXPECT_EQ(watching.seen, &element);
  EXPECT_EQ(counter(), 10u);
}

TEST_F(ScalarHandlerTest, anInitialCaptureIsWhatResetReturnsTo) {
  const auto interface = accessor_.getSnapshotInterface();
  steps(4);
  interface->captureSnapshot(true);
  steps(1);
  interface->captureSnapshot(false);
  steps(2);
  ASSERT_EQ(counter(), 7u);
  interface->reset();
  EXPECT_EQ(counter(), 4u);
  interface->rollBack();
  EXPECT_EQ(counter(), 5u) << "the queue is untouched";
}

class VBusHandlerTest : public ::testing::Test {
 protected:
  // A virtual bus of two leaves, with room for three counters.
  void SetUp() override {
    descriptor_ = makeDescriptor(makeTopBus(2), {.inputs = 3, .decimation = 10});
    accessor_ = std::make_unique<VirtualBus>(*descriptor_, interval_);
    handler_ = std::make_unique<VtioVBusAccessorSnapshotHandler>(*accessor_);
  }
  Counters counters(std::size_t count = 3) {
    const auto element = handler_->captureSnapshot();
    Counters result;
    for (std::size_t i = 0; i < count; ++i) {
      result.push_back(element->decimationCounter(i));
    }
    return result;
  }
  void step(unsigned long leaf) {
    const double time = 0.0;
    accessor_->update(&time, &time, leaf);
  }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_;
  std::unique_ptr<VirtualBus> accessor_;
  std::unique_ptr<VtioVBusAccessorSnapshotHandler> handler_;
};

TEST_F(VBusHandlerTest, capturesEveryCounterInLeafOrder) {
  step(1);
  step(1);
  step(0);
  EXPECT_EQ(counters(), (Counters{1, 2, 10}));
}

TEST_F(VBusHandlerTest, restoresAsManyCountersAsThereAreLeaves) {
  VtioAccessorSnapshotElement element(Counters{4, 5, 6});
  handler_->rollBack(element);
  EXPECT_EQ(counters(), (Counters{4, 5, 10}));
}

TEST_F(VBusHandlerTest, needsNoMoreCountersThanLeaves) {
  VtioAccessorSnapshotElement element(Counters{4, 5});
  handler_->rollBack(element);
  EXPECT_EQ(counters(), (Counters{4, 5, 10}));
}

TEST_F(VBusHandlerTest, resetGoesThroughTheVirtualRollBack) {
  class Watching : public VtioVBusAccessorSnapshotHandler {
   public:
    using VtioVBusAccessorSnapshotHandler::VtioVBusAccessorSnapshotHandler;
    void rollBack(VtioAccessorSnapshotElement& element) override { seen = &element; }
    const VtioAccessorSnapshotElement* seen = nullptr;
  };
  VtioAccessorSnapshotElement element(Counters{4, 5, 6});
  Watching watching(*accessor_);
  watching.reset(element);
  EXPECT_EQ(watching.seen, &element);
  EXPECT_EQ(counters(), (Counters{10, 10, 10}));
  handler_->reset(element);
  EXPECT_EQ(counters(), (Counters{4, 5, 10}));
}

TEST_F(VBusHandlerTest, boundAccessorsHaveOneCounterPerDataPointer) {
  const double time = 0.0;
  accessor_ = std::make_unique<VirtualBus>(*descriptor_, interval_, std::vector<const double*>{&time, &time},
                                           std::vector<const void*>{&time, &time});
  handler_ = std::make_unique<VtioVBusAccessorSnapshotHandler>(*accessor_);
  accessor_->update(1);
  EXPECT_EQ(counters(2), (Counters{10, 1}));
  VtioAccessorSnapshotElement element(Counters{7, 8});
  handler_->rollBack(element);
  EXPECT_EQ(counters(2), (Counters{7, 8}));
}

TEST_F(VBusHandlerTest, anEmptyBusCountsAsOnePosition) {
  descriptor_ = makeDescriptor(makeTopBus(0), {.inputs = 1, .decimation = 10});
  accessor_ = std::make_unique<VirtualBus>(*descriptor_, interval_);
  handler_ = std::make_unique<VtioVBusAccessorSnapshotHandler>(*accessor_);
  VtioAccessorSnapshotElement element(Counters{7});
  handler_->rollBack(element);
  EXPECT_EQ(counters(1), (Counters{7}));
}

TEST_F(VBusHandlerTest, theSnapshotInterfaceResetsAndRollsBackEveryLeaf) {
  const auto interface = accessor_->getSnapshotInterface();
  step(0);
  interface->captureSnapshot(true);
  step(1);
  step(1);
  interface->captureSnapshot(false);
  step(0);
  step(1);
  interface->reset();
  EXPECT_EQ(counters(), (Counters{1, 10, 10}));
  interface->rollBack();
  EXPECT_EQ(counters(), (Counters{1, 2, 10}));
}

}  // namespace
}  // namespace vtio::testing
