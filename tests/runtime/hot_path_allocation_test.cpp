// A step allocates nothing, from the entry functions to the clients.

#include <gtest/gtest.h>

#include <cstdarg>
#include <memory>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/allocation/allocation_counter.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/utils/split_buffer_policy.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace vtio::testing {
namespace {

using core::accessor::Accessor;
using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::client::Client;
using core::utils::SignalDescriptor;
using test::allocationCount;

constexpr int kSteps = 1000;

// Counts its samples and keeps none of them.
class CountingClient : public Client {
 public:
  explicit CountingClient(const SignalDescriptor& descriptor) : Client(Other, descriptor) {}
  void update(const double*, const void*) override { ++samples; }
  void update(unsigned long, const double*, const void*) override { ++samples; }
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(); }
  int samples = 0;
};

// A call with the parameters of the variable-argument entry functions.
void* callVariable(void* (*function)(int, int, char*), int numArgs, ...) {
  std::va_list arguments;
  va_start(arguments, numArgs);
  void* result = function(1, numArgs, reinterpret_cast<char*>(arguments));
  va_end(arguments);
  return result;
}

class HotPathAllocationTest : public ::testing::Test {
 protected:
  // What `step(time)` takes from the heap over many steps; the times run in and out of the intervals.
  template <typename Step>
  static std::size_t allocationsOf(Step step) {
    const std::size_t before = allocationCount();
    for (int i = 0; i < kSteps; ++i) {
      step(0.001 * i);
    }
    return allocationCount() - before;
  }

  smartlog::LoggingInterval interval_ = smartlog::LoggingInterval::within({{0.0, 0.3}, {0.4, 0.6}, {0.8, 2.0}});
  double value_ = 1.0;
};

TEST_F(HotPathAllocationTest, theCounterCounts) {
  EXPECT_EQ(allocationsOf([](double) {
              // Plain calls: the compiler may leave out the allocation of a new expression.
              ::operator delete(::operator new(24));
              ::operator delete(::operator new(8));
            }),
            2u * kSteps);
}

TEST_F(HotPathAllocationTest, scalarUpdate) {
  auto root = makeTopNVBus();
  std::vector<unsigned long> offsets{0};
  root->addPolicy(std::make_unique<core::utils::SplitBufferPolicy>(8ul, std::move(offsets)));
  const auto descriptor = makeDescriptor(std::move(root), {.decimation = 2});
  Scalar accessor(*descriptor, interval_);
  CountingClient first(*descriptor);
  CountingClient second(*descriptor);
  accessor.addClient(first);
  accessor.addClient(second);
  EXPECT_EQ(allocationsOf([&](double time) { accessor.update(&time, &value_, 0); }), 0u);
  EXPECT_GT(first.samples, kSteps / 4);
  EXPECT_EQ(first.samples, second.samples);
}

std::unique_ptr<core::utils::StringLeafNode> textLeaf() {
  return std::make_unique<core::utils::StringLeafNode>(0, u"text", "none", std::vector<long long>{}, "string",
                                                       core::utils::units(), u"", 64ul, 1ul);
}

TEST_F(HotPathAllocationTest, aTextThatNoClientReceivesIsNotKept) {
  const char16_t* text = u"a text that no small buffer holds";
  const auto scalar = makeDescriptor(textLeaf());
  auto bus = makeTopBus(0);
  bus->addChild(textLeaf());
  bus->overrideNumberOfChildren();
  const auto inBus = makeDescriptor(std::move(bus));
  for (const SignalDescriptor* descriptor : {scalar.get(), inBus.get()}) {
    void** handle = mdlref_simtarget::zetGetAccessor(descriptor, &interval_);
    auto& accessor = *static_cast<Accessor*>(mdlref_simtarget::zetGetPointerFromUniquePtr(handle));
    const auto step = [&](double time) { mdlref_simtarget::zetVtioUpdateAccessor(handle, 0, time, text); };
    EXPECT_EQ(allocationsOf(step), 0u);
    CountingClient client(*descriptor);
    accessor.addClient(client);
    EXPECT_GT(allocationsOf(step), 2u * static_cast<std::size_t>(client.samples)) << "kept for the client";
    EXPECT_GT(client.samples, kSteps / 2);
    accessor.removeClient(client);
    EXPECT_EQ(allocationsOf(step), 0u);
    mdlref_simtarget::zetDestructAccessorPointer(handle);
  }
}

TEST_F(HotPathAllocationTest, boundScalarUpdate) {
  const auto descriptor = makeDescriptor(makeLeaf());
  double time = 0.0;
  Scalar accessor(*descriptor, interval_, &time, &value_);
  CountingClient client(*descriptor);
  accessor.addClient(client);
  EXPECT_EQ(allocationsOf([&](double now) {
              time = now;
              accessor.update();
              accessor.update(0);
              accessor.update(0, &client);
            }),
            0u);
  EXPECT_GT(client.samples, kSteps);
}

TEST_F(HotPathAllocationTest, virtualBusUpdate) {
  auto root = makeTopBus(2);
  std::vector<unsigned long> offsets{0};
  root->children()[1]->addPolicy(std::make_unique<core::utils::SplitBufferPolicy>(8ul, std::move(offsets)));
  const auto descriptor = makeDescriptor(std::move(root), {.inputs = 2, .decimation = 2});
  VirtualBus accessor(*descriptor, interval_);
  CountingClient client(*descriptor);
  accessor.addClient(client);
  EXPECT_EQ(allocationsOf([&](double time) {
              accessor.update(&time, &value_, 0);
              accessor.update(&time, &value_, 1);
            }),
            0u);
  EXPECT_GT(client.samples, kSteps / 2);
}

TEST_F(HotPathAllocationTest, updateThroughTheEntryFunctions) {
  const auto scalar = makeDescriptor(makeLeaf());
  const auto bus = makeDescriptor(makeTopBus(2), {.inputs = 2});
  for (const SignalDescriptor* descriptor : {scalar.get(), bus.get()}) {
    void** handle = mdlref_simtarget::zetGetAccessor(descriptor, &interval_);
    ASSERT_NE(handle, nullptr);
    void* raw = mdlref_simtarget::zetGetPointerFromUniquePtr(handle);
    CountingClient client(*descriptor);
    static_cast<Accessor*>(raw)->addClient(client);
    const void* data = &value_;
    EXPECT_EQ(allocationsOf([&](double time) {
                mdlref_simtarget::zetVtioUpdateAccessor(handle, 0, time, data);
                callVariable(mdlref_simtarget::rt_VtioAccessorUpdate, 3, raw, time, data);
                callVariable(mdlref_simtarget::rt_VtioAccessorUpdate, 4, raw, time, data, descriptor == bus.get());
              }),
              0u);
    EXPECT_GT(client.samples, 2 * kSteps);
    mdlref_simtarget::zetDestructAccessorPointer(handle);
  }
}

}  // namespace
}  // namespace vtio::testing
