// Descriptors made from named fields.
#include "vtio/core/client/signal_description.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "tests/runtime/recording_client.hpp"
#include "vtio/core/client/catalogue.hpp"

namespace vtio::testing {
namespace {

using core::client::Catalogue;
using core::client::SignalDescription;
using core::utils::InportOutportSignalDescriptor;
using core::utils::SignalDescriptor;
using ::testing::ElementsAre;

// The names that the layers of the core use for the text type.
static_assert(std::is_same_v<core::ustring, vtu::ustring> && std::is_same_v<core::utils::ustring, vtu::ustring> &&
              std::is_same_v<core::accessor::ustring, vtu::ustring> &&
              std::is_same_v<core::client::ustring, vtu::ustring> &&
              std::is_same_v<mdlref_simtarget::ustring, vtu::ustring>);

TEST(SignalDescriptionTest, whatIsNotGivenHasItsDefault) {
  Catalogue catalogue;
  auto root = makeLeaf();
  const auto* leaf = root.get();
  const SignalDescriptor& made = catalogue.createSignalDescriptor({.root = std::move(root)});
  EXPECT_EQ(typeid(made), typeid(SignalDescriptor));
  EXPECT_EQ(made.root(), leaf);
  EXPECT_EQ(made.signalName(), u"");
  EXPECT_EQ(made.propagatedName(), u"");
  EXPECT_EQ(made.blockPath().size(), 0U);
  EXPECT_EQ(made.connectedPortIndex(), 0U);
  EXPECT_EQ(made.decimation(), 1U);
  EXPECT_EQ(made.maxPoints(), 0U);
  EXPECT_EQ(made.numberOfInputPorts(), 1U);
  EXPECT_TRUE(made.foreachDimensions().empty());
  EXPECT_FALSE(made.hasForeachIterationIdx());
}

TEST(SignalDescriptionTest, everyFieldIsPassedOn) {
  Catalogue catalogue;
  const SignalDescriptor& made = catalogue.createSignalDescriptor({.root = makeLeaf(),
                                                                   .name = u"name",
                                                                   .blockPath = {u"top/Model", u"inner/Block"},
                                                                   .port = 3,
                                                                   .decimation = 4,
                                                                   .maxPoints = 5,
                                                                   .propagatedName = u"propagated",
                                                                   .numberOfInputPorts = 6,
                                                                   .foreachDimensions = {2, 3},
                                                                   .foreachIterationIndices = {1, 2}});
  EXPECT_EQ(made.signalName(), u"name");
  ASSERT_EQ(made.blockPath().size(), 2U);
  EXPECT_EQ(std::u16string(made.blockPath().element(0).c_str()), u"top/Model");
  EXPECT_EQ(std::u16string(made.blockPath().element(1).c_str()), u"inner/Block");
  EXPECT_EQ(made.connectedPortIndex(), 3U);
  EXPECT_EQ(made.decimation(), 4U);
  EXPECT_EQ(made.maxPoints(), 5U);
  EXPECT_EQ(made.propagatedName(), u"propagated");
  EXPECT_EQ(made.numberOfInputPorts(), 6U);
  EXPECT_THAT(made.foreachDimensions(), ElementsAre(2U, 3U));
  EXPECT_EQ(made.foreachIterationIdx(), 5U);
}

TEST(SignalDescriptionTest, ports) {
  Catalogue catalogue;
  const auto& in = dynamic_cast<const InportOutportSignalDescriptor&>(catalogue.createSignalDescriptor(
      {.root = makeLeaf(), .kind = SignalDescription::Kind::inport, .inportOrder = 7, .foreachDimensions = {2}}));
  EXPECT_EQ(in.portType(), InportOutportSignalDescriptor::inport);
  EXPECT_EQ(in.inportOrder(), 7U);
  EXPECT_THAT(in.foreachDimensions(), ElementsAre(2U));
  const auto& out = dynamic_cast<const InportOutportSignalDescriptor&>(catalogue.createSignalDescriptor(
      {.root = makeLeaf(), .maxPoints = 9, .kind = SignalDescription::Kind::outport, .inportOrder = 7}));
  EXPECT_EQ(out.portType(), InportOutportSignalDescriptor::outport);
  EXPECT_EQ(out.inportOrder(), 0U);
  EXPECT_EQ(out.maxPoints(), 9U);
}

TEST(SignalDescriptionTest, aVirtualBusHasOneInputPerLeafPosition) {
  Catalogue catalogue;
  EXPECT_EQ(catalogue.createSignalDescriptor({.root = makeTopBus(3)}).numberOfInputPorts(), 3U);
  EXPECT_EQ(catalogue.createSignalDescriptor({.root = makeTopNVBus()}).numberOfInputPorts(), 1U);
}

TEST(SignalDescriptionTest, withoutARootItIsRefusedByName) {
  Catalogue catalogue;
  try {
    catalogue.createSignalDescriptor({.name = u"speed"});
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "The signal 'speed' has no tree: its root is null");
  }
}

}  // namespace
}  // namespace vtio::testing
