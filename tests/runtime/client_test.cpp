// Tests of what every client has in common.

#include "vtio/core/client/client.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <type_traits>

#include "tests/runtime/recording_client.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"

namespace vtio::testing {
namespace {

using core::client::Client;
using core::utils::InportOutportSignalDescriptor;
using ::testing::ElementsAre;

static_assert(std::is_abstract_v<Client>);
static_assert(std::has_virtual_destructor_v<Client>);
static_assert(std::is_same_v<std::underlying_type_t<Client::clientType>, unsigned>);

class PlainClient : public Client {
 public:
  using Client::Client;
  void update(const double*, const void*) override {}
  void update(unsigned long, const double*, const void*) override {}
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(); }
};

class ClientTest : public ::testing::Test {
 protected:
  std::unique_ptr<core::utils::SignalDescriptor> descriptor_ = makeDescriptor(makeLeaf());
};

TEST_F(ClientTest, startsUnnumberedAndAlone) {
  const PlainClient client(Client::OutportLogging, *descriptor_);
  EXPECT_EQ(client.type(), Client::OutportLogging);
  EXPECT_EQ(client.id(), 0u);
  EXPECT_EQ(&client.signalDescriptor(), descriptor_.get());
  EXPECT_TRUE(client.foreachMembers().empty());
  EXPECT_EQ(client.creationSequenceNumber(), 0u);
}

TEST_F(ClientTest, theFlagChangesNothingElse) {
  const PlainClient client(Client::IntrusiveAccessor, *descriptor_, true);
  EXPECT_EQ(client.type(), Client::IntrusiveAccessor);
  EXPECT_EQ(client.id(), 0u);
  EXPECT_EQ(&client.signalDescriptor(), descriptor_.get());
  EXPECT_EQ(client.creationSequenceNumber(), 0u);
}

TEST_F(ClientTest, typeNumbersAreFixed) {
  EXPECT_EQ(static_cast<unsigned>(Client::SignalLogging), 0u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved1), 1u);
  EXPECT_EQ(static_cast<unsigned>(Client::OutportLogging), 2u);
  EXPECT_EQ(static_cast<unsigned>(Client::Other), 3u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved4), 4u);
  EXPECT_EQ(static_cast<unsigned>(Client::Sigstream), 5u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved6), 6u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved7), 7u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved8), 8u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved9), 9u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved10), 10u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved11), 11u);
  EXPECT_EQ(static_cast<unsigned>(Client::IntrusiveAccessor), 12u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved13), 13u);
  EXPECT_EQ(static_cast<unsigned>(Client::Reserved14), 14u);
}

TEST_F(ClientTest, hostTypeNumbersCountFromOne) {
  for (unsigned n = 1; n <= 15; ++n) {
    EXPECT_EQ(static_cast<unsigned>(Client::getClientType(n)), n - 1) << n;
  }
}

TEST_F(ClientTest, unknownHostTypeNumbersAreOther) {
  for (const unsigned n : {0u, 16u, 17u, 0x80000000u, std::numeric_limits<unsigned>::max()}) {
    EXPECT_EQ(Client::getClientType(n), Client::Other) << n;
  }
}

TEST_F(ClientTest, theCreationSequenceNumberIsWrittenOnce) {
  PlainClient client(Client::Other, *descriptor_);
  client.creationSequenceNumber(5);
  client.creationSequenceNumber(9);
  client.creationSequenceNumber(0);
  EXPECT_EQ(client.creationSequenceNumber(), 5u);
}

TEST_F(ClientTest, writingZeroLeavesTheCreationSequenceNumberOpen) {
  PlainClient client(Client::Other, *descriptor_);
  client.creationSequenceNumber(0);
  EXPECT_EQ(client.creationSequenceNumber(), 0u);
  client.creationSequenceNumber(3);
  EXPECT_EQ(client.creationSequenceNumber(), 3u);
}

TEST_F(ClientTest, foreachMembersKeepInsertionOrderWithoutAnyCheck) {
  PlainClient leader(Client::Other, *descriptor_);
  PlainClient member(Client::Other, *descriptor_);
  leader.addForeachMember(&member);
  leader.addForeachMember(&leader);
  leader.addForeachMember(&member);
  EXPECT_THAT(leader.foreachMembers(), ElementsAre(&member, &leader, &member));
  EXPECT_TRUE(member.foreachMembers().empty());
}

TEST_F(ClientTest, foreachMembersAreNotDestroyedWithTheirLeader) {
  int destroyed = 0;
  RecordingClient member(*descriptor_);
  member.onDestruction = [&destroyed] { ++destroyed; };
  {
    PlainClient leader(Client::Other, *descriptor_);
    leader.addForeachMember(&member);
  }
  EXPECT_EQ(destroyed, 0);
}

TEST_F(ClientTest, hasNoSnapshotInterfaceUnlessItsClassOffersOne) {
  PlainClient client(Client::Other, *descriptor_);
  EXPECT_EQ(client.getSnapshotInterface(), nullptr);
}

TEST_F(ClientTest, ordersByDescriptor) {
  const auto second = makeDescriptor(makeLeaf(), {.port = 1});
  PlainClient a(Client::Other, *descriptor_);
  PlainClient b(Client::Other, *second);
  a.creationSequenceNumber(2);  // the descriptors decide, not the numbers
  b.creationSequenceNumber(1);
  EXPECT_TRUE(Client::lessThan(&a, &b));
  EXPECT_FALSE(Client::lessThan(&b, &a));
}

TEST_F(ClientTest, ordersByTheVirtualOrderOfThePortDescriptors) {
  const vtu::FullBlkPathToTopMdl early = makePath({u"a"});
  const vtu::FullBlkPathToTopMdl late = makePath({u"b"});
  const std::vector<unsigned long> none;
  const std::vector<int> noIndices;
  const InportOutportSignalDescriptor second(0, makeLeaf(), 1, 0, 1, u"x", u"", early, 0, none, noIndices, 2);
  const InportOutportSignalDescriptor first(1, makeLeaf(), 1, 0, 1, u"x", u"", late, 0, none, noIndices, 1);
  PlainClient a(Client::Other, first);
  PlainClient b(Client::Other, second);
  EXPECT_TRUE(Client::lessThan(&a, &b));
  EXPECT_FALSE(Client::lessThan(&b, &a));
}

TEST_F(ClientTest, breaksTiesByCreationSequenceNumber) {
  const auto twin = makeDescriptor(makeLeaf());
  PlainClient a(Client::Other, *descriptor_);
  PlainClient b(Client::Other, *twin);
  EXPECT_FALSE(Client::lessThan(&a, &b)) << "both numbers are 0";
  EXPECT_FALSE(Client::lessThan(&b, &a));
  a.creationSequenceNumber(0x8000000000000000ul);  // unsigned: large, not negative
  b.creationSequenceNumber(1);
  EXPECT_FALSE(Client::lessThan(&a, &b));
  EXPECT_TRUE(Client::lessThan(&b, &a));
}

TEST_F(ClientTest, isNeverLessThanItself) {
  PlainClient client(Client::Other, *descriptor_);
  EXPECT_FALSE(Client::lessThan(&client, &client));
}

TEST_F(ClientTest, clientsOfTheVerySameDescriptorAreUnordered) {
  PlainClient a(Client::Other, *descriptor_);
  PlainClient b(Client::Other, *descriptor_);
  a.creationSequenceNumber(1);
  b.creationSequenceNumber(2);
  EXPECT_FALSE(Client::lessThan(&a, &b));
  EXPECT_FALSE(Client::lessThan(&b, &a));
}

}  // namespace
}  // namespace vtio::testing
