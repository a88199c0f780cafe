// Tests of the entry functions for descriptors, accessors, the per-step update and its release.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/generated_code.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"

namespace vtio::testing {
namespace {

using namespace mdlref_simtarget;
using core::accessor::Accessor;
using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::client::Catalogue;
using core::utils::InportOutportSignalDescriptor;
using core::utils::Node;
using core::utils::SignalDescriptor;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned kOutport = 1;
constexpr unsigned kOrdinary = 3;

// The arguments of zetGetSignalDescriptor with plain values.
struct Request {
  unsigned inputs = 1;
  unsigned kind = kOrdinary;
  unsigned maxPoints = 0;
  unsigned decimation = 1;
  const char* name = "s";
  const char* propagatedName = "";
  const char* encodedPath = "";
  const char* blockPath = "m/b";
  unsigned port = 0;
  unsigned long inportOrder = 0;
  std::vector<unsigned> dims1 = {};
  std::vector<unsigned> dims2 = {};
};

void addDoubleLeaf(void* tree, const char* name = "x") {
  zetAddLeafNode(0, name, "zoh", 0, nullptr, 0, "double", "", "", 0, 0, tree);
}

class DescriptorEntryTest : public ::testing::Test {
 protected:
  const SignalDescriptor* make(void* tree, const Request& r) {
    return static_cast<const SignalDescriptor*>(zetGetSignalDescriptor(
        tree, r.inputs, r.kind, r.maxPoints, r.decimation, r.name, r.propagatedName, r.encodedPath, r.blockPath, r.port,
        r.inportOrder, &catalogue_, r.dims1.data(), static_cast<unsigned>(r.dims1.size()), r.dims2.data(),
        static_cast<unsigned>(r.dims2.size())));
  }
  const SignalDescriptor* makeLeafSignal(const Request& request = {}) {
    void* tree = zetGetTreeVector();
    addDoubleLeaf(tree);
    return make(tree, request);
  }
  // Whether `descriptor` has this number: the catalogue overrides the one of the given number.
  bool hasNumber(const SignalDescriptor& descriptor, unsigned long number) {
    catalogue_.setModelLoggingInfo(makeSelection(2).get());
    const auto numbered = makeDescriptor(makeLeaf(), {.catalogueIndex = number});
    catalogue_.signalLoggingOverride(*numbered);
    return descriptor.decimation() == 1;
  }

  Catalogue catalogue_;
};

TEST_F(DescriptorEntryTest, kindThreeIsAnOrdinarySignal) {
  const SignalDescriptor* made = makeLeafSignal({.inputs = 0xffffffff,
                                                 .kind = kOrdinary,
                                                 .maxPoints = 0xfffffffe,
                                                 .decimation = 0xfffffffd,
                                                 .port = 0xfffffffc,
                                                 .inportOrder = 9,
                                                 .dims1 = {2, 0xffffffff},
                                                 .dims2 = {3}});
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(dynamic_cast<const InportOutportSignalDescriptor*>(made), nullptr);
  EXPECT_EQ(made->numberOfInputPorts(), 0xfffffffful);
  EXPECT_EQ(made->maxPoints(), 0xfffffffeul);
  EXPECT_EQ(made->decimation(), 0xfffffffdul);
  EXPECT_EQ(made->connectedPortIndex(), 0xfffffffcul);
  EXPECT_EQ(made->inportOrder(), 0u);
  EXPECT_THAT(made->foreachDimensions(), ElementsAre(2u, 0xfffffffful, 3u));
  EXPECT_FALSE(made->hasForeachIterationIdx());
  EXPECT_EQ(made->foreachIterationIdx(), 0u);
}

TEST_F(DescriptorEntryTest, kindOneIsARootOutport) {
  const SignalDescriptor* made = makeLeafSignal({.inputs = 2,
                                                 .kind = kOutport,
                                                 .maxPoints = 30,
                                                 .decimation = 4,
                                                 .port = 5,
                                                 .inportOrder = 9,
                                                 .dims1 = {2},
                                                 .dims2 = {3, 4}});
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(made);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->portType(), InportOutportSignalDescriptor::outport);
  EXPECT_EQ(port->inportOrder(), 0u) << "the order is for inports";
  EXPECT_EQ(made->numberOfInputPorts(), 2u);
  EXPECT_EQ(made->maxPoints(), 30u);
  EXPECT_EQ(made->decimation(), 4u);
  EXPECT_EQ(made->connectedPortIndex(), 5u);
  EXPECT_THAT(made->foreachDimensions(), ElementsAre(2u, 3u, 4u));
  EXPECT_FALSE(made->hasForeachIterationIdx());
}

TEST_F(DescriptorEntryTest, everyOtherKindIsARootInport) {
  for (const unsigned kind : {0u, 2u, 4u, 0xffffffffu}) {
    const SignalDescriptor* made = makeLeafSignal({.inputs = 2,
                                                   .kind = kind,
                                                   .maxPoints = 30,
                                                   .decimation = 4,
                                                   .port = 5,
                                                   .inportOrder = 0x100000007,
                                                   .dims1 = {2},
                                                   .dims2 = {3}});
    const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(made);
    ASSERT_NE(port, nullptr) << kind;
    EXPECT_EQ(port->portType(), InportOutportSignalDescriptor::inport);
    EXPECT_EQ(port->inportOrder(), 0x100000007ul);
    EXPECT_EQ(made->numberOfInputPorts(), 2u);
    EXPECT_EQ(made->maxPoints(), 30u);
    EXPECT_EQ(made->decimation(), 4u);
    EXPECT_EQ(made->connectedPortIndex(), 5u);
    EXPECT_THAT(made->foreachDimensions(), IsEmpty()) << "inports have no for-each dimensions";
  }
}

TEST_F(DescriptorEntryTest, withoutDimensionArraysThereAreNoForeachDimensions) {
  EXPECT_THAT(makeLeafSignal()->foreachDimensions(), IsEmpty());
  EXPECT_THAT(makeLeafSignal({.dims2 = {6}})->foreachDimensions(), ElementsAre(6u));
}

TEST_F(DescriptorEntryTest, namesAreUnescaped) {
  const SignalDescriptor* made = makeLeafSignal({.name = "n\\t\\u00e9", .propagatedName = "p\\x41\\q"});
  EXPECT_EQ(made->signalName(), u"n\t\u00e9");
  EXPECT_EQ(made->propagatedName(), u"pA\\q");
}

TEST_F(DescriptorEntryTest, pathsAreUnescapedThenDecodedThenFreedOfLineFeeds) {
  const SignalDescriptor* made = makeLeafSignal({.encodedPath = "top\\x7cm\\u00efd%7Cx\\n", .blockPath = "a\\nb|c%25"});
  EXPECT_THAT(elementsOf(made->blockPath()), ElementsAre(u"top", u"m\u00efd|x ", u"a b|c%25"));
}

TEST_F(DescriptorEntryTest, aTopModelsPathHasOneElement) {
  EXPECT_THAT(elementsOf(makeLeafSignal()->blockPath()), ElementsAre(u"m/b"));
}

TEST_F(DescriptorEntryTest, theCatalogueOwnsTheTree) {
  int destroyed = 0;
  {
    Catalogue catalogue;
    void* tree = zetGetTreeVector();
    vectorBehind(tree).push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
    const Node* leaf = vectorBehind(tree)[0].get();
    const auto* made = static_cast<const SignalDescriptor*>(
        zetGetSignalDescriptor(tree, 1, kOrdinary, 0, 1, "", "", "", "b", 0, 0, &catalogue, nullptr, 0, nullptr, 0));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->root(), leaf);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST_F(DescriptorEntryTest, entriesLeftInTheVectorDieWithIt) {
  int destroyed = 0;
  void* tree = zetGetTreeVector();
  zetAddTopBusNode("T", 1, tree);
  addDoubleLeaf(tree);
  zetPopNVBusNode(tree);
  vectorBehind(tree).push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
  EXPECT_NE(make(tree, {}), nullptr);
  EXPECT_EQ(destroyed, 1);
}

TEST_F(DescriptorEntryTest, aNonVirtualBusRootGetsItsLeafOffsets) {
  void* tree = zetGetTreeVector();
  const unsigned single[] = {1};
  const unsigned pair[] = {2};
  const unsigned rootOffsets[] = {0, 8};
  const unsigned innerOffsets[] = {0, 4};
  zetAddTopNVBusNode(1, "root", 2, single, 1, 32, rootOffsets, "", 0, 0, tree);
  addDoubleLeaf(tree);
  zetAddNVBusNode(2, "inner", 2, pair, 1, 12, innerOffsets, tree);
  addDoubleLeaf(tree);
  addDoubleLeaf(tree);
  zetPopNVBusNode(tree);
  zetPopNVBusNode(tree);
  const SignalDescriptor* made = make(tree, {});
  ASSERT_NE(made, nullptr);
  const auto* root = dynamic_cast<const core::utils::TopNVBusNode*>(made->root());
  ASSERT_NE(root, nullptr);
  const long long expected[] = {0, 8, 12, 20, 24};
  for (unsigned long i = 0; i < 5; ++i) {
    EXPECT_EQ(root->leafDataOffset(i), expected[i]) << i;
  }
  EXPECT_EQ(root->leafDataOffset(5), 32) << "the next element of the root";
}

TEST_F(DescriptorEntryTest, aTreeWithoutRootGivesNullAndTakesNoNumber) {
  void* empty = zetGetTreeVector();
  EXPECT_EQ(make(empty, {}), nullptr);
  int destroyed = 0;
  void* open = zetGetTreeVector();
  zetAddTopBusNode("T", 1, open);
  vectorBehind(open).push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
  EXPECT_EQ(make(open, {}), nullptr);
  EXPECT_EQ(destroyed, 1);
  const SignalDescriptor* first = makeLeafSignal({.decimation = 7});
  EXPECT_TRUE(hasNumber(*first, 0));
}

TEST_F(DescriptorEntryTest, aBadPathGivesNullAndStillFreesTheTree) {
  int destroyed = 0;
  void* tree = zetGetTreeVector();
  vectorBehind(tree).push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
  EXPECT_EQ(make(tree, {.encodedPath = "top|%zz"}), nullptr);
  EXPECT_EQ(destroyed, 1);
  const SignalDescriptor* first = makeLeafSignal({.decimation = 7});
  EXPECT_TRUE(hasNumber(*first, 0));
}

class AccessorEntryTest : public DescriptorEntryTest {
 protected:
  ~AccessorEntryTest() override {
    for (void** handle : handles_) {
      zetDestructAccessorPointer(handle);
    }
  }
  AccessorEntryTest() = default;
  AccessorEntryTest(const AccessorEntryTest&) = delete;
  AccessorEntryTest& operator=(const AccessorEntryTest&) = delete;

  void** accessorFor(const SignalDescriptor& descriptor) {
    void** handle = zetGetAccessor(&descriptor, &interval_);
    handles_.push_back(handle);
    return handle;
  }
  static Accessor* behind(void** handle) { return static_cast<Accessor*>(zetGetPointerFromUniquePtr(handle)); }

  smartlog::LoggingInterval interval_;
  std::vector<void**> handles_;
};

TEST_F(AccessorEntryTest, aTopBusRootGetsAVirtualBusAccessor) {
  const auto descriptor = makeDescriptor(makeTopBus(2), {.inputs = 2});
  void** handle = accessorFor(*descriptor);
  ASSERT_NE(handle, nullptr);
  EXPECT_NE(dynamic_cast<VirtualBus*>(behind(handle)), nullptr);
  EXPECT_EQ(&behind(handle)->signalDescriptor(), descriptor.get());
}

TEST_F(AccessorEntryTest, everyOtherRootGetsAScalarAccessor) {
  const auto leaf = makeDescriptor(makeLeaf());
  const auto nonVirtual = makeDescriptor(makeTopNVBus());
  const auto plainBus = makeDescriptor(std::make_unique<core::utils::BusNode>(-1, u"b", 0, core::utils::virtualBus));
  for (const SignalDescriptor* descriptor : {leaf.get(), nonVirtual.get(), plainBus.get()}) {
    void** handle = accessorFor(*descriptor);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(dynamic_cast<Scalar*>(behind(handle)), nullptr);
    EXPECT_EQ(&behind(handle)->signalDescriptor(), descriptor);
  }
}

TEST_F(AccessorEntryTest, theHandleIsACellThatHoldsTheAccessor) {
  const auto descriptor = makeDescriptor(makeLeaf());
  void** handle = accessorFor(*descriptor);
  EXPECT_EQ(*handle, zetGetPointerFromUniquePtr(handle));
}

TEST_F(AccessorEntryTest, theAccessorFollowsTheGivenInterval) {
  const auto descriptor = makeDescriptor(makeLeaf());
  void** handle = accessorFor(*descriptor);
  RecordingClient client(*descriptor);
  behind(handle)->addClient(client);
  interval_.disable(1.0, 2.0);
  for (const double time : {0.5, 1.5, 2.5}) {
    zetVtioUpdateAccessor(handle, 0, time, &time);
  }
  EXPECT_THAT(client.times(), ElementsAre(0.5, 2.5));
}

TEST_F(AccessorEntryTest, updateDeliversTimeDataAndIndex) {
  const auto descriptor = makeDescriptor(makeTopBus(3), {.inputs = 3});
  void** handle = accessorFor(*descriptor);
  RecordingClient client(*descriptor);
  behind(handle)->addClient(client);
  const double value = 4.0;
  zetVtioUpdateAccessor(handle, 2, 0.75, &value);
  ASSERT_EQ(client.samples.size(), 1u);
  EXPECT_EQ(client.samples[0].leaf, 2u);
  EXPECT_EQ(client.samples[0].time, 0.75);
  EXPECT_EQ(client.samples[0].data, &value);
}

TEST_F(AccessorEntryTest, updateWithNullDataIsNoStepAtAll) {
  const auto descriptor = makeDescriptor(makeLeaf(), {.decimation = 2});
  void** handle = accessorFor(*descriptor);
  RecordingClient client(*descriptor);
  behind(handle)->addClient(client);
  const double value = 4.0;
  zetVtioUpdateAccessor(handle, 0, 0.0, nullptr);
  zetVtioUpdateAccessor(handle, 0, 1.0, &value);  // delivered
  zetVtioUpdateAccessor(handle, 0, 2.0, nullptr);
  zetVtioUpdateAccessor(handle, 0, 3.0, &value);  // skipped
  zetVtioUpdateAccessor(handle, 0, 4.0, &value);  // delivered
  EXPECT_THAT(client.times(), ElementsAre(1.0, 4.0));
}

TEST_F(AccessorEntryTest, updateDropsEveryException) {
  const auto descriptor = makeDescriptor(makeLeaf());
  void** handle = accessorFor(*descriptor);
  RecordingClient client(*descriptor);
  behind(handle)->addClient(client);
  const double value = 4.0;
  client.onUpdate = [] { throw std::runtime_error("x"); };
  EXPECT_NO_THROW(zetVtioUpdateAccessor(handle, 0, 0.0, &value));
  client.onUpdate = [] { throw 42; };
  EXPECT_NO_THROW(zetVtioUpdateAccessor(handle, 0, 1.0, &value));
  EXPECT_EQ(client.samples.size(), 1u) << "the first failure left the decimation counter at 0";
}

// An accessor that notes what reaches it.
class NotingAccessor : public Accessor {
 public:
  NotingAccessor(const SignalDescriptor& descriptor, const smartlog::LoggingInterval& interval, int& destroyed)
      : Accessor(descriptor, interval), destroyed_(&destroyed) {}
  NotingAccessor(const NotingAccessor&) = delete;
  NotingAccessor& operator=(const NotingAccessor&) = delete;
  ~NotingAccessor() override { ++*destroyed_; }
  void update(const double* time, const void* data, unsigned long index) override {
    calls.emplace_back(*time, data, index);
    if (fails) {
      throw std::runtime_error("x");
    }
  }
  void update(unsigned long) override { ADD_FAILURE() << "the wrong update"; }
  std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override { return {}; }

  using Call = std::tuple<double, const void*, unsigned long>;
  std::vector<Call> calls;
  bool fails = false;

 private:
  int* destroyed_;
};

class VariableArgumentsTest : public ::testing::Test {
 protected:
  using Call = NotingAccessor::Call;
  std::unique_ptr<NotingAccessor> makeAccessor() {
    return std::make_unique<NotingAccessor>(*descriptor_, interval_, destroyed_);
  }

  smartlog::LoggingInterval interval_;
  std::unique_ptr<SignalDescriptor> descriptor_ = makeDescriptor(makeLeaf());
  int destroyed_ = 0;
  std::unique_ptr<NotingAccessor> accessor_ = makeAccessor();
  Accessor* raw_ = accessor_.get();
  double value_ = 1.0;
  const void* data_ = &value_;
};

TEST_F(VariableArgumentsTest, zetUpdateGoesThroughTheVirtualUpdate) {
  void* cell = raw_;
  zetVtioUpdateAccessor(&cell, 0xffffffff, 2.5, data_);
  EXPECT_THAT(accessor_->calls, ElementsAre(Call(2.5, data_, 0xfffffffful)));
}

TEST_F(VariableArgumentsTest, threeArgumentsMeanIndexZero) {
  EXPECT_EQ(callWithArguments(rt_VtioAccessorUpdate, 1, 3, raw_, 0.5, data_, 7), nullptr);
  EXPECT_THAT(accessor_->calls, ElementsAre(Call(0.5, data_, 0)));
}

TEST_F(VariableArgumentsTest, theFourthArgumentIsTheIndex) {
  EXPECT_EQ(callWithArguments(rt_VtioAccessorUpdate, 1, 4, raw_, 0.5, data_, 7), nullptr);
  EXPECT_EQ(callWithArguments(rt_VtioAccessorUpdate, 1, 5, raw_, 1.5, data_, 8, 9), nullptr);
  EXPECT_THAT(accessor_->calls, ElementsAre(Call(0.5, data_, 7), Call(1.5, data_, 8)));
}

TEST_F(VariableArgumentsTest, theIndexIsSignExtended) {
  callWithArguments(rt_VtioAccessorUpdate, 1, 4, raw_, 0.5, data_, -2);
  EXPECT_THAT(accessor_->calls, ElementsAre(Call(0.5, data_, std::numeric_limits<unsigned long>::max() - 1)));
}

TEST_F(VariableArgumentsTest, fewOrNegativeArgumentCountsMeanIndexZero) {
  callWithArguments(rt_VtioAccessorUpdate, 1, 0, raw_, 0.5, data_, 7);
  callWithArguments(rt_VtioAccessorUpdate, 1, -4, raw_, 1.5, data_, 7);
  EXPECT_THAT(accessor_->calls, ElementsAre(Call(0.5, data_, 0), Call(1.5, data_, 0)));
}

TEST_F(VariableArgumentsTest, updateWithNullDataIsSkipped) {
  const void* none = nullptr;
  EXPECT_EQ(callWithArguments(rt_VtioAccessorUpdate, 1, 4, raw_, 0.5, none, 7), nullptr);
  EXPECT_THAT(accessor_->calls, IsEmpty());
}

TEST_F(VariableArgumentsTest, otherModesReadNothing) {
  for (const int mode : {0, 2, -1}) {
    EXPECT_EQ(rt_VtioAccessorUpdate(mode, 4, nullptr), nullptr);
    EXPECT_EQ(rt_VtioAccessorRelease(mode, 1, nullptr), nullptr);
  }
  callWithArguments(rt_VtioAccessorUpdate, 0, 4, raw_, 0.5, data_, 7);
  EXPECT_THAT(accessor_->calls, IsEmpty());
  callWithArguments(rt_VtioAccessorRelease, 0, 1, raw_);
  EXPECT_EQ(destroyed_, 0);
}

TEST_F(VariableArgumentsTest, updateLetsExceptionsPass) {
  accessor_->fails = true;
  EXPECT_THROW(callWithArguments(rt_VtioAccessorUpdate, 1, 3, raw_, 0.5, data_), std::runtime_error);
}

TEST_F(VariableArgumentsTest, releaseDestroysTheAccessorWhateverTheCount) {
  for (const int count : {1, 0, -1, 9}) {
    destroyed_ = 0;
    Accessor* released = makeAccessor().release();
    EXPECT_EQ(callWithArguments(rt_VtioAccessorRelease, 1, count, released), nullptr);
    EXPECT_EQ(destroyed_, 1) << count;
  }
}

TEST_F(VariableArgumentsTest, releaseOfNullIsHarmless) {
  Accessor* none = nullptr;
  EXPECT_EQ(callWithArguments(rt_VtioAccessorRelease, 1, 1, none), nullptr);
}

TEST_F(VariableArgumentsTest, destructDestroysWhatIsInTheCell) {
  void** handle = zetGetAccessor(descriptor_.get(), &interval_);
  delete static_cast<Accessor*>(*handle);
  *handle = static_cast<Accessor*>(makeAccessor().release());
  zetDestructAccessorPointer(handle);
  EXPECT_EQ(destroyed_, 1);
}

TEST_F(VariableArgumentsTest, destructOfAnEmptyCellFreesTheCell) {
  void** handle = zetGetAccessor(descriptor_.get(), &interval_);
  auto* taken = static_cast<Accessor*>(std::exchange(*handle, nullptr));
  zetDestructAccessorPointer(handle);
  EXPECT_EQ(callWithArguments(rt_VtioAccessorRelease, 1, 1, taken), nullptr);
  EXPECT_EQ(destroyed_, 0);
}

TEST_F(VariableArgumentsTest, destructOfNullIsHarmless) { EXPECT_NO_THROW(zetDestructAccessorPointer(nullptr)); }

TEST(LogRootOutportTest, onlyExactlyOnMeansOn) {
  Catalogue catalogue;
  EXPECT_FALSE(zetLogRootOutport(&catalogue)) << "never set";
  for (const std::u16string text : {u"On", u"ON", u"on ", u" on", u"", u"off", u"o", u"onn"}) {
    catalogue.settings(Catalogue::OutputLogging, text);
    EXPECT_FALSE(zetLogRootOutport(&catalogue));
  }
  catalogue.settings(Catalogue::OutputLogging, std::u16string(u"on\0", 3));
  EXPECT_FALSE(zetLogRootOutport(&catalogue)) << "no terminator counted";
  catalogue.settings(Catalogue::OutputLogging, u"on");
  EXPECT_TRUE(zetLogRootOutport(&catalogue));
}

TEST(LogRootOutportTest, readsNoOtherSwitch) {
  Catalogue catalogue;
  for (int key = 0; key <= 8; ++key) {
    catalogue.settings(static_cast<Catalogue::SettingKeys>(key), key == 6 ? u"off" : u"on");
  }
  EXPECT_FALSE(zetLogRootOutport(&catalogue));
}

}  // namespace
}  // namespace vtio::testing
