// Tests of the entry functions that make, save and end a catalogue.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "tests/runtime/generated_code.hpp"
#include "tests/runtime/qalc_support.hpp"
#include "tests/runtime/recording_client.hpp"

namespace vtio::testing {
namespace {

using core::client::Catalogue;
using core::client::Client;
using core::utils::SignalDescriptor;
using mdlref_simtarget::zetGetNewVtioCatalogue;
using mdlref_simtarget::zetGetPointerFromUniquePtr;
using mdlref_simtarget::zetLoggingOverride;
using mdlref_simtarget::zetSaveDatasetsToQatFile;
using mdlref_simtarget::zetTerminateVtioCatalogue;
using ::testing::ElementsAre;

const SignalDescriptor& createSignal(Catalogue& catalogue, unsigned long port = 0) {
  return catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 5ul, u"s", u"", makePath({u"m/b"}), port);
}

// The text of one setting after a run's start with this configuration.
std::u16string settingFrom(const Configuration& configuration, Catalogue::SettingKeys key) {
  GeneratedCatalogue catalogue(configuration);
  if (catalogue.get() == nullptr) {
    ADD_FAILURE() << "no catalogue";
    return u"(none)";
  }
  return catalogue->settings(key);
}

bool startsWith(const Configuration& configuration) {
  GeneratedCatalogue catalogue(configuration);
  return catalogue.handle() != nullptr;
}

TEST(NewCatalogueTest, fillsExactlySixSettings) {
  GeneratedCatalogue catalogue;
  ASSERT_NE(catalogue.get(), nullptr);
  EXPECT_EQ(catalogue->settings(Catalogue::SignalLoggingToPersistentStorage), u"off");
  EXPECT_EQ(catalogue->settings(Catalogue::DisableSignalLoggingToR2forXIL), u"off");
  EXPECT_EQ(catalogue->settings(Catalogue::SignalStorageParameters), u"storage");
  EXPECT_EQ(catalogue->settings(Catalogue::Reserved3), u"");
  EXPECT_EQ(catalogue->settings(Catalogue::Reserved4), u"");
  EXPECT_EQ(catalogue->settings(Catalogue::Reserved5), u"");
  EXPECT_EQ(catalogue->settings(Catalogue::OutputLogging), u"on");
  EXPECT_EQ(catalogue->settings(Catalogue::SignalLogging), u"on");
  EXPECT_EQ(catalogue->settings(Catalogue::DSMLogging), u"off");
}

TEST(NewCatalogueTest, isOtherwiseEmpty) {
  GeneratedCatalogue catalogue;
  ASSERT_NE(catalogue.get(), nullptr);
  EXPECT_TRUE(catalogue->empty());
  EXPECT_EQ(catalogue->sequenceNumber(), 1u);
}

TEST(NewCatalogueTest, theHandleIsACellThatHoldsTheCatalogue) {
  GeneratedCatalogue catalogue;
  ASSERT_NE(catalogue.handle(), nullptr);
  EXPECT_EQ(*static_cast<void**>(catalogue.handle()), static_cast<void*>(catalogue.get()));
}

// The three switches that are numbers have two thresholds.
struct Threshold {
  const char* variable;
  Catalogue::SettingKeys key;
  double value;
  const char16_t* expected;
};

class ThresholdTest : public ::testing::TestWithParam<Threshold> {};

TEST_P(ThresholdTest, decides) {
  const Threshold& row = GetParam();
  EXPECT_EQ(settingFrom(Configuration().set(row.variable, qxCreateDoubleScalar(row.value)), row.key), row.expected)
      << row.variable << " = " << row.value;
}

INSTANTIATE_TEST_SUITE_P(
    Switches, ThresholdTest,
    ::testing::Values(
        Threshold{"signalLoggingToPersistentStorage", Catalogue::SignalLoggingToPersistentStorage, -1.0, u"off"},
        Threshold{"signalLoggingToPersistentStorage", Catalogue::SignalLoggingToPersistentStorage, 0.0, u"off"},
        Threshold{"signalLoggingToPersistentStorage", Catalogue::SignalLoggingToPersistentStorage, 1e-300, u"on"},
        Threshold{"signalLoggingToPersistentStorage", Catalogue::SignalLoggingToPersistentStorage, 0.5, u"on"},
        Threshold{"signalLoggingToPersistentStorage", Catalogue::SignalLoggingToPersistentStorage, 1.0, u"on"},
        Threshold{"outputLogging", Catalogue::OutputLogging, 0.0, u"off"},
        Threshold{"outputLogging", Catalogue::OutputLogging, 0.5, u"off"},
        Threshold{"outputLogging", Catalogue::OutputLogging, 0.500001, u"on"},
        Threshold{"outputLogging", Catalogue::OutputLogging, -2.0, u"off"},
        Threshold{"disableSignalLoggingToR2forXIL", Catalogue::DisableSignalLoggingToR2forXIL, 0.0, u"off"},
        Threshold{"disableSignalLoggingToR2forXIL", Catalogue::DisableSignalLoggingToR2forXIL, 0.5, u"off"},
        Threshold{"disableSignalLoggingToR2forXIL", Catalogue::DisableSignalLoggingToR2forXIL, 0.500001, u"on"},
        Threshold{"disableSignalLoggingToR2forXIL", Catalogue::DisableSignalLoggingToR2forXIL, 7.0, u"on"}));

TEST(NewCatalogueTest, logicalSwitchesAreJudgedByTheirFirstElement) {
  EXPECT_EQ(
      settingFrom(Configuration().set("signalLogging", makeLogicals({false, true, true})), Catalogue::SignalLogging),
      u"off");
  EXPECT_EQ(settingFrom(Configuration().set("signalLogging", makeLogicals({true, false})), Catalogue::SignalLogging),
            u"on");
  EXPECT_EQ(settingFrom(Configuration().set("DSMLogging", makeLogicals({true, false})), Catalogue::DSMLogging), u"on");
  EXPECT_EQ(settingFrom(Configuration().set("DSMLogging", makeLogicals({false, true})), Catalogue::DSMLogging), u"off");
}

TEST(NewCatalogueTest, theSwitchesDoNotMixUp) {
  GeneratedCatalogue catalogue(Configuration()
                                   .set("signalLogging", qxCreateLogicalScalar(false))
                                   .set("DSMLogging", qxCreateLogicalScalar(true))
                                   .set("outputLogging", qxCreateDoubleScalar(0))
                                   .set("disableSignalLoggingToR2forXIL", qxCreateDoubleScalar(1))
                                   .set("signalLoggingToPersistentStorage", qxCreateDoubleScalar(1)));
  ASSERT_NE(catalogue.get(), nullptr);
  EXPECT_EQ(catalogue->settings(Catalogue::SignalLogging), u"off");
  EXPECT_EQ(catalogue->settings(Catalogue::DSMLogging), u"on");
  EXPECT_EQ(catalogue->settings(Catalogue::OutputLogging), u"off");
  EXPECT_EQ(catalogue->settings(Catalogue::DisableSignalLoggingToR2forXIL), u"on");
  EXPECT_EQ(catalogue->settings(Catalogue::SignalLoggingToPersistentStorage), u"on");
}

TEST(NewCatalogueTest, storageParametersAreKeptAsText) {
  EXPECT_EQ(settingFrom(Configuration().set("signalStorageParameters", qxCreateString("")),
                        Catalogue::SignalStorageParameters),
            u"");
  EXPECT_EQ(settingFrom(Configuration().set("signalStorageParameters", qxCreateString("d\xc3\xa9p\\not")),
                        Catalogue::SignalStorageParameters),
            u"d\u00e9p\\not")
      << "no unescaping";
}

TEST(NewCatalogueTest, loadsTheLoggingSelectionOfTheSameFile) {
  GeneratedCatalogue catalogue(Configuration().set(
      "loggingSelection", makeSelection({}, {{.path = {u"m/b"}, .port = 1, .selector = 0}}).release()));
  ASSERT_NE(catalogue.get(), nullptr);
  EXPECT_TRUE(catalogue->signalLoggingOverride(createSignal(*catalogue.get(), 0)));
  EXPECT_FALSE(catalogue->signalLoggingOverride(createSignal(*catalogue.get(), 1)));
}

TEST(NewCatalogueTest, readsFileNamesInUnicode) {
  TemporaryFolder folder;
  const std::string name = folder.file("config \xc3\xa4\xf0\x9f\x9a\x80.qat");
  Configuration().write(name);
  void* handle = zetGetNewVtioCatalogue(name.c_str());
  ASSERT_NE(handle, nullptr);
  zetTerminateVtioCatalogue(&handle);
}

TEST(NewCatalogueTest, aMissingFileGivesNull) {
  TemporaryFolder folder;
  EXPECT_EQ(zetGetNewVtioCatalogue(folder.file("missing.qat").c_str()), nullptr);
  EXPECT_EQ(zetGetNewVtioCatalogue(""), nullptr);
}

TEST(NewCatalogueTest, aFileOfAnotherKindGivesNull) {
  TemporaryFolder folder;
  const std::string name = folder.file("text.qat");
  std::ofstream(name) << "signalLogging = true\n";
  EXPECT_EQ(zetGetNewVtioCatalogue(name.c_str()), nullptr);
}

TEST(NewCatalogueTest, everyMissingVariableGivesNull) {
  for (const char* variable : {"signalLoggingToPersistentStorage", "signalLogging", "signalStorageParameters",
                               "outputLogging", "DSMLogging", "disableSignalLoggingToR2forXIL"}) {
    EXPECT_FALSE(startsWith(Configuration().drop(variable))) << variable;
  }
}

TEST(NewCatalogueTest, everyVariableOfTheWrongClassGivesNull) {
  for (const char* variable : {"signalLogging", "DSMLogging"}) {
    EXPECT_FALSE(startsWith(Configuration().set(variable, qxCreateDoubleScalar(1)))) << variable;
  }
  for (const char* variable : {"signalLoggingToPersistentStorage", "outputLogging", "disableSignalLoggingToR2forXIL"}) {
    const std::size_t dimensions[2] = {1, 1};
    EXPECT_FALSE(startsWith(Configuration().set(variable, qxCreateCellArray(2, dimensions)))) << variable;
  }
  EXPECT_FALSE(startsWith(Configuration().set("signalStorageParameters", qxCreateDoubleScalar(1))));
}

TEST(NewCatalogueTest, everyEmptySwitchGivesNull) {
  for (const char* variable : {"signalLogging", "DSMLogging"}) {
    EXPECT_FALSE(startsWith(Configuration().set(variable, makeLogicals({})))) << variable;
  }
  for (const char* variable : {"signalLoggingToPersistentStorage", "outputLogging", "disableSignalLoggingToR2forXIL"}) {
    EXPECT_FALSE(startsWith(Configuration().set(variable, makeEmptyDoubles()))) << variable;
  }
}

TEST(NewCatalogueTest, aMalformedSelectionGivesNull) {
  EXPECT_FALSE(startsWith(Configuration().set("loggingSelection", qxCreateDoubleScalar(1))));
}

TEST(TerminateCatalogueTest, destroysTheCatalogueAndNullsTheVariable) {
  GeneratedCatalogue catalogue;
  ASSERT_NE(catalogue.get(), nullptr);
  int destroyed = 0;
  auto client = std::make_unique<RecordingClient>(createSignal(*catalogue.get()));
  client->onDestruction = [&destroyed] { ++destroyed; };
  catalogue->addClient(std::move(client), u"d");
  zetTerminateVtioCatalogue(&catalogue.handle());
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(catalogue.handle(), nullptr);
}

TEST(TerminateCatalogueTest, emptiesTheCellAndLeavesItAllocated) {
  GeneratedCatalogue catalogue;
  ASSERT_NE(catalogue.handle(), nullptr);
  void* cell = catalogue.handle();
  catalogue.terminate();
  EXPECT_EQ(*static_cast<void**>(cell), nullptr);
  void* again = cell;
  zetTerminateVtioCatalogue(&again);  // nothing left to destroy in the cell
  EXPECT_EQ(again, nullptr);
}

class SaveThroughEntryTest : public ::testing::Test {
 protected:
  RecordingClient& add() {
    auto client = std::make_unique<RecordingClient>(createSignal(*catalogue_.get()));
    RecordingClient& result = *client;
    result.yields(3.0);
    catalogue_->addClient(std::move(client), u"d");
    return result;
  }

  TemporaryFolder folder_;
  GeneratedCatalogue catalogue_;
};

TEST_F(SaveThroughEntryTest, writesTheDatasets) {
  const std::string name = folder_.file("r\xc3\xa9sultats.qat");
  add();
  zetSaveDatasetsToQatFile(catalogue_.get(), name.c_str());
  EXPECT_THAT(variableNames(name), ElementsAre("DATASET_SIGNAL_LOGGING"));
}

TEST_F(SaveThroughEntryTest, dropsEveryFailure) {
  const RecordingClient& client = add();
  EXPECT_NO_THROW(zetSaveDatasetsToQatFile(catalogue_.get(), folder_.file("missing/r.qat").c_str()));
  EXPECT_EQ(client.datasetElementCalls, 0);
  RecordingClient& failing = add();
  failing.makeDatasetElement = []() -> vtu::qxArrayWrapper { throw 42; };
  EXPECT_NO_THROW(zetSaveDatasetsToQatFile(catalogue_.get(), folder_.file("r.qat").c_str()));
  EXPECT_EQ(failing.datasetElementCalls, 1);
}

TEST(LoggingOverrideEntryTest, appliesTheSelectionToOneSignal) {
  GeneratedCatalogue catalogue(Configuration().set(
      "loggingSelection",
      makeSelection({}, {{.path = {u"m/b"}, .port = 1, .selector = 2, .customName = u"new", .decimation = 4}})
          .release()));
  ASSERT_NE(catalogue.get(), nullptr);
  const SignalDescriptor& other = createSignal(*catalogue.get(), 0);
  const SignalDescriptor& listed = createSignal(*catalogue.get(), 1);
  zetLoggingOverride(&other, catalogue.get());
  EXPECT_EQ(other.signalName(), u"s");
  EXPECT_EQ(other.decimation(), 5u);
  EXPECT_EQ(listed.decimation(), 5u);
  zetLoggingOverride(&listed, catalogue.get());
  EXPECT_EQ(listed.signalName(), u"new");
  EXPECT_EQ(listed.decimation(), 4u);
}

}  // namespace
}  // namespace vtio::testing
