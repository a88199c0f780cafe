#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"

#include <type_traits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "tests/utils/test_nodes.hpp"

namespace vtio::core::utils {
namespace {

using Descriptor = InportOutportSignalDescriptor;
using test::DescriptorArguments;
using test::makeDescriptor;
using test::makeInport;
using test::makePath;
using test::makePort;

static_assert(std::is_base_of_v<SignalDescriptor, Descriptor>);
static_assert(sizeof(enum Descriptor::portType) == 4);
static_assert(Descriptor::inport == 0);
static_assert(Descriptor::outport == 1);

DescriptorArguments arguments(const ustring& name, const ustring& block = u"block", unsigned long port = 0) {
  DescriptorArguments a;
  a.signalName = name;
  a.blockPath = makePath({u"model", block});
  a.connectedPortIndex = port;
  return a;
}

void expectArguments(const Descriptor& descriptor) {
  EXPECT_EQ(descriptor.numberOfInputPorts(), 3U);
  EXPECT_EQ(descriptor.maxPoints(), 1000U);
  EXPECT_EQ(descriptor.decimation(), 5U);
  EXPECT_EQ(descriptor.signalName(), u"signal");
  EXPECT_EQ(descriptor.propagatedName(), u"propagated");
  EXPECT_EQ(test::elementsOf(descriptor.blockPath()), (std::vector<ustring>{u"top", u"a b"}));
  EXPECT_EQ(descriptor.blockPath().subPath(), u"sub");
  EXPECT_EQ(descriptor.connectedPortIndex(), 7U);
  EXPECT_EQ(descriptor.foreachDimensions(), (std::vector<unsigned long>{2, 3}));
  EXPECT_EQ(descriptor.foreachIterationIdx(), 5U);
  EXPECT_EQ(descriptor.signalType(), leafSignal);
}

DescriptorArguments unusualArguments() {
  DescriptorArguments a;
  a.catalogueIndex = 41;
  a.numberOfInputPorts = 3;
  a.maxPoints = 1000;
  a.decimation = 5;
  a.propagatedName = u"propagated";
  a.blockPath = makePath({u"top", u"a\nb"}, u"sub");
  a.connectedPortIndex = 7;
  a.foreachDimensions = {2, 3};
  a.foreachIterationIndices = {1, 2};
  return a;
}

TEST(InportOutportSignalDescriptor, madeWithAPortKind) {
  for (const auto kind : {Descriptor::inport, Descriptor::outport}) {
    const auto descriptor = makePort(unusualArguments(), kind);
    expectArguments(*descriptor);
    EXPECT_EQ(descriptor->portType(), kind);
    EXPECT_EQ(descriptor->inportOrder(), 0U);
  }
}

TEST(InportOutportSignalDescriptor, madeWithAnInportOrder) {
  const auto descriptor = makeInport(unusualArguments(), 12);
  expectArguments(*descriptor);
  EXPECT_EQ(descriptor->portType(), Descriptor::inport);
  EXPECT_EQ(descriptor->inportOrder(), 12U);
  EXPECT_EQ(static_cast<const SignalDescriptor&>(*descriptor).inportOrder(), 12U);
}

TEST(InportOutportSignalDescriptor, inportOrderComesBeforeEverything) {
  const auto second = makeInport(arguments(u"a", u"a"), 2);
  const auto first = makeInport(arguments(u"z", u"z", 9), 1);
  EXPECT_EQ(*first < *second, 1);
  EXPECT_EQ(*second < *first, -1);
}

TEST(InportOutportSignalDescriptor, anObjectComesAfterItself) {
  const auto descriptor = makeInport(arguments(u"a"), 2);
  EXPECT_EQ(*descriptor < *descriptor, -1);
  const SignalDescriptor& base = *descriptor;
  EXPECT_EQ(base < base, -1);
}

TEST(InportOutportSignalDescriptor, equalOrdersGoOnWithTheOtherKeys) {
  for (const unsigned long order : {0UL, 3UL}) {
    EXPECT_EQ(*makeInport(arguments(u"z", u"a", 9), order) < *makeInport(arguments(u"a", u"b"), order), 1);
    EXPECT_EQ(*makeInport(arguments(u"a", u"b"), order) < *makeInport(arguments(u"z", u"a", 9), order), -1);
    EXPECT_EQ(*makeInport(arguments(u"a", u"b", 9), order) < *makeInport(arguments(u"b", u"b"), order), 1);
    EXPECT_EQ(*makeInport(arguments(u"b", u"b"), order) < *makeInport(arguments(u"a", u"b", 9), order), -1);
    EXPECT_EQ(*makeInport(arguments(u"a", u"b", 1), order) < *makeInport(arguments(u"a", u"b", 2), order), 1);
    EXPECT_EQ(*makeInport(arguments(u"a", u"b", 2), order) < *makeInport(arguments(u"a", u"b", 1), order), -1);
    EXPECT_EQ(*makeInport(arguments(u"a"), order) < *makeInport(arguments(u"a"), order), 0);
  }
}

TEST(InportOutportSignalDescriptor, portKindTakesNoPart) {
  const auto outport = makePort(arguments(u"a"), Descriptor::outport);
  const auto inport = makeInport(arguments(u"a"), 0);
  EXPECT_EQ(*outport < *inport, 0);
  EXPECT_EQ(*inport < *outport, 0);
  EXPECT_TRUE(*outport == *inport);
  EXPECT_EQ(*makeInport(arguments(u"a", u"x"), 0) < *makePort(arguments(u"a", u"y"), Descriptor::outport), 1);
  EXPECT_EQ(*makePort(arguments(u"z"), Descriptor::outport) < *makeInport(arguments(u"a"), 1), 1);
}

TEST(InportOutportSignalDescriptor, aPlainDescriptorCountsAsInportOrderZero) {
  const auto plain = makeDescriptor(arguments(u"z", u"z"));
  const auto inport = makeInport(arguments(u"a", u"a"), 1);
  EXPECT_EQ(*inport < *plain, -1);
  EXPECT_EQ(*makeInport(arguments(u"a", u"a"), 0) < *plain, 1);
  // The base class does not compare inport orders but paths, so that each comes after the other.
  EXPECT_EQ(*plain < *inport, -1);
  EXPECT_EQ(*makeDescriptor(arguments(u"a", u"a")) < *inport, 0);
}

TEST(InportOutportSignalDescriptor, inportOrderTakesNoPartInEquality) {
  EXPECT_TRUE(*makeInport(arguments(u"a"), 1) == *makeInport(arguments(u"a"), 2));
  EXPECT_TRUE(*makeInport(arguments(u"a"), 1) == *makeDescriptor(arguments(u"a")));
  EXPECT_FALSE(*makeInport(arguments(u"a"), 1) == *makeInport(arguments(u"b"), 1));
}

TEST(InportOutportSignalDescriptor, copyIsAPlainDescriptor) {
  const auto inport = makeInport(unusualArguments(), 12);
  const auto copy = inport->getCopy();
  ASSERT_EQ(test::typeOf(*copy), typeid(SignalDescriptor));
  EXPECT_EQ(copy->inportOrder(), 0U);
  EXPECT_EQ(copy->signalName(), u"signal");
  EXPECT_EQ(copy->foreachIterationIdx(), 5U);
  EXPECT_TRUE(*copy == *inport);
  // The copy orders by the keys of a plain descriptor.
  const auto later = makeInport(arguments(u"z", u"z"), 13);
  EXPECT_EQ(*inport < *later, 1);
  EXPECT_EQ(*later < *copy, -1);
  EXPECT_EQ(*copy < *inport, 0);
  EXPECT_EQ(*inport < *copy, -1);
}

}  // namespace
}  // namespace vtio::core::utils
