// Tests of the run settings and of the logging selection.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "tests/runtime/qalc_support.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/client/catalogue.hpp"

namespace vtio::testing {
namespace {

using core::client::Catalogue;
using core::utils::SignalDescriptor;

static_assert(std::is_same_v<std::underlying_type_t<Catalogue::SettingKeys>, int>);

TEST(CatalogueSettingsTest, keyValuesAreFixed) {
  EXPECT_EQ(static_cast<int>(Catalogue::SignalLoggingToPersistentStorage), 0);
  EXPECT_EQ(static_cast<int>(Catalogue::DisableSignalLoggingToR2forXIL), 1);
  EXPECT_EQ(static_cast<int>(Catalogue::SignalStorageParameters), 2);
  EXPECT_EQ(static_cast<int>(Catalogue::Reserved3), 3);
  EXPECT_EQ(static_cast<int>(Catalogue::Reserved4), 4);
  EXPECT_EQ(static_cast<int>(Catalogue::Reserved5), 5);
  EXPECT_EQ(static_cast<int>(Catalogue::OutputLogging), 6);
  EXPECT_EQ(static_cast<int>(Catalogue::SignalLogging), 7);
  EXPECT_EQ(static_cast<int>(Catalogue::DSMLogging), 8);
}

TEST(CatalogueSettingsTest, everyKeyStartsEmpty) {
  const Catalogue catalogue;
  for (int key = 0; key <= 8; ++key) {
    EXPECT_EQ(catalogue.settings(static_cast<Catalogue::SettingKeys>(key)), u"") << key;
  }
}

TEST(CatalogueSettingsTest, unsetKeysReadTheCataloguesOwnEmptyText) {
  Catalogue catalogue;
  const Catalogue other;
  const vtu::ustring& empty = catalogue.settings(Catalogue::DSMLogging);
  EXPECT_EQ(&catalogue.settings(Catalogue::OutputLogging), &empty);
  EXPECT_NE(&other.settings(Catalogue::OutputLogging), &empty);
  catalogue.settings(Catalogue::DSMLogging, u"on");
  EXPECT_EQ(empty, u"");
}

TEST(CatalogueSettingsTest, keepsOneTextPerKey) {
  Catalogue catalogue;
  for (int key = 0; key <= 8; ++key) {
    catalogue.settings(static_cast<Catalogue::SettingKeys>(key), std::u16string(1, static_cast<char16_t>(u'a' + key)));
  }
  for (int key = 0; key <= 8; ++key) {
    EXPECT_EQ(catalogue.settings(static_cast<Catalogue::SettingKeys>(key)),
              std::u16string(1, static_cast<char16_t>(u'a' + key)));
  }
}

TEST(CatalogueSettingsTest, theSecondValueReplacesTheFirst) {
  Catalogue catalogue;
  catalogue.settings(Catalogue::SignalLogging, u"on");
  catalogue.settings(Catalogue::SignalLogging, u"off");
  EXPECT_EQ(catalogue.settings(Catalogue::SignalLogging), u"off");
  catalogue.settings(Catalogue::SignalLogging, u"");
  EXPECT_EQ(catalogue.settings(Catalogue::SignalLogging), u"");
}

TEST(CatalogueSettingsTest, aReferenceOutlivesTheSettingOfOtherKeys) {
  Catalogue catalogue;
  catalogue.settings(Catalogue::SignalLogging, u"a text that is longer than any small buffer");
  const vtu::ustring& text = catalogue.settings(Catalogue::SignalLogging);
  for (int key = 0; key <= 6; ++key) {
    catalogue.settings(static_cast<Catalogue::SettingKeys>(key), u"x");
  }
  EXPECT_EQ(&catalogue.settings(Catalogue::SignalLogging), &text);
  EXPECT_EQ(text, u"a text that is longer than any small buffer");
}

class LoggingOverrideTest : public ::testing::Test {
 protected:
  const SignalDescriptor& create(const std::vector<std::u16string>& path, unsigned long port) {
    return catalogue_.createSignalDescriptor(makeLeaf(), 1ul, 500ul, 5ul, u"own", u"", makePath(path), port);
  }
  void expectUntouched(const SignalDescriptor& descriptor) {
    EXPECT_EQ(descriptor.signalName(), u"own");
    EXPECT_EQ(descriptor.decimation(), 5u);
    EXPECT_EQ(descriptor.maxPoints(), 500u);
  }

  Catalogue catalogue_;
  const SignalDescriptor& descriptor_ = create({u"top", u"m/b"}, 1);
};

TEST_F(LoggingOverrideTest, withoutASelectionEverythingIsLoggedAsItIs) {
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  expectUntouched(descriptor_);
}

TEST_F(LoggingOverrideTest, selectorZeroSwitchesOff) {
  catalogue_.setModelLoggingInfo(makeSelection({}, {{.path = {u"top", u"m/b"}, .port = 1, .selector = 0}}).get());
  EXPECT_FALSE(catalogue_.signalLoggingOverride(descriptor_));
  expectUntouched(descriptor_);
}

TEST_F(LoggingOverrideTest, selectorOneLogsAsItIs) {
  catalogue_.setModelLoggingInfo(
      makeSelection(0, {{.path = {u"top", u"m/b"}, .port = 1, .selector = 1, .customName = u"other", .decimation = 3}})
          .get());
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  expectUntouched(descriptor_);
}

TEST_F(LoggingOverrideTest, selectorTwoOverridesTheStoredDescriptor) {
  catalogue_.setModelLoggingInfo(makeSelection(0, {{.path = {u"top", u"m/b"},
                                                    .port = 1,
                                                    .selector = 2,
                                                    .customName = u"other",
                                                    .decimation = 3,
                                                    .maxPoints = 44}})
                                     .get());
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  EXPECT_EQ(descriptor_.signalName(), u"other");
  EXPECT_EQ(descriptor_.decimation(), 3u);
  EXPECT_EQ(descriptor_.maxPoints(), 44u);
}

TEST_F(LoggingOverrideTest, absentSettingsResetDecimationAndLimitButNotTheName) {
  catalogue_.setModelLoggingInfo(makeSelection(0, {{.path = {u"top", u"m/b"}, .port = 1, .selector = 2}}).get());
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  EXPECT_EQ(descriptor_.signalName(), u"own");
  EXPECT_EQ(descriptor_.decimation(), 1u);
  EXPECT_EQ(descriptor_.maxPoints(), 0u);
}

TEST_F(LoggingOverrideTest, aListedPortIsFoundByWholePathAndPort) {
  const SignalDescriptor& otherPort = create({u"top", u"m/b"}, 0);
  const SignalDescriptor& otherPath = create({u"m/b"}, 1);
  catalogue_.setModelLoggingInfo(makeSelection({}, {{.path = {u"top", u"m/b"}, .port = 1, .selector = 0}}).get());
  EXPECT_FALSE(catalogue_.signalLoggingOverride(descriptor_));
  EXPECT_TRUE(catalogue_.signalLoggingOverride(otherPort));
  EXPECT_TRUE(catalogue_.signalLoggingOverride(otherPath));
}

TEST_F(LoggingOverrideTest, theDefaultHoldsForPortsThatAreNotListed) {
  catalogue_.setModelLoggingInfo(makeSelection(0).get());
  EXPECT_FALSE(catalogue_.signalLoggingOverride(descriptor_));
  catalogue_.setModelLoggingInfo(makeSelection(2).get());
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  EXPECT_EQ(descriptor_.decimation(), 1u);
  EXPECT_EQ(descriptor_.maxPoints(), 0u);
}

TEST_F(LoggingOverrideTest, asksForTheGivenPathButChangesTheDescriptorWithItsNumber) {
  const SignalDescriptor& stored = create({u"somewhere/else"}, 7);  // number 1
  const auto given = makeDescriptor(
      makeLeaf(),
      {.name = u"own", .path = {u"asked"}, .port = 3, .maxPoints = 500, .decimation = 5, .catalogueIndex = 1});
  catalogue_.setModelLoggingInfo(
      makeSelection(0, {{.path = {u"asked"}, .port = 3, .selector = 2, .customName = u"new", .decimation = 9}}).get());
  EXPECT_TRUE(catalogue_.signalLoggingOverride(*given));
  expectUntouched(*given);
  expectUntouched(descriptor_);
  EXPECT_EQ(stored.signalName(), u"new");
  EXPECT_EQ(stored.decimation(), 9u);
  EXPECT_EQ(stored.maxPoints(), 0u);
}

TEST_F(LoggingOverrideTest, aSecondSelectionReplacesTheFirst) {
  const SignalDescriptor& other = create({u"m/c"}, 0);
  catalogue_.setModelLoggingInfo(makeSelection({}, {{.path = {u"top", u"m/b"}, .port = 1, .selector = 0}}).get());
  catalogue_.setModelLoggingInfo(makeSelection({}, {{.path = {u"m/c"}, .port = 0, .selector = 0}}).get());
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  EXPECT_FALSE(catalogue_.signalLoggingOverride(other));
}

TEST_F(LoggingOverrideTest, readsASelectionFromAFile) {
  TemporaryFolder folder;
  const std::string name = folder.file("w\xc3\xa4hl.qat");
  Configuration()
      .set("loggingSelection", makeSelection({}, {{.path = {u"top", u"m/b"}, .port = 1, .selector = 0}}).release())
      .write(name);
  catalogue_.setModelLoggingInfo(vtu::to_ustring(name));
  EXPECT_FALSE(catalogue_.signalLoggingOverride(descriptor_));
}

TEST_F(LoggingOverrideTest, aFileWithoutASelectionLogsEverythingAsItIs) {
  TemporaryFolder folder;
  const std::string name = folder.file("plain.qat");
  Configuration().write(name);
  catalogue_.setModelLoggingInfo(makeSelection(0).get());
  catalogue_.setModelLoggingInfo(vtu::to_ustring(name));
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
  expectUntouched(descriptor_);
}

TEST_F(LoggingOverrideTest, aFailedFillLeavesTheNewSelectionNotTheOld) {
  TemporaryFolder folder;
  const std::u16string missing = vtu::to_ustring(folder.file("missing.qat"));
  catalogue_.setModelLoggingInfo(makeSelection(0).get());
  expectDiagnostic([&] { catalogue_.setModelLoggingInfo(missing); }, "Vortan:FileIO", "ToFromFileOpenCloseErr",
                   {missing});
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_)) << "nothing was filled in";
  expectUntouched(descriptor_);

  catalogue_.setModelLoggingInfo(makeSelection(0).get());
  const vtu::qxArrayWrapper number(qxCreateDoubleScalar(1));
  expectDiagnostic([&] { catalogue_.setModelLoggingInfo(number.get()); }, "Vortan:LoggingSelection", "Malformed");
  EXPECT_TRUE(catalogue_.signalLoggingOverride(descriptor_));
}

}  // namespace
}  // namespace vtio::testing
