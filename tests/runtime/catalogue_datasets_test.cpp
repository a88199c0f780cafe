// Tests of how the clients of a dataset become one array.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
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

class CloseCounter : public SharedResource {
 public:
  CloseCounter(std::string name, Events& events) : SharedResource(std::move(name)), events_(&events) {}
  void open() override {}
  void close() override { events_->push_back(name()); }
  void reopen() override {}

 private:
  Events* events_;
};

class CatalogueDatasetsTest : public ::testing::Test {
 protected:
  const SignalDescriptor& signal(unsigned long port, const std::vector<unsigned long>& foreachDimensions = {}) {
    return catalogue_.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", path_, port, foreachDimensions,
                                             std::vector<int>{});
  }
  RecordingClient& add(const SignalDescriptor& descriptor, double value, const std::u16string& dataset = u"d") {
    auto client = std::make_unique<RecordingClient>(descriptor);
    RecordingClient& result = *client;
    result.yields(value);
    catalogue_.addClient(std::move(client), dataset);
    return result;
  }
  // The values of the cells; an empty cell reads as -1.
  std::vector<double> cellsOf(const qxArray* outer) {
    const qxArray* elements = qxGetField(qxGetField(outer, 0, "Dataset"), 0, "Elements");
    std::vector<double> result;
    for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
      const qxArray* cell = qxGetCell(elements, i);
      result.push_back(cell == nullptr ? -1.0 : qxGetScalar(cell));
    }
    return result;
  }

  Catalogue catalogue_;
  vtu::FullBlkPathToTopMdl path_ = makePath({u"m/b"});
};

TEST_F(CatalogueDatasetsTest, aDatasetInMemoryHasNameAndElements) {
  add(signal(0), 5.0, u"log\u00e9\xd800");
  const vtu::qxArrayWrapper made = catalogue_.datasetArray(u"log\u00e9\xd800");
  ASSERT_TRUE(made);
  EXPECT_EQ(qxGetClassID(made.get()), qxSTRUCT);
  EXPECT_THAT(dimensionsOf(made.get()), ElementsAre(1u, 1u));
  EXPECT_THAT(fieldsOf(made.get()), ElementsAre("DatasetStorageType", "Dataset"));
  EXPECT_EQ(charsOf(qxGetField(made.get(), 0, "DatasetStorageType")), u"RamDatasetStorage");
  const qxArray* inner = qxGetField(made.get(), 0, "Dataset");
  EXPECT_EQ(qxGetClassID(inner), qxSTRUCT);
  EXPECT_THAT(dimensionsOf(inner), ElementsAre(1u, 1u));
  EXPECT_THAT(fieldsOf(inner), ElementsAre("Name", "Elements"));
  EXPECT_EQ(charsOf(qxGetField(inner, 0, "Name")), u"log\u00e9\xd800") << "kept unit by unit";
  const qxArray* elements = qxGetField(inner, 0, "Elements");
  EXPECT_EQ(qxGetClassID(elements), qxCELL);
  EXPECT_THAT(dimensionsOf(elements), ElementsAre(1u, 1u));
  EXPECT_THAT(cellsOf(made.get()), ElementsAre(5.0));
}

TEST_F(CatalogueDatasetsTest, aPersistentDatasetNamesItsFile) {
  add(signal(0), 5.0);
  catalogue_.settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
  catalogue_.settings(Catalogue::SignalStorageParameters, u"out/\u00e9.qat");
  const vtu::qxArrayWrapper made = catalogue_.datasetArray(u"d");
  ASSERT_TRUE(made);
  EXPECT_EQ(charsOf(qxGetField(made.get(), 0, "DatasetStorageType")), u"QatFileDatasetStorage");
  const qxArray* inner = qxGetField(made.get(), 0, "Dataset");
  EXPECT_THAT(fieldsOf(inner), ElementsAre("Name", "FileName", "Elements"));
  EXPECT_EQ(charsOf(qxGetField(inner, 0, "Name")), u"d");
  EXPECT_EQ(charsOf(qxGetField(inner, 0, "FileName")), u"out/\u00e9.qat");
  EXPECT_THAT(cellsOf(made.get()), ElementsAre(5.0));
}

TEST_F(CatalogueDatasetsTest, withoutStorageParametersTheFileNameIsEmpty) {
  add(signal(0), 5.0);
  catalogue_.settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
  const vtu::qxArrayWrapper made = catalogue_.datasetArray(u"d");
  const qxArray* fileName = qxGetField(qxGetField(made.get(), 0, "Dataset"), 0, "FileName");
  ASSERT_NE(fileName, nullptr);
  EXPECT_EQ(charsOf(fileName), u"");
}

TEST_F(CatalogueDatasetsTest, onlyExactlyOnMeansPersistent) {
  add(signal(0), 5.0);
  for (const std::u16string text : {u"off", u"", u"On", u"on ", u"ON", u"o", u"onn"}) {
    catalogue_.settings(Catalogue::SignalLoggingToPersistentStorage, text);
    const vtu::qxArrayWrapper made = catalogue_.datasetArray(u"d");
    EXPECT_EQ(charsOf(qxGetField(made.get(), 0, "DatasetStorageType")), u"RamDatasetStorage");
    EXPECT_THAT(fieldsOf(qxGetField(made.get(), 0, "Dataset")), ElementsAre("Name", "Elements"));
  }
}

TEST_F(CatalogueDatasetsTest, anUnknownOrEmptyDatasetGivesNoArray) {
  catalogue_.registerDataset(u"empty");
  EXPECT_FALSE(catalogue_.datasetArray(u"unknown"));
  EXPECT_FALSE(catalogue_.datasetArray(u"empty"));
  EXPECT_FALSE(catalogue_.hasDataset(u"unknown")) << "asking registers nothing";
}

TEST_F(CatalogueDatasetsTest, everyCallClosesTheResourcesInOrder) {
  Events events;
  {
    Catalogue catalogue;
    catalogue.addSharedResource(std::make_unique<CloseCounter>("r1", events));
    catalogue.addSharedResource(std::make_unique<CloseCounter>("r2", events));
    static_cast<void>(catalogue.datasetArray(u"unknown"));
    EXPECT_THAT(events, ElementsAre("r1", "r2"));
    catalogue.registerDataset(u"empty");
    static_cast<void>(catalogue.datasetArray(u"empty"));
    EXPECT_THAT(events, ElementsAre("r1", "r2", "r1", "r2"));
  }
}

TEST_F(CatalogueDatasetsTest, resourcesAreClosedBeforeTheFirstElementIsAskedFor) {
  Events events;
  {
    Catalogue catalogue;
    const SignalDescriptor& descriptor =
        catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"b"}), 0ul);
    auto client = std::make_unique<RecordingClient>(descriptor);
    client->makeDatasetElement = [&events] {
      events.push_back("element");
      return vtu::qxArrayWrapper();
    };
    catalogue.addClient(std::move(client), u"d");
    catalogue.addSharedResource(std::make_unique<CloseCounter>("close", events));
    static_cast<void>(catalogue.datasetArray(u"d"));
    EXPECT_THAT(events, ElementsAre("close", "element"));
  }
}

TEST_F(CatalogueDatasetsTest, elementsComeInDescriptorOrder) {
  add(signal(2), 2.0);
  add(signal(0), 0.0);
  add(signal(1), 1.0);
  EXPECT_THAT(cellsOf(catalogue_.datasetArray(u"d").get()), ElementsAre(0.0, 1.0, 2.0));
}

TEST_F(CatalogueDatasetsTest, equalDescriptorsComeInCreationOrder) {
  const SignalDescriptor& first = signal(0);
  const SignalDescriptor& second = signal(0);
  auto late = std::make_unique<RecordingClient>(first);
  late->yields(9.0).creationSequenceNumber(50);
  catalogue_.addClient(std::move(late), u"d");  // id 1, created last
  add(second, 1.0);                             // id 2
  EXPECT_THAT(cellsOf(catalogue_.datasetArray(u"d").get()), ElementsAre(1.0, 9.0));
}

TEST_F(CatalogueDatasetsTest, onlyTheNamedDatasetsClientsTakePart) {
  add(signal(0), 0.0);
  add(signal(1), 1.0, u"other");
  EXPECT_THAT(cellsOf(catalogue_.datasetArray(u"d").get()), ElementsAre(0.0));
}

TEST_F(CatalogueDatasetsTest, aClientWithoutDataLeavesAnEmptyCell) {
  add(signal(0), 0.0);
  add(signal(1), 1.0).makeDatasetElement = nullptr;
  add(signal(2), 2.0);
  const vtu::qxArrayWrapper made = catalogue_.datasetArray(u"d");
  EXPECT_THAT(cellsOf(made.get()), ElementsAre(0.0, -1.0, 2.0));
  const qxArray* elements = qxGetField(qxGetField(made.get(), 0, "Dataset"), 0, "Elements");
  EXPECT_THAT(dimensionsOf(elements), ElementsAre(1u, 3u));
}

TEST_F(CatalogueDatasetsTest, anEmptyArrayIsStillAnElement) {
  add(signal(0), 0.0).makeDatasetElement = [] { return vtu::qxArrayWrapper(makeEmptyDoubles()); };
  const vtu::qxArrayWrapper made = catalogue_.datasetArray(u"d");
  const qxArray* elements = qxGetField(qxGetField(made.get(), 0, "Dataset"), 0, "Elements");
  EXPECT_NE(qxGetCell(elements, 0), nullptr);
}

TEST_F(CatalogueDatasetsTest, aFailingElementPasses) {
  add(signal(0), 0.0).makeDatasetElement = []() -> vtu::qxArrayWrapper { throw std::runtime_error("x"); };
  EXPECT_THROW(static_cast<void>(catalogue_.datasetArray(u"d")), std::runtime_error);
}

TEST_F(CatalogueDatasetsTest, iterationsOfOneSignalShareOneCell) {
  const RecordingClient& leader = add(signal(0, {3}), 1.0);
  RecordingClient& second = add(signal(0, {3}), 2.0);
  RecordingClient& third = add(signal(0, {3}), 3.0);
  EXPECT_THAT(cellsOf(catalogue_.datasetArray(u"d").get()), ElementsAre(1.0));
  EXPECT_THAT(leader.foreachMembers(), ElementsAre(&second, &third));
  EXPECT_EQ(second.datasetElementCalls, 0);
}

TEST_F(CatalogueDatasetsTest, withoutForeachDimensionsEqualSignalsStayApart) {
  const RecordingClient& first = add(signal(0), 1.0);
  add(signal(0), 2.0);
  add(signal(0), 3.0);
  EXPECT_THAT(cellsOf(catalogue_.datasetArray(u"d").get()), ElementsAre(1.0, 2.0, 3.0));
  EXPECT_THAT(first.foreachMembers(), IsEmpty());
}

TEST_F(CatalogueDatasetsTest, sortingBringsIterationsTogether) {
  const RecordingClient& leader = add(signal(0, {2}), 1.0);
  add(signal(5), 5.0);
  RecordingClient& second = add(signal(0, {2}), 2.0);
  EXPECT_THAT(cellsOf(catalogue_.datasetArray(u"d").get()), ElementsAre(1.0, 5.0));
  EXPECT_THAT(leader.foreachMembers(), ElementsAre(&second));
}

class GroupingTest : public CatalogueDatasetsTest {
 protected:
  Client* make(unsigned long port, const std::vector<unsigned long>& foreachDimensions = {}) {
    clients_.push_back(std::make_unique<RecordingClient>(signal(port, foreachDimensions)));
    return clients_.back().get();
  }
  std::vector<std::unique_ptr<RecordingClient>> clients_;
};

TEST_F(GroupingTest, fewerThanTwoClientsStayAsTheyAre) {
  std::vector<Client*> none;
  catalogue_.groupForeachIterationsMetaData(none);
  EXPECT_THAT(none, IsEmpty());
  std::vector<Client*> one{make(0, {2})};
  const std::vector<Client*> before = one;
  catalogue_.groupForeachIterationsMetaData(one);
  EXPECT_EQ(one, before);
}

TEST_F(GroupingTest, mergesAdjacentRunsOnly) {
  Client* a1 = make(0, {2});
  Client* a2 = make(0, {2});
  Client* b = make(1, {2});
  Client* a3 = make(0, {2});
  std::vector<Client*> list{a1, a2, b, a3};
  catalogue_.groupForeachIterationsMetaData(list);
  EXPECT_THAT(list, ElementsAre(a1, b, a3));
  EXPECT_THAT(a1->foreachMembers(), ElementsAre(a2));
  EXPECT_THAT(a3->foreachMembers(), IsEmpty());
}

TEST_F(GroupingTest, membersKeepTheirOrderUnderTheFirst) {
  Client* a1 = make(0, {3});
  Client* a2 = make(0, {3});
  Client* a3 = make(0, {3});
  std::vector<Client*> list{a3, a1, a2};
  catalogue_.groupForeachIterationsMetaData(list);
  EXPECT_THAT(list, ElementsAre(a3));
  EXPECT_THAT(a3->foreachMembers(), ElementsAre(a1, a2));
  EXPECT_THAT(a1->foreachMembers(), IsEmpty());
}

TEST_F(GroupingTest, oneForeachSignalAnywhereTurnsMergingOnForAll) {
  Client* plain1 = make(0);
  Client* plain2 = make(0);
  Client* iterated = make(1, {1});
  std::vector<Client*> list{plain1, plain2, iterated};
  catalogue_.groupForeachIterationsMetaData(list);
  EXPECT_THAT(list, ElementsAre(plain1, iterated));
  EXPECT_THAT(plain1->foreachMembers(), ElementsAre(plain2));
}

TEST_F(GroupingTest, withoutForeachDimensionsNothingIsMerged) {
  std::vector<Client*> list{make(0), make(0)};
  const std::vector<Client*> before = list;
  catalogue_.groupForeachIterationsMetaData(list);
  EXPECT_EQ(list, before);
  EXPECT_THAT(before[0]->foreachMembers(), IsEmpty());
}

TEST_F(GroupingTest, clientsOfTheVerySameDescriptorAreMerged) {
  const SignalDescriptor& shared = signal(0, {2});
  RecordingClient first(shared);
  RecordingClient second(shared);
  std::vector<Client*> list{&first, &second};
  catalogue_.groupForeachIterationsMetaData(list);
  EXPECT_THAT(list, ElementsAre(&first));
  EXPECT_THAT(first.foreachMembers(), ElementsAre(&second));
}

TEST_F(CatalogueDatasetsTest, youtIsTheOnlyClientsElementAsItIs) {
  add(signal(0), 7.0, u"yout");
  const vtu::qxArrayWrapper made = catalogue_.youtDatasetArray(u"yout");
  ASSERT_TRUE(made);
  EXPECT_EQ(qxGetClassID(made.get()), qxDOUBLE);
  EXPECT_EQ(qxGetScalar(made.get()), 7.0);
}

TEST_F(CatalogueDatasetsTest, youtOfAClientWithoutDataIsNoArray) {
  add(signal(0), 7.0, u"yout").makeDatasetElement = nullptr;
  EXPECT_FALSE(catalogue_.youtDatasetArray(u"yout"));
}

TEST_F(CatalogueDatasetsTest, youtNeedsExactlyOneClient) {
  catalogue_.registerDataset(u"empty");
  RecordingClient& first = add(signal(0), 1.0, u"two");
  add(signal(1), 2.0, u"two");
  EXPECT_FALSE(catalogue_.youtDatasetArray(u"unknown"));
  EXPECT_FALSE(catalogue_.youtDatasetArray(u"empty"));
  EXPECT_FALSE(catalogue_.youtDatasetArray(u"two"));
  EXPECT_EQ(first.datasetElementCalls, 0);
  EXPECT_FALSE(catalogue_.hasDataset(u"unknown"));
}

TEST_F(CatalogueDatasetsTest, youtClosesNoResources) {
  Events events;
  {
    Catalogue catalogue;
    const SignalDescriptor& descriptor =
        catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"b"}), 0ul);
    catalogue.addClient(std::make_unique<RecordingClient>(descriptor), u"yout");
    catalogue.addSharedResource(std::make_unique<CloseCounter>("close", events));
    static_cast<void>(catalogue.youtDatasetArray(u"yout"));
    EXPECT_THAT(events, IsEmpty());
  }
}

TEST_F(CatalogueDatasetsTest, theLoggingTypeIsThatOfTheClientWithTheSmallestId) {
  const SignalDescriptor& later = signal(9);
  const SignalDescriptor& earlier = signal(0);
  catalogue_.addClient(std::make_unique<RecordingClient>(later, Client::Sigstream), u"d");
  catalogue_.addClient(std::make_unique<RecordingClient>(earlier, Client::OutportLogging), u"d");
  EXPECT_TRUE(catalogue_.hasDatasetLoggingType(u"d", Client::Sigstream));
  EXPECT_FALSE(catalogue_.hasDatasetLoggingType(u"d", Client::OutportLogging));
}

TEST_F(CatalogueDatasetsTest, anUnknownOrEmptyDatasetHasNoLoggingType) {
  catalogue_.registerDataset(u"empty");
  for (unsigned n = 1; n <= 15; ++n) {
    EXPECT_FALSE(catalogue_.hasDatasetLoggingType(u"unknown", Client::getClientType(n)));
    EXPECT_FALSE(catalogue_.hasDatasetLoggingType(u"empty", Client::getClientType(n)));
  }
  EXPECT_FALSE(catalogue_.hasDataset(u"unknown"));
}

}  // namespace
}  // namespace vtio::testing
