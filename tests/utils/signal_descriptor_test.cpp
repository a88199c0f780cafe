#include "vtio/core/utils/signal_descriptor.hpp"

#include <limits>
#include <random>
#include <type_traits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "platform/logging_selection.hpp"
#include "tests/utils/test_nodes.hpp"
#include "vtio/core/utils/top_bus_node.hpp"

namespace vtio::core::utils {
namespace {

using test::DescriptorArguments;
using test::elementsOf;
using test::makeDescriptor;
using test::makeLeaf;
using test::makePath;
using Elements = std::vector<ustring>;

static_assert(std::has_virtual_destructor_v<SignalDescriptor>);
static_assert(
    std::is_signed_v<decltype(std::declval<const SignalDescriptor&>() < std::declval<const SignalDescriptor&>())>);
static_assert(
    !std::is_same_v<decltype(std::declval<const SignalDescriptor&>() < std::declval<const SignalDescriptor&>()), bool>);
static_assert(std::is_same_v<decltype(std::declval<const SignalDescriptor&>().inportOrder()), unsigned long>);

constexpr unsigned long kLargestCount = std::numeric_limits<unsigned long>::max();

DescriptorArguments unusualArguments() {
  DescriptorArguments a;
  a.catalogueIndex = 41;
  a.numberOfInputPorts = 3;
  a.maxPoints = 1000;
  a.decimation = 5;
  a.signalName = u"signal";
  a.propagatedName = u"propagated";
  a.blockPath = makePath({u"top", u"sub\nsystem"}, u"sub\npath", 9);
  a.connectedPortIndex = 7;
  a.foreachDimensions = {2, 3};
  a.foreachIterationIndices = {1, 2};
  return a;
}

TEST(SignalDescriptor, keepsItsValues) {
  auto leaf = makeLeaf();
  const Node* root = leaf.get();
  const auto descriptor = makeDescriptor(unusualArguments(), std::move(leaf));
  EXPECT_EQ(descriptor->root(), root);
  EXPECT_EQ(descriptor->numberOfInputPorts(), 3U);
  EXPECT_EQ(descriptor->maxPoints(), 1000U);
  EXPECT_EQ(descriptor->decimation(), 5U);
  EXPECT_EQ(descriptor->signalName(), u"signal");
  EXPECT_EQ(descriptor->propagatedName(), u"propagated");
  EXPECT_EQ(descriptor->connectedPortIndex(), 7U);
  EXPECT_EQ(descriptor->foreachDimensions(), (std::vector<unsigned long>{2, 3}));
  EXPECT_TRUE(descriptor->hasForeachIterationIdx());
  EXPECT_EQ(descriptor->foreachIterationIdx(), 5U);
  EXPECT_EQ(descriptor->inportOrder(), 0U);
}

TEST(SignalDescriptor, keepsTheWholeRangeOfItsCounts) {
  DescriptorArguments a;
  a.numberOfInputPorts = kLargestCount;
  a.maxPoints = kLargestCount - 1;
  a.decimation = kLargestCount - 2;
  a.connectedPortIndex = kLargestCount - 3;
  const auto descriptor = makeDescriptor(a);
  EXPECT_EQ(descriptor->numberOfInputPorts(), kLargestCount);
  EXPECT_EQ(descriptor->maxPoints(), kLargestCount - 1);
  EXPECT_EQ(descriptor->decimation(), kLargestCount - 2);
  EXPECT_EQ(descriptor->connectedPortIndex(), kLargestCount - 3);
}

TEST(SignalDescriptor, ownsItsTree) {
  test::Obituary obituary;
  auto descriptor = makeDescriptor({}, std::make_unique<test::ProbeNode>(u"root", obituary));
  EXPECT_TRUE(obituary.empty());
  descriptor.reset();
  EXPECT_EQ(obituary, test::Obituary{u"root"});
}

TEST(SignalDescriptor, signalTypeIsThatOfTheRoot) {
  EXPECT_EQ(makeDescriptor({})->signalType(), leafSignal);
  EXPECT_EQ(makeDescriptor({}, std::make_unique<TopBusNode>(-1, u"top", 0))->signalType(), virtualBus);
  EXPECT_EQ(makeDescriptor({}, test::makeNVBus(u"n", {1}, {u"x"}))->signalType(), nonVirtualBus);
  EXPECT_EQ(makeDescriptor({}, test::makeNVBus(u"n", {2}, {u"x"}))->signalType(), arrayOfNonVirtualBuses);
  EXPECT_EQ(makeDescriptor({}, std::make_unique<Node>(u"plain"))->signalType(), unspecified);
}

TEST(SignalDescriptor, lineFeedsInTheBlockPathBecomeSpaces) {
  DescriptorArguments a;
  a.blockPath = makePath({u"x\ny\nz", u"plain", u"\n", u"", u"tab\tand\rreturn", u"\n\na"}, u"sub", 3);
  const auto descriptor = makeDescriptor(a);
  EXPECT_EQ(elementsOf(descriptor->blockPath()),
            (Elements{u"x y z", u"plain", u" ", u"", u"tab\tand\rreturn", u"  a"}));
  EXPECT_EQ(descriptor->blockPath().subPath(), u"sub");
  EXPECT_EQ(descriptor->blockPath().subPathType(), 3);
  EXPECT_EQ(elementsOf(a.blockPath)[0], u"x\ny\nz");  // the caller's path is copied
}

TEST(SignalDescriptor, anElementWithoutLineFeedKeepsItsIdentity) {
  DescriptorArguments a;
  const vtu::InternedUstring element(u"kept as it is");
  a.blockPath = vtu::FullBlkPathToTopMdl();
  a.blockPath.append(element);
  a.blockPath.append(vtu::InternedUstring(u"kept as\nit is"));
  const auto descriptor = makeDescriptor(a);
  EXPECT_TRUE(descriptor->blockPath().element(0) == element);
  EXPECT_EQ(descriptor->blockPath().element(0).c_str(), element.c_str());
  EXPECT_TRUE(descriptor->blockPath().element(1) == element);
}

TEST(SignalDescriptor, lineFeedsInNamesAndTheStringMemberStay) {
  DescriptorArguments a;
  a.signalName = u"a\nb";
  a.propagatedName = u"c\nd";
  a.blockPath = makePath({u"m"}, u"e\nf");
  const auto descriptor = makeDescriptor(a);
  EXPECT_EQ(descriptor->signalName(), u"a\nb");
  EXPECT_EQ(descriptor->propagatedName(), u"c\nd");
  EXPECT_EQ(descriptor->blockPath().subPath(), u"e\nf");
}

TEST(SignalDescriptor, iteratorsStartAtTheRoot) {
  auto bus = std::make_unique<TopBusNode>(-1, u"top", 2);
  bus->addChild(makeLeaf(u"a"));
  bus->addChild(test::makeNVBus(u"N", {2}, {u"x"}));
  const auto descriptor = makeDescriptor({}, std::move(bus));
  EXPECT_EQ(test::leafNames(descriptor->leafIterator()), (Elements{u"a", u"x"}));
  EXPECT_EQ(test::walk(descriptor->leafNVBusIterator(), 2), (Elements{u"a", u"N"}));
}

struct ForeachCase {
  std::vector<unsigned long> dimensions;
  std::vector<int> indices;
  unsigned long linear;
};

TEST(SignalDescriptor, foreachIterationIsLinear) {
  const std::vector<ForeachCase> cases = {{{4}, {3}, 3},
                                          {{2, 3}, {1, 2}, 5},
                                          {{2, 3, 4}, {1, 2, 3}, 23},
                                          {{2, 3}, {0, 0}, 0},
                                          {{2, 3}, {1, 0}, 3},
                                          {{3, 2}, {1, 0}, 2},
                                          {{5, 1}, {4, 0}, 4},
                                          {{4}, {-1}, kLargestCount},
                                          {{2, 3}, {-1, 0}, 0UL - 3},
                                          {{2, 3}, {-1, 1}, 0UL - 2},
                                          {{9, 1UL << 40}, {3, 5}, (3UL << 40) + 5}};
  for (const ForeachCase& c : cases) {
    DescriptorArguments a;
    a.foreachDimensions = c.dimensions;
    a.foreachIterationIndices = c.indices;
    const auto descriptor = makeDescriptor(a);
    EXPECT_EQ(descriptor->foreachIterationIdx(), c.linear) << ::testing::PrintToString(c.indices);
    EXPECT_TRUE(descriptor->hasForeachIterationIdx());
    EXPECT_EQ(descriptor->foreachDimensions(), c.dimensions);
  }
}

TEST(SignalDescriptor, foreachWithoutIndices) {
  DescriptorArguments a;
  a.foreachDimensions = {2, 3};
  const auto descriptor = makeDescriptor(a);
  EXPECT_FALSE(descriptor->hasForeachIterationIdx());
  EXPECT_EQ(descriptor->foreachIterationIdx(), 0U);
  EXPECT_EQ(descriptor->foreachDimensions(), (std::vector<unsigned long>{2, 3}));
}

TEST(SignalDescriptor, foreachWithoutDimensionsWaitsForThem) {
  DescriptorArguments a;
  a.foreachIterationIndices = {1, 2};
  const auto descriptor = makeDescriptor(a);
  EXPECT_TRUE(descriptor->hasForeachIterationIdx());
  EXPECT_TRUE(descriptor->foreachDimensions().empty());
  EXPECT_EQ(descriptor->foreachIterationIdx(), 0U);
  descriptor->foreachDimensions({2, 3});
  EXPECT_EQ(descriptor->foreachIterationIdx(), 5U);
}

TEST(SignalDescriptor, foreachDimensionsAreReplaced) {
  DescriptorArguments a;
  a.foreachDimensions = {2, 3};
  a.foreachIterationIndices = {1, 2};
  const auto descriptor = makeDescriptor(a);
  descriptor->foreachDimensions({2, 10});
  EXPECT_EQ(descriptor->foreachDimensions(), (std::vector<unsigned long>{2, 10}));
  EXPECT_EQ(descriptor->foreachIterationIdx(), 12U);
  descriptor->foreachDimensions(std::as_const(*descriptor).foreachDimensions());
  EXPECT_EQ(descriptor->foreachDimensions(), (std::vector<unsigned long>{2, 10}));
  EXPECT_EQ(descriptor->foreachIterationIdx(), 12U);
}

/// Runs the loops one in another and expects iteration number n in the n-th pass of the innermost body.
void runLoops(const std::vector<unsigned long>& dimensions, std::vector<int>& indices, unsigned long& pass) {
  if (indices.size() == dimensions.size()) {
    DescriptorArguments a;
    a.foreachDimensions = dimensions;
    a.foreachIterationIndices = indices;
    ASSERT_EQ(makeDescriptor(a)->foreachIterationIdx(), pass) << ::testing::PrintToString(indices);
    ++pass;
    return;
  }
  const unsigned long count = dimensions[indices.size()];
  for (unsigned long i = 0; i < count; ++i) {
    indices.push_back(static_cast<int>(i));
    runLoops(dimensions, indices, pass);
    indices.pop_back();
  }
}

TEST(SignalDescriptor, foreachIterationCountsTheInnermostPassesOfNestedLoops) {
  std::mt19937 random(20260103);
  for (int round = 0; round < 40; ++round) {
    std::vector<unsigned long> dimensions(1 + random() % 4);
    unsigned long passes = 1;
    for (unsigned long& dimension : dimensions) {
      dimension = 1 + random() % 4;
      passes *= dimension;
    }
    std::vector<int> indices;
    unsigned long pass = 0;
    runLoops(dimensions, indices, pass);
    ASSERT_EQ(pass, passes);
  }
}

TEST(SignalDescriptor, overrideSignalRewritesLimitsAlways) {
  DescriptorArguments a;
  a.decimation = 5;
  a.maxPoints = 100;
  const auto descriptor = makeDescriptor(a);
  sigstg::LoggingInfo info;
  info.setDecimation(8);
  info.setMaxPoints(200);
  info.setCustomSignalName(u"custom");
  descriptor->overrideSignal(info);  // all three switches are off
  EXPECT_EQ(descriptor->decimation(), 1U);
  EXPECT_EQ(descriptor->maxPoints(), 0U);
  EXPECT_EQ(descriptor->signalName(), u"signal");
}

TEST(SignalDescriptor, overrideSignalTakesWhatIsSwitchedOn) {
  for (int switches = 0; switches < 8; ++switches) {
    DescriptorArguments a;
    a.decimation = 5;
    a.maxPoints = 100;
    a.propagatedName = u"propagated";
    const auto descriptor = makeDescriptor(a);
    sigstg::LoggingInfo info;
    info.setUseCustomSignalName((switches & 1) != 0);
    info.setCustomSignalName(u"custom");
    info.setDecimateData((switches & 2) != 0);
    info.setDecimation(8);
    info.setLimitDataPoints((switches & 4) != 0);
    info.setMaxPoints(200);
    descriptor->overrideSignal(info);
    EXPECT_EQ(descriptor->signalName(), (switches & 1) != 0 ? u"custom" : u"signal");
    EXPECT_EQ(descriptor->decimation(), (switches & 2) != 0 ? 8U : 1U);
    EXPECT_EQ(descriptor->maxPoints(), (switches & 4) != 0 ? 200U : 0U);
    EXPECT_EQ(descriptor->propagatedName(), u"propagated");
  }
}

TEST(SignalDescriptor, overrideSignalTakesAnEmptyName) {
  const auto descriptor = makeDescriptor({});
  sigstg::LoggingInfo info;
  info.setUseCustomSignalName(true);
  descriptor->overrideSignal(info);
  EXPECT_EQ(descriptor->signalName(), u"");
}

TEST(SignalDescriptor, copyHasEveryValueAndATreeOfItsOwn) {
  auto bus = std::make_unique<TopBusNode>(-1, u"top", 1);
  bus->addChild(makeLeaf(u"a"));
  const auto descriptor = makeDescriptor(unusualArguments(), std::move(bus));
  sigstg::LoggingInfo info;
  info.setDecimateData(true);
  info.setDecimation(8);
  descriptor->overrideSignal(info);
  descriptor->foreachDimensions({2, 10});
  const auto copy = descriptor->getCopy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(test::typeOf(*copy), typeid(SignalDescriptor));
  EXPECT_NE(copy->root(), descriptor->root());
  EXPECT_EQ(test::typeOf(*copy->root()), typeid(TopBusNode));
  EXPECT_EQ(test::leafNames(copy->leafIterator()), Elements{u"a"});
  EXPECT_EQ(copy->signalType(), virtualBus);
  EXPECT_EQ(copy->numberOfInputPorts(), 3U);
  EXPECT_EQ(copy->maxPoints(), 0U);
  EXPECT_EQ(copy->decimation(), 8U);
  EXPECT_EQ(copy->signalName(), u"signal");
  EXPECT_EQ(copy->propagatedName(), u"propagated");
  EXPECT_EQ(elementsOf(copy->blockPath()), (Elements{u"top", u"sub system"}));
  EXPECT_EQ(copy->blockPath().subPath(), u"sub\npath");
  EXPECT_EQ(copy->blockPath().subPathType(), 9);
  EXPECT_EQ(copy->connectedPortIndex(), 7U);
  EXPECT_EQ(copy->foreachDimensions(), (std::vector<unsigned long>{2, 10}));
  EXPECT_TRUE(copy->hasForeachIterationIdx());
  EXPECT_EQ(copy->foreachIterationIdx(), 12U);
  EXPECT_TRUE(*copy == *descriptor);
}

TEST(SignalDescriptor, copyOutlivesTheSource) {
  auto descriptor = makeDescriptor(unusualArguments());
  const auto copy = descriptor->getCopy();
  descriptor.reset();
  EXPECT_EQ(copy->root()->signalName(), u"leaf");
  EXPECT_EQ(copy->signalName(), u"signal");
}

TEST(SignalDescriptor, copyTakesTheTypeOfTheCopiedRoot) {
  // A root bus of another type is a virtual bus in its copy.
  const auto descriptor = makeDescriptor({}, std::make_unique<TopBusNode>(-1, u"top", 0, arrayOfNonVirtualBuses));
  EXPECT_EQ(descriptor->signalType(), arrayOfNonVirtualBuses);
  EXPECT_EQ(descriptor->getCopy()->signalType(), virtualBus);
}

TEST(SignalDescriptor, isBuiltInType) {
  for (const char* name : {"double", "single", "boolean", "logical", "int8", "uint8", "int16", "uint16", "int32",
                           "uint32", "int64", "uint64"}) {
    EXPECT_TRUE(SignalDescriptor::isBuiltInType(name)) << name;
  }
  for (const char* name : {"fixed-point", "scaled-double", "date-time", "string", "action", "fcn_call", "half", "",
                           "Double", "double ", " double", "int", "int24", "float", "char", "bool", "uint8x"}) {
    EXPECT_FALSE(SignalDescriptor::isBuiltInType(name)) << name;
  }
  EXPECT_FALSE(SignalDescriptor::isBuiltInType(std::string("double\0", 7)));
}

TEST(SignalDescriptor, classNameToQxClassID) {
  const std::vector<std::pair<std::string, int>> cases = {
      {"double", 6}, {"single", 7},  {"int8", 8},     {"uint8", 9},       {"int16", 10},        {"uint16", 11},
      {"int32", 12}, {"uint32", 13}, {"int64", 14},   {"uint64", 15},     {"boolean", 3},       {"logical", 3},
      {"string", 3}, {"action", 3},  {"fcn_call", 3}, {"fixed-point", 3}, {"scaled-double", 3}, {"date-time", 3},
      {"half", 3},   {"", 3},        {"Double", 3},   {"int8 ", 3}};
  for (const auto& [name, number] : cases) {
    EXPECT_EQ(static_cast<int>(SignalDescriptor::classNameToQxClassID(name)), number) << name;
  }
}

}  // namespace
}  // namespace vtio::core::utils
