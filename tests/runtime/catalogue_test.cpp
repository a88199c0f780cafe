// Tests of the catalogue's registry: descriptors, clients, numbers, snapshot interfaces, ownership.

#include "vtio/core/client/catalogue.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/qalc_support.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/client/shared_resource.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"

namespace vtio::testing {
namespace {

using core::client::Catalogue;
using core::client::Client;
using core::client::SharedResource;
using core::utils::InportOutportSignalDescriptor;
using core::utils::SignalDescriptor;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<Catalogue>);

const SignalDescriptor& createPlain(Catalogue& catalogue, std::unique_ptr<core::utils::Node> root = makeLeaf(),
                                    const std::u16string& name = u"s") {
  return catalogue.createSignalDescriptor(std::move(root), 1ul, 0ul, 1ul, name, u"", makePath({u"m/b"}), 0ul);
}

std::vector<unsigned long> idsOf(const Catalogue& catalogue, const std::u16string& dataset) {
  std::vector<unsigned long> result;
  for (const auto& [id, client] : catalogue.clientCollection(dataset)) {
    EXPECT_EQ(client->id(), id);
    result.push_back(id);
  }
  return result;
}

class CatalogueTest : public ::testing::Test {
 protected:
  // Adds a client and returns it for inspection.
  RecordingClient& add(const std::u16string& dataset, Client::clientType type = Client::SignalLogging) {
    auto client = std::make_unique<RecordingClient>(descriptor_, type);
    RecordingClient& result = *client;
    catalogue_.addClient(std::move(client), dataset);
    return result;
  }

  Catalogue catalogue_;
  const SignalDescriptor& descriptor_ = createPlain(catalogue_);
};

TEST(CatalogueStartTest, startsEmpty) {
  Catalogue catalogue;
  EXPECT_TRUE(catalogue.empty());
  EXPECT_FALSE(catalogue.hasDataset(u""));
  EXPECT_TRUE(catalogue.snapshotInterfaces().empty());
  EXPECT_TRUE(catalogue.disabledLoggingIntervals().timeInLoggingInterval(0.0));
  EXPECT_TRUE(catalogue.disabledLoggingIntervals().timeInLoggingInterval(1e300));
}

TEST(CatalogueStartTest, sequenceNumbersCountFromOne) {
  Catalogue catalogue;
  EXPECT_EQ(catalogue.sequenceNumber(), 1u);
  EXPECT_EQ(catalogue.sequenceNumber(), 2u);
}

// What every overload passes through: the arguments 2, 30, 4, "name", "pro" and 5 in their order.
void expectCommonArguments(const SignalDescriptor& made) {
  EXPECT_EQ(made.numberOfInputPorts(), 2u);
  EXPECT_EQ(made.maxPoints(), 30u);
  EXPECT_EQ(made.decimation(), 4u);
  EXPECT_EQ(made.signalName(), u"name");
  EXPECT_EQ(made.propagatedName(), u"pro");
  EXPECT_EQ(made.connectedPortIndex(), 5u);
}

TEST(CatalogueDescriptorTest, ordinarySignalWithoutForeach) {
  Catalogue catalogue;
  auto root = makeLeaf(u"leaf");
  const core::utils::Node* rootAddress = root.get();
  const SignalDescriptor& made = catalogue.createSignalDescriptor(std::move(root), 2ul, 30ul, 4ul, u"name",
                                                                  u"propagated", makePath({u"top", u"m\nb"}), 5ul);
  EXPECT_EQ(made.root(), rootAddress);
  EXPECT_EQ(made.numberOfInputPorts(), 2u);
  EXPECT_EQ(made.maxPoints(), 30u);
  EXPECT_EQ(made.decimation(), 4u);
  EXPECT_EQ(made.signalName(), u"name");
  EXPECT_EQ(made.propagatedName(), u"propagated");
  EXPECT_THAT(elementsOf(made.blockPath()), ElementsAre(u"top", u"m b"));
  EXPECT_EQ(made.connectedPortIndex(), 5u);
  EXPECT_TRUE(made.foreachDimensions().empty());
  EXPECT_FALSE(made.hasForeachIterationIdx());
  EXPECT_EQ(dynamic_cast<const InportOutportSignalDescriptor*>(&made), nullptr);
}

TEST(CatalogueDescriptorTest, ordinarySignalInsideForeach) {
  Catalogue catalogue;
  const std::vector<unsigned long> dimensions{2, 3};
  const std::vector<int> indices{1, 2};
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const SignalDescriptor& made =
      catalogue.createSignalDescriptor(makeLeaf(), 2ul, 30ul, 4ul, u"name", u"pro", path, 5ul, dimensions, indices);
  EXPECT_EQ(made.numberOfInputPorts(), 2u);
  EXPECT_EQ(made.maxPoints(), 30u);
  EXPECT_EQ(made.decimation(), 4u);
  EXPECT_EQ(made.propagatedName(), u"pro");
  EXPECT_EQ(made.connectedPortIndex(), 5u);
  EXPECT_THAT(made.foreachDimensions(), ElementsAre(2u, 3u));
  EXPECT_EQ(made.foreachIterationIdx(), 5u);
  EXPECT_EQ(dynamic_cast<const InportOutportSignalDescriptor*>(&made), nullptr);
}

TEST(CatalogueDescriptorTest, outportWithoutForeach) {
  Catalogue catalogue;
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const SignalDescriptor& made = catalogue.createSignalDescriptor(
      makeLeaf(), 2ul, InportOutportSignalDescriptor::outport, 30ul, 4ul, u"name", u"pro", path, 5ul);
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&made);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->portType(), InportOutportSignalDescriptor::outport);
  EXPECT_EQ(port->inportOrder(), 0u);
  expectCommonArguments(made);
  EXPECT_TRUE(made.foreachDimensions().empty());
}

TEST(CatalogueDescriptorTest, outportInsideForeach) {
  Catalogue catalogue;
  const std::vector<unsigned long> dimensions{4};
  const std::vector<int> indices{3};
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const SignalDescriptor& made =
      catalogue.createSignalDescriptor(makeLeaf(), 2ul, InportOutportSignalDescriptor::outport, 30ul, 4ul, u"name",
                                       u"pro", path, 5ul, dimensions, indices);
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&made);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->portType(), InportOutportSignalDescriptor::outport);
  EXPECT_EQ(made.maxPoints(), 30u);
  EXPECT_EQ(made.decimation(), 4u);
  EXPECT_THAT(made.foreachDimensions(), ElementsAre(4u));
  EXPECT_EQ(made.foreachIterationIdx(), 3u);
}

TEST(CatalogueDescriptorTest, thePortKindIsPassedThrough) {
  Catalogue catalogue;
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const SignalDescriptor& made = catalogue.createSignalDescriptor(
      makeLeaf(), 1ul, InportOutportSignalDescriptor::inport, 0ul, 1ul, u"name", u"", path, 0ul);
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&made);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->portType(), InportOutportSignalDescriptor::inport);
  EXPECT_EQ(port->inportOrder(), 0u);
}

TEST(CatalogueDescriptorTest, inportWithItsOrder) {
  Catalogue catalogue;
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const SignalDescriptor& made =
      catalogue.createSignalDescriptor(makeLeaf(), 2ul, 30ul, 4ul, u"name", u"pro", path, 5ul, 6ul);
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&made);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->portType(), InportOutportSignalDescriptor::inport);
  EXPECT_EQ(port->inportOrder(), 6u);
  expectCommonArguments(made);
  EXPECT_TRUE(made.foreachDimensions().empty());
}

// An override reaches the catalogue's descriptor with the number of the one that is passed: so numbers can be tested.
TEST(CatalogueDescriptorTest, descriptorsOfEveryKindAreNumberedTogetherFromZero) {
  Catalogue catalogue;
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const std::vector<unsigned long> dimensions{1};
  const std::vector<int> indices{0};
  const auto outport = InportOutportSignalDescriptor::outport;
  const std::vector<const SignalDescriptor*> made{
      &catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 9ul, u"", u"", path, 0ul),
      &catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 9ul, u"", u"", path, 0ul, dimensions, indices),
      &catalogue.createSignalDescriptor(makeLeaf(), 1ul, outport, 0ul, 9ul, u"", u"", path, 0ul),
      &catalogue.createSignalDescriptor(makeLeaf(), 1ul, outport, 0ul, 9ul, u"", u"", path, 0ul, dimensions, indices),
      &catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 9ul, u"", u"", path, 0ul, 1ul)};
  catalogue.setModelLoggingInfo(makeSelection(2).get());
  for (std::size_t number = 0; number < made.size(); ++number) {
    const auto numbered = makeDescriptor(makeLeaf(), {.decimation = 9, .catalogueIndex = number});
    EXPECT_TRUE(catalogue.signalLoggingOverride(*numbered));
    for (std::size_t i = 0; i < made.size(); ++i) {
      EXPECT_EQ(made[i]->decimation(), i <= number ? 1u : 9u) << "descriptor " << i << " after number " << number;
    }
  }
}

TEST_F(CatalogueTest, addClientNumbersTheClient) {
  const RecordingClient& first = add(u"a");
  const RecordingClient& second = add(u"b");
  const RecordingClient& third = add(u"a");
  EXPECT_EQ(first.id(), 1u);
  EXPECT_EQ(first.creationSequenceNumber(), 1u);
  EXPECT_EQ(second.id(), 2u);
  EXPECT_EQ(third.id(), 3u);
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u, 3u));
  EXPECT_THAT(idsOf(catalogue_, u"b"), ElementsAre(2u));
}

TEST_F(CatalogueTest, clientIdsAndSequenceNumbersShareOneCounter) {
  EXPECT_EQ(catalogue_.sequenceNumber(), 1u);
  EXPECT_EQ(add(u"a").id(), 2u);
  EXPECT_EQ(catalogue_.sequenceNumber(), 3u);
}

TEST_F(CatalogueTest, aClientThatHasACreationNumberKeepsIt) {
  auto client = std::make_unique<RecordingClient>(descriptor_);
  client->creationSequenceNumber(42);
  const RecordingClient& added = *client;
  catalogue_.addClient(std::move(client), u"a");
  EXPECT_EQ(added.id(), 1u);
  EXPECT_EQ(added.creationSequenceNumber(), 42u);
}

TEST_F(CatalogueTest, addClientRegistersTheDataset) {
  EXPECT_FALSE(catalogue_.hasDataset(u"a"));
  add(u"a");
  EXPECT_TRUE(catalogue_.hasDataset(u"a"));
  EXPECT_FALSE(catalogue_.hasDataset(u"A"));
  EXPECT_FALSE(catalogue_.empty());
}

TEST_F(CatalogueTest, descriptorsAloneLeaveItEmpty) { EXPECT_TRUE(catalogue_.empty()); }

TEST_F(CatalogueTest, aRegisteredDatasetWithoutClientsCounts) {
  catalogue_.registerDataset(u"a");
  EXPECT_TRUE(catalogue_.hasDataset(u"a"));
  EXPECT_FALSE(catalogue_.empty());
  EXPECT_TRUE(catalogue_.clientCollection(u"a").empty());
}

TEST_F(CatalogueTest, registeringAgainKeepsTheClients) {
  add(u"a");
  catalogue_.registerDataset(u"a");
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
}

TEST_F(CatalogueTest, clientCollectionIsTheVeryCollection) {
  catalogue_.registerDataset(u"a");
  const auto& collection = catalogue_.clientCollection(u"a");
  const RecordingClient& client = add(u"a");
  ASSERT_EQ(collection.size(), 1u);
  EXPECT_EQ(collection.begin()->second.get(), &client);
}

// Runs `action` and expects an out_of_range that names the dataset.
template <typename Action>
void expectUnknownDataset(Action action, const std::string& name) {
  try {
    action();
    FAIL() << "nothing was thrown";
  } catch (const std::out_of_range& error) {
    EXPECT_THAT(error.what(), HasSubstr(name));
  }
}

TEST_F(CatalogueTest, anUnknownDatasetNameIsOutOfRange) {
  add(u"a");
  expectUnknownDataset([&] { static_cast<void>(catalogue_.clientCollection(u"n\u00f6pe")); }, "n\xc3\xb6pe");
  expectUnknownDataset([&] { catalogue_.removeClient(1, u"nope"); }, "nope");
  Catalogue other;
  auto client = std::make_unique<RecordingClient>(descriptor_);
  const RecordingClient& foreign = *client;
  other.addClient(std::move(client), u"elsewhere");
  expectUnknownDataset([&] { catalogue_.deleteClient(foreign); }, "elsewhere");
  const RecordingClient never(descriptor_);
  EXPECT_THROW(catalogue_.deleteClient(never), std::out_of_range);
  EXPECT_FALSE(catalogue_.hasDataset(u"nope"));
  EXPECT_FALSE(catalogue_.hasDataset(u"elsewhere"));
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
}

TEST_F(CatalogueTest, removeClientDestroysTheClientWithThatId) {
  int destroyed = 0;
  add(u"a");
  add(u"a").onDestruction = [&destroyed] { ++destroyed; };
  catalogue_.removeClient(2, u"a");
  EXPECT_EQ(destroyed, 1);
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
}

TEST_F(CatalogueTest, removeClientGoesByIdNotByCreationNumber) {
  auto client = std::make_unique<RecordingClient>(descriptor_);
  client->creationSequenceNumber(42);
  catalogue_.addClient(std::move(client), u"a");
  catalogue_.removeClient(42, u"a");
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
  catalogue_.removeClient(1, u"a");
  EXPECT_THAT(idsOf(catalogue_, u"a"), IsEmpty());
}

TEST_F(CatalogueTest, removeClientIgnoresAnUnknownId) {
  add(u"a");
  add(u"b");
  catalogue_.removeClient(9, u"a");
  catalogue_.removeClient(2, u"a");  // that id is in the other dataset
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
  EXPECT_THAT(idsOf(catalogue_, u"b"), ElementsAre(2u));
}

TEST_F(CatalogueTest, anEmptiedDatasetStaysRegistered) {
  add(u"a");
  catalogue_.removeClient(1, u"a");
  EXPECT_TRUE(catalogue_.hasDataset(u"a"));
  EXPECT_FALSE(catalogue_.empty());
}

TEST_F(CatalogueTest, deleteClientDestroysAnOrdinaryClient) {
  int destroyed = 0;
  RecordingClient& client = add(u"a");
  client.onDestruction = [&destroyed] { ++destroyed; };
  add(u"a");
  catalogue_.deleteClient(client);
  EXPECT_EQ(destroyed, 1);
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(2u));
}

TEST_F(CatalogueTest, deleteClientGoesByCreationNumberAndMayEraseNothing) {
  auto client = std::make_unique<RecordingClient>(descriptor_);
  client->creationSequenceNumber(42);
  const RecordingClient& added = *client;
  catalogue_.addClient(std::move(client), u"a");
  catalogue_.deleteClient(added);
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
}

TEST_F(CatalogueTest, deleteClientGoesByCreationNumberAndMayEraseAnother) {
  add(u"a");
  auto client = std::make_unique<RecordingClient>(descriptor_);
  client->creationSequenceNumber(1);
  const RecordingClient& added = *client;
  catalogue_.addClient(std::move(client), u"a");
  catalogue_.deleteClient(added);
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(2u));
}

class CatalogueSnapshotTest : public CatalogueTest {
 protected:
  RecordingClient& addWithSnapshots(const std::string& name, const SignalDescriptor& descriptor) {
    auto client = std::make_unique<RecordingClient>(descriptor);
    RecordingClient& result = *client;
    result.makeSnapshotInterface = [this, name] { return std::make_unique<RecordingSnapshotInterface>(name, events_); };
    catalogue_.addClient(std::move(client), u"a");
    return result;
  }
  void TearDown() override { catalogue_.snapshotInterfaces().clear(); }  // they use events_, which is destroyed first

  Events events_;
};

TEST_F(CatalogueSnapshotTest, onlyClientsThatOfferOneContribute) {
  add(u"a");
  addWithSnapshots("s", descriptor_);
  add(u"a");
  EXPECT_EQ(catalogue_.snapshotInterfaces().size(), 1u);
}

TEST_F(CatalogueSnapshotTest, aClientOfAnUnspecifiedSignalContributesNone) {
  const SignalDescriptor& unspecified =
      createPlain(catalogue_, std::make_unique<ProbeLeaf>([] {}, core::utils::unspecified));
  ASSERT_EQ(static_cast<int>(unspecified.signalType()), 7);
  addWithSnapshots("s", unspecified);
  EXPECT_TRUE(catalogue_.snapshotInterfaces().empty());
  EXPECT_THAT(events_, ElementsAre("~s")) << "asked for all the same, and discarded";
  EXPECT_THAT(idsOf(catalogue_, u"a"), ElementsAre(1u));
}

TEST_F(CatalogueSnapshotTest, everyOtherSignalTypeTakesPart) {
  std::size_t expected = 0;
  for (const int type : {0, 1, 2, 3, 5}) {
    addWithSnapshots(
        "s", createPlain(catalogue_, std::make_unique<ProbeLeaf>([] {}, static_cast<core::utils::SignalType>(type))));
    EXPECT_EQ(catalogue_.snapshotInterfaces().size(), ++expected) << type;
  }
}

TEST_F(CatalogueSnapshotTest, theCollectionForwardsInTheOrderOfAdding) {
  const auto collection = catalogue_.getSnapshotInterface();
  ASSERT_NE(collection, nullptr);
  addWithSnapshots("second-dataset-first", descriptor_);
  addWithSnapshots("then-this", descriptor_);
  collection->captureSnapshot(true);
  EXPECT_THAT(events_, ElementsAre("second-dataset-first.captureSnapshot(true)", "then-this.captureSnapshot(true)"));
}

TEST_F(CatalogueSnapshotTest, theCollectionDoesNotOwnTheInterfaces) {
  addWithSnapshots("s", descriptor_);
  catalogue_.getSnapshotInterface().reset();
  EXPECT_THAT(events_, IsEmpty());
  EXPECT_EQ(catalogue_.snapshotInterfaces().size(), 1u);
}

TEST_F(CatalogueSnapshotTest, withoutClientsTheCollectionDoesNothing) {
  const auto collection = catalogue_.getSnapshotInterface();
  collection->captureSnapshot(true);
  collection->captureSnapshot(false);
  collection->rollBack();
  collection->reset();
  collection->clear();
  collection->popLatest(1);
  collection->popOldest(1);
  collection->size(1);
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(CatalogueSnapshotTest, removingAClientKeepsItsInterface) {
  addWithSnapshots("s", descriptor_);
  catalogue_.removeClient(1, u"a");
  EXPECT_EQ(catalogue_.snapshotInterfaces().size(), 1u);
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(CatalogueTest, theClientIsNumberedAndItsDatasetRegisteredBeforeItIsAsked) {
  auto client = std::make_unique<RecordingClient>(descriptor_);
  const RecordingClient* asked = client.get();
  bool looked = false;
  client->makeSnapshotInterface = [this, asked, &looked]() -> std::unique_ptr<vtsim::SnapshotInterface> {
    looked = true;
    EXPECT_EQ(asked->id(), 1u);
    EXPECT_EQ(asked->creationSequenceNumber(), 1u);
    EXPECT_TRUE(catalogue_.hasDataset(u"a"));
    EXPECT_TRUE(catalogue_.clientCollection(u"a").empty());
    return {};
  };
  catalogue_.addClient(std::move(client), u"a");
  EXPECT_TRUE(looked);
}

TEST_F(CatalogueTest, aClientThatFailsWhenAskedIsNotAdded) {
  int destroyed = 0;
  auto client = std::make_unique<RecordingClient>(descriptor_);
  client->onDestruction = [&destroyed] { ++destroyed; };
  client->makeSnapshotInterface = []() -> std::unique_ptr<vtsim::SnapshotInterface> { throw std::runtime_error("no"); };
  EXPECT_THROW(catalogue_.addClient(std::move(client), u"a"), std::runtime_error);
  EXPECT_EQ(destroyed, 1);
  EXPECT_TRUE(catalogue_.snapshotInterfaces().empty());
  if (catalogue_.hasDataset(u"a")) {
    EXPECT_TRUE(catalogue_.clientCollection(u"a").empty());
  }
  EXPECT_LE(add(u"a").id(), 2u) << "at most the failed client's number is lost";
}

TEST_F(CatalogueTest, accessorsSeeTheDisabledIntervals) {
  core::accessor::Scalar accessor(descriptor_, catalogue_.disabledLoggingIntervals());
  RecordingClient client(descriptor_);
  accessor.addClient(client);
  catalogue_.disabledLoggingIntervals().disable(1.0, 2.0);
  for (const double time : {0.5, 1.0, 1.5, 2.0, 2.5}) {
    accessor.update(&time, &time, 0);
  }
  EXPECT_THAT(client.times(), ElementsAre(0.5, 2.5));
}

class LoudResource : public SharedResource {
 public:
  LoudResource(std::string name, Events& events) : SharedResource(std::move(name)), events_(&events) {}
  LoudResource(const LoudResource&) = delete;
  LoudResource& operator=(const LoudResource&) = delete;
  ~LoudResource() override { events_->push_back("~" + name()); }
  void open() override { events_->push_back("open " + name()); }
  void close() override { events_->push_back("close " + name()); }
  void reopen() override { events_->push_back("reopen " + name()); }

 private:
  Events* events_;
};

TEST(CatalogueDestructionTest, closesResourcesThenDestroysFromTheResourcesDownToTheClients) {
  Events events;
  {
    Catalogue catalogue;
    const SignalDescriptor& descriptor =
        createPlain(catalogue, std::make_unique<ProbeLeaf>([&events] { events.push_back("~descriptor"); }));
    auto client = std::make_unique<RecordingClient>(descriptor);
    client->onDestruction = [&events] { events.push_back("~client"); };
    client->makeSnapshotInterface = [&events] {
      return std::make_unique<RecordingSnapshotInterface>("snapshots", events);
    };
    catalogue.addClient(std::move(client), u"a");
    catalogue.addSharedResource(std::make_unique<LoudResource>("r1", events));
    catalogue.addSharedResource(std::make_unique<LoudResource>("r2", events));
    events.clear();
  }
  ASSERT_EQ(events.size(), 7u);
  EXPECT_THAT(Events(events.begin(), events.begin() + 2), ElementsAre("close r1", "close r2"));
  EXPECT_THAT(Events(events.begin() + 2, events.begin() + 4), ::testing::UnorderedElementsAre("~r1", "~r2"));
  EXPECT_THAT(Events(events.begin() + 4, events.end()), ElementsAre("~snapshots", "~descriptor", "~client"));
}

TEST(CatalogueDestructionTest, ownsEveryDescriptor) {
  Events events;
  {
    Catalogue catalogue;
    for (const std::string name : {"~0", "~1", "~2"}) {
      createPlain(catalogue, std::make_unique<ProbeLeaf>([&events, name] { events.push_back(name); }));
    }
    EXPECT_THAT(events, IsEmpty());
  }
  EXPECT_THAT(events, ::testing::UnorderedElementsAre("~0", "~1", "~2"));
}

TEST(CatalogueDestructionDeathTest, aResourceThatFailsToCloseEndsTheProcess) {
  class Stubborn : public SharedResource {
   public:
    Stubborn() : SharedResource("stubborn") {}
    void open() override {}
    void close() override { throw std::runtime_error("cannot close"); }
    void reopen() override {}
  };
  EXPECT_DEATH(
      {
        Catalogue catalogue;
        catalogue.addSharedResource(std::make_unique<Stubborn>());
      },
      "");
}

}  // namespace
}  // namespace vtio::testing
