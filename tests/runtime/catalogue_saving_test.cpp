// Tests of shared resources and of saving the datasets to a Qat file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/runtime/qalc_support.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/client/shared_resource.hpp"

namespace vtio::testing {
namespace {

using core::client::Catalogue;
using core::client::Client;
using core::client::SharedResource;
using core::utils::SignalDescriptor;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(std::is_abstract_v<SharedResource>);
static_assert(std::has_virtual_destructor_v<SharedResource>);

class Resource : public SharedResource {
 public:
  Resource(std::string name, Events& events) : SharedResource(std::move(name)), events_(&events) {}
  Resource(const Resource&) = delete;
  Resource& operator=(const Resource&) = delete;
  ~Resource() override { events_->push_back("~" + name()); }
  void open() override {
    events_->push_back("open " + name());
    if (failsToOpen) {
      throw std::runtime_error("cannot open");
    }
  }
  void close() override {
    events_->push_back("close " + name());
    if (failsToClose) {
      failsToClose = false;
      throw std::runtime_error("cannot close");
    }
  }
  void reopen() override { events_->push_back("reopen " + name()); }

  bool failsToOpen = false;
  bool failsToClose = false;

 private:
  Events* events_;
};

class SharedResourceTest : public ::testing::Test {
 protected:
  Resource& add(const std::string& name) {
    auto resource = std::make_unique<Resource>(name, events_);
    Resource& result = *resource;
    catalogue_.addSharedResource(std::move(resource));
    return result;
  }

  Events events_;
  Catalogue catalogue_;
};

TEST_F(SharedResourceTest, knowsItsName) { EXPECT_EQ(std::as_const(add("log")).name(), "log"); }

TEST_F(SharedResourceTest, isOpenedWhenItIsAdded) {
  add("log");
  EXPECT_THAT(events_, ElementsAre("open log"));
}

TEST_F(SharedResourceTest, isFoundByName) {
  EXPECT_EQ(catalogue_.getSharedResource("log"), nullptr);
  Resource& a = add("a");
  Resource& b = add("b");
  EXPECT_EQ(catalogue_.getSharedResource("a"), &a);
  EXPECT_EQ(catalogue_.getSharedResource("b"), &b);
  EXPECT_EQ(catalogue_.getSharedResource("A"), nullptr);
  EXPECT_EQ(catalogue_.getSharedResource(""), nullptr);
  EXPECT_EQ(catalogue_.getSharedResource("ab"), nullptr);
}

TEST_F(SharedResourceTest, namesAreComparedWithEveryByte) {
  Resource& shorter = add("a");
  Resource& longer = add(std::string("a\0b", 3));
  EXPECT_EQ(catalogue_.getSharedResource("a"), &shorter);
  EXPECT_EQ(catalogue_.getSharedResource(std::string("a\0b", 3)), &longer);
  EXPECT_EQ(catalogue_.getSharedResource(std::string("a\0c", 3)), nullptr);
}

TEST_F(SharedResourceTest, aSecondOneOfTheSameNameIsDiscardedUnopened) {
  Resource& first = add("log");
  catalogue_.addSharedResource(std::make_unique<Resource>("log", events_));
  EXPECT_THAT(events_, ElementsAre("open log", "~log"));
  EXPECT_EQ(catalogue_.getSharedResource("log"), &first);
}

TEST_F(SharedResourceTest, oneThatFailsToOpenIsNotKept) {
  auto resource = std::make_unique<Resource>("log", events_);
  resource->failsToOpen = true;
  EXPECT_THROW(catalogue_.addSharedResource(std::move(resource)), std::runtime_error);
  EXPECT_EQ(catalogue_.getSharedResource("log"), nullptr);
  EXPECT_THAT(events_, ElementsAre("open log", "~log"));
  add("log");
  EXPECT_NE(catalogue_.getSharedResource("log"), nullptr);
}

TEST_F(SharedResourceTest, allAreReopenedAndClosedInInsertionOrder) {
  add("b");
  add("a");
  events_.clear();
  catalogue_.reopenSharedResource();
  catalogue_.closeSharedResources();
  catalogue_.closeSharedResources();
  EXPECT_THAT(events_, ElementsAre("reopen b", "reopen a", "close b", "close a", "close b", "close a"));
}

TEST_F(SharedResourceTest, aFailingCloseStopsTheLoop) {
  add("a");
  add("b").failsToClose = true;
  add("c");
  events_.clear();
  EXPECT_THROW(catalogue_.closeSharedResources(), std::runtime_error);
  EXPECT_THAT(events_, ElementsAre("close a", "close b"));
}

TEST_F(SharedResourceTest, aFailingClosePassesOutOfDatasetArray) {
  add("a").failsToClose = true;
  EXPECT_THROW(static_cast<void>(catalogue_.datasetArray(u"unknown")), std::runtime_error);
}

TEST(QatfileKeyTest, onlyThreeTypesHaveAKey) {
  for (unsigned n = 1; n <= 15; ++n) {
    const Client::clientType type = Client::getClientType(n);
    const std::string expected = type == Client::SignalLogging       ? "DATASET_SIGNAL_LOGGING"
                                 : type == Client::OutportLogging    ? "DATASET_OUTPORT_LOGGING"
                                 : type == Client::IntrusiveAccessor ? "DATASET_INTRUSIVE_ACCESSOR"
                                                                     : "";
    EXPECT_EQ(Catalogue::getQatfileKey(type), expected) << n - 1;
  }
}

class SavingTest : public ::testing::Test {
 protected:
  RecordingClient& add(const std::u16string& dataset, Client::clientType type, double value) {
    auto client = std::make_unique<RecordingClient>(descriptor_, type);
    RecordingClient& result = *client;
    result.yields(value);
    catalogue_.addClient(std::move(client), dataset);
    return result;
  }
  void save() { catalogue_.saveDatasetsToQatFile(vtu::to_ustring(file_)); }
  std::vector<std::string> saved() const { return variableNames(file_); }
  // The name and the first element's value of a dataset in the file.
  std::pair<std::u16string, double> savedDataset(const std::string& key) const {
    const vtu::qxArrayWrapper variable = readVariable(file_, key);
    if (!variable) {
      ADD_FAILURE() << "no variable " << key;
      return {};
    }
    const qxArray* inner = qxGetField(variable.get(), 0, "Dataset");
    return {charsOf(qxGetField(inner, 0, "Name")), qxGetScalar(qxGetCell(qxGetField(inner, 0, "Elements"), 0))};
  }

  using Dataset = std::pair<std::u16string, double>;
  TemporaryFolder folder_;
  std::string file_ = folder_.file("results.qat");
  Events events_;
  Catalogue catalogue_;
  const SignalDescriptor& descriptor_ =
      catalogue_.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 0ul);
};

TEST_F(SavingTest, withoutDatasetsTheFileHasNoVariables) {
  save();
  EXPECT_TRUE(std::filesystem::exists(file_));
  EXPECT_THAT(saved(), IsEmpty());
}

TEST_F(SavingTest, everyKindIsStoredUnderItsKey) {
  add(u"sig", Client::SignalLogging, 1.0);
  add(u"out", Client::OutportLogging, 2.0);
  add(u"intr", Client::IntrusiveAccessor, 3.0);
  save();
  EXPECT_THAT(saved(), ElementsAre("DATASET_INTRUSIVE_ACCESSOR", "DATASET_OUTPORT_LOGGING", "DATASET_SIGNAL_LOGGING"))
      << "in the order of the dataset names";
  EXPECT_EQ(savedDataset("DATASET_SIGNAL_LOGGING"), Dataset(u"sig", 1.0));
  EXPECT_EQ(savedDataset("DATASET_OUTPORT_LOGGING"), Dataset(u"out", 2.0));
  EXPECT_EQ(savedDataset("DATASET_INTRUSIVE_ACCESSOR"), Dataset(u"intr", 3.0));
}

TEST_F(SavingTest, aKindWithoutKeyIsStoredUnderTheEmptyName) {
  add(u"d", Client::Other, 4.0);
  save();
  EXPECT_THAT(saved(), ElementsAre(""));
  EXPECT_EQ(savedDataset(""), Dataset(u"d", 4.0));
}

TEST_F(SavingTest, theKeyIsThatOfTheClientWithTheSmallestId) {
  auto later = std::make_unique<RecordingClient>(
      catalogue_.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 9ul),
      Client::OutportLogging);
  catalogue_.addClient(std::move(later), u"d");  // smallest id, sorted last
  add(u"d", Client::SignalLogging, 4.0);
  save();
  EXPECT_THAT(saved(), ElementsAre("DATASET_OUTPORT_LOGGING"));
}

TEST_F(SavingTest, ofTwoDatasetsOfOneKindTheLaterNameStays) {
  add(u"b", Client::SignalLogging, 2.0);
  add(u"a", Client::SignalLogging, 1.0);
  save();
  EXPECT_EQ(savedDataset("DATASET_SIGNAL_LOGGING"), Dataset(u"b", 2.0));
}

TEST_F(SavingTest, datasetsComeInCodeUnitOrderOfTheirNames) {
  Events order;
  for (const std::u16string name : {u"\ue000", u"b", u"\U00010000", u"ba", u"B"}) {
    auto client = std::make_unique<RecordingClient>(descriptor_);
    client->makeDatasetElement = [&order, name] {
      order.push_back(vtu::to_string(name));
      return vtu::qxArrayWrapper();
    };
    catalogue_.addClient(std::move(client), name);
  }
  save();
  EXPECT_THAT(order, ElementsAre("B", "b", "ba", "\xf0\x90\x80\x80", "\xee\x80\x80"));
}

TEST_F(SavingTest, aDatasetWithAnEmptyNameIsSkipped) {
  const RecordingClient& skipped = add(u"", Client::SignalLogging, 1.0);
  add(u"out", Client::OutportLogging, 2.0);
  save();
  EXPECT_THAT(saved(), ElementsAre("DATASET_OUTPORT_LOGGING"));
  EXPECT_EQ(skipped.datasetElementCalls, 0);
}

TEST_F(SavingTest, aDatasetWithoutClientsIsNotStored) {
  catalogue_.registerDataset(u"empty");
  save();
  EXPECT_THAT(saved(), IsEmpty());
}

TEST_F(SavingTest, replacesAnOlderFile) {
  Configuration().write(file_);
  add(u"d", Client::SignalLogging, 1.0);
  save();
  EXPECT_THAT(saved(), ElementsAre("DATASET_SIGNAL_LOGGING"));
}

TEST_F(SavingTest, takesFileNamesInUnicode) {
  file_ = folder_.file("\xc3\xbcml\xc3\xa4ut \xf0\x9f\x9a\x80.qat");
  add(u"d", Client::SignalLogging, 1.0);
  save();
  EXPECT_TRUE(std::filesystem::exists(file_));
  EXPECT_EQ(savedDataset("DATASET_SIGNAL_LOGGING"), Dataset(u"d", 1.0));
}

TEST_F(SavingTest, saysWhichFileCannotBeOpened) {
  const RecordingClient& client = add(u"d", Client::SignalLogging, 1.0);
  const std::u16string name = vtu::to_ustring(folder_.file("missing/r.qat"));
  expectDiagnostic([&] { catalogue_.saveDatasetsToQatFile(name); }, "Vortan:FileIO", "ToFromFileOpenCloseErr", {name});
  EXPECT_EQ(client.datasetElementCalls, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("missing")));
}

TEST_F(SavingTest, resourcesAreClosedOncePerDataset) {
  // Resources write to events_, so they are in a catalogue of their own that is destroyed first.
  Catalogue catalogue;
  const SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 0ul);
  catalogue.addClient(std::make_unique<RecordingClient>(descriptor), u"a");
  catalogue.addClient(std::make_unique<RecordingClient>(descriptor), u"");
  catalogue.registerDataset(u"empty");
  catalogue.addSharedResource(std::make_unique<Resource>("r", events_));
  events_.clear();
  catalogue.saveDatasetsToQatFile(vtu::to_ustring(file_));
  EXPECT_THAT(events_, ElementsAre("close r", "close r")) << "for \"a\" and \"empty\", not for the empty name";
}

// The file stays open on this path: so the failing save runs in a process of its own.
TEST_F(SavingTest, whatWasWrittenBeforeAFailureStays) {
  add(u"a", Client::OutportLogging, 2.0);
  add(u"b", Client::SignalLogging, 1.0).makeDatasetElement = []() -> vtu::qxArrayWrapper {
    throw std::runtime_error("no data");
  };
  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    try {
      save();
    } catch (const std::runtime_error& error) {
      ::_exit(std::string(error.what()) == "no data" ? 0 : 2);
    } catch (...) {
      ::_exit(3);
    }
    ::_exit(1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the client's own exception passes";
  EXPECT_THAT(saved(), ElementsAre("DATASET_OUTPORT_LOGGING"));
  EXPECT_EQ(savedDataset("DATASET_OUTPORT_LOGGING"), Dataset(u"a", 2.0));
}

TEST_F(SavingTest, streamingIsToldByTheFirstClientOfOneDataset) {
  EXPECT_FALSE(catalogue_.usingSigstreamClient());
  catalogue_.registerDataset(u"tmp_raccel_yout");
  EXPECT_FALSE(catalogue_.usingSigstreamClient()) << "no client yet";
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0);
  add(u"tmp_raccel_yout", Client::OutportLogging, 1.0);
  EXPECT_TRUE(catalogue_.usingSigstreamClient());
}

TEST_F(SavingTest, aLaterStreamingClientDoesNotCount) {
  add(u"tmp_raccel_yout", Client::OutportLogging, 1.0);
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0);
  EXPECT_FALSE(catalogue_.usingSigstreamClient());
}

TEST_F(SavingTest, aStreamingClientElsewhereDoesNotCount) {
  add(u"tmp_raccel_logsout", Client::Sigstream, 1.0);
  add(u"yout", Client::Sigstream, 1.0);
  EXPECT_FALSE(catalogue_.usingSigstreamClient());
}

TEST_F(SavingTest, streamingStoresTheTwoReservedDatasetsOnly) {
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0);
  add(u"tmp_raccel_logsout", Client::Other, 2.0);
  const RecordingClient& ignored = add(u"other", Client::IntrusiveAccessor, 3.0);
  save();
  EXPECT_THAT(saved(), ElementsAre("DATASET_OUTPORT_LOGGING", "DATASET_SIGNAL_LOGGING"));
  const vtu::qxArrayWrapper yout = readVariable(file_, "DATASET_OUTPORT_LOGGING");
  ASSERT_TRUE(yout);
  EXPECT_EQ(qxGetClassID(yout.get()), qxDOUBLE) << "the element itself, without a structure around it";
  EXPECT_EQ(qxGetScalar(yout.get()), 1.0);
  EXPECT_EQ(savedDataset("DATASET_SIGNAL_LOGGING"), Dataset(u"tmp_raccel_logsout", 2.0));
  EXPECT_EQ(ignored.datasetElementCalls, 0);
}

TEST_F(SavingTest, streamingSkipsAnEmptyOutportResult) {
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0).makeDatasetElement = [] {
    return vtu::qxArrayWrapper(makeEmptyDoubles());
  };
  add(u"tmp_raccel_logsout", Client::SignalLogging, 2.0).makeDatasetElement = [] {
    return vtu::qxArrayWrapper(makeEmptyDoubles());
  };
  save();
  EXPECT_THAT(saved(), ElementsAre("DATASET_SIGNAL_LOGGING"));
}

TEST_F(SavingTest, streamingSkipsOutportsOfTwoClients) {
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0);
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0);
  save();
  EXPECT_THAT(saved(), IsEmpty());
}

TEST_F(SavingTest, streamingWithoutResultsWritesNothing) {
  add(u"tmp_raccel_yout", Client::Sigstream, 1.0).makeDatasetElement = nullptr;
  catalogue_.registerDataset(u"tmp_raccel_logsout");
  save();
  EXPECT_THAT(saved(), IsEmpty());
}

TEST_F(SavingTest, streamingClosesTheResourcesOnce) {
  Catalogue catalogue;
  const SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 0ul);
  catalogue.addClient(std::make_unique<RecordingClient>(descriptor, Client::Sigstream), u"tmp_raccel_yout");
  catalogue.addClient(std::make_unique<RecordingClient>(descriptor), u"other");
  catalogue.addSharedResource(std::make_unique<Resource>("r", events_));
  events_.clear();
  catalogue.saveDatasetsToQatFile(vtu::to_ustring(file_));
  EXPECT_THAT(events_, ElementsAre("close r"));
}

TEST_F(SavingTest, theReservedNamesAreOrdinaryWithoutAStreamingClient) {
  add(u"tmp_raccel_yout", Client::OutportLogging, 1.0);
  add(u"tmp_raccel_logsout", Client::SignalLogging, 2.0);
  save();
  EXPECT_EQ(savedDataset("DATASET_OUTPORT_LOGGING"), Dataset(u"tmp_raccel_yout", 1.0));
  EXPECT_EQ(savedDataset("DATASET_SIGNAL_LOGGING"), Dataset(u"tmp_raccel_logsout", 2.0));
}

TEST_F(SavingTest, theClientsArrayStaysIntact) {
  const vtu::qxArrayWrapper kept(qxCreateDoubleScalar(6.0));
  add(u"d", Client::SignalLogging, 0.0).makeDatasetElement = [&kept] {
    return vtu::qxArrayWrapper(qxShareArray(kept.get()));
  };
  save();
  save();
  EXPECT_EQ(savedDataset("DATASET_SIGNAL_LOGGING"), Dataset(u"d", 6.0));
  EXPECT_EQ(qxGetScalar(kept.get()), 6.0);
}

}  // namespace
}  // namespace vtio::testing
