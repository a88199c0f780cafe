// zetLastError(): its message about a failure that an entry function does not report.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/logging_interval.hpp"
#include "tests/runtime/generated_code.hpp"
#include "tests/runtime/recording_client.hpp"

namespace vtio::testing {
namespace {

using namespace mdlref_simtarget;
using core::client::Catalogue;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::StrEq;

constexpr const char* kVariables[] = {
    "signalLoggingToPersistentStorage", "signalLogging", "signalStorageParameters", "outputLogging", "DSMLogging",
    "disableSignalLoggingToR2forXIL"};

class LastErrorTest : public ::testing::Test {
 protected:
  /// The message when a catalogue is made from the file, which must fail.
  std::string creationError(const std::string& name) {
    EXPECT_EQ(zetGetNewVtioCatalogue(name.c_str()), nullptr);
    return zetLastError();
  }
  std::string creationError(const Configuration& configuration) {
    configuration.write(file_);
    return creationError(file_);
  }

  static void* leafOfType(const char* type) {
    void* tree = zetGetTreeVector();
    zetAddLeafNode(0, "x", "zoh", 0, nullptr, 0, type, "", "", 0, 0, tree);
    return tree;
  }
  const void* describe(void* tree, const char* encodedPath = "") {
    return zetGetSignalDescriptor(tree, 1, 3, 0, 1, "x", "", encodedPath, "m/b", 0, 0, &catalogue_, nullptr, 0, nullptr,
                                  0);
  }

  TemporaryFolder folder_;
  std::string file_ = folder_.file("file.qat");
  Catalogue catalogue_;
};

TEST_F(LastErrorTest, missingConfiguration) {
  EXPECT_THAT(creationError(file_),
              AllOf(StartsWith("zetGetNewVtioCatalogue: '" + file_ + "': "), HasSubstr("No such file")));
}

TEST_F(LastErrorTest, configurationThatIsNoQatFile) {
  std::ofstream(file_) << "signalLogging = on";
  EXPECT_THAT(creationError(file_), StartsWith("zetGetNewVtioCatalogue: '" + file_ + "': "));
}

TEST_F(LastErrorTest, eachMissingVariableIsNamed) {
  for (const std::string variable : kVariables) {
    Configuration configuration;
    configuration.drop(variable);
    EXPECT_THAT(creationError(configuration), StartsWith("zetGetNewVtioCatalogue: the variable '" + variable +
                                                         "' of '" + file_ + "' cannot be read: "));
  }
}

TEST_F(LastErrorTest, variableOfTheWrongClassIsNamed) {
  Configuration configuration;
  configuration.set("signalLogging", qxCreateString("yes"));
  EXPECT_THAT(creationError(configuration),
              StartsWith("zetGetNewVtioCatalogue: the variable 'signalLogging' of '" + file_ + "' is unfit: "));
}

TEST_F(LastErrorTest, malformedSelectionIsNamedWithItsFile) {
  Configuration configuration;
  configuration.set("loggingSelection", qxCreateDoubleScalar(3));
  EXPECT_THAT(creationError(configuration), AllOf(HasSubstr("'" + file_ + "': "), HasSubstr("loggingSelection")));
}

// Every sixteenth byte is changed in turn; the message then names the file and is never the general sentence alone.
TEST_F(LastErrorTest, damagedConfigurationIsNamedWithTheDamage) {
  Configuration configuration;
  configuration.set("loggingSelection", makeSelection(1).release());
  configuration.write(file_);
  std::ifstream in(file_, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  int refused = 0;
  int inSelection = 0;
  for (std::size_t at = 0; at < bytes.size(); at += 16) {
    std::string damaged = bytes;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
    std::ofstream(file_, std::ios::binary) << damaged;
    if (void* handle = zetGetNewVtioCatalogue(file_.c_str())) {
      EXPECT_THAT(zetLastError(), StrEq("")) << "byte " << at;
      zetTerminateVtioCatalogue(&handle);
      continue;
    }
    ++refused;
    const std::string said = zetLastError();
    EXPECT_THAT(said, HasSubstr(file_)) << "byte " << at;
    EXPECT_EQ(said.find("cannot be opened or closed"), std::string::npos) << "byte " << at << ": " << said;
    if (said.find("loggingSelection") != std::string::npos) ++inSelection;
  }
  EXPECT_GT(refused, 20);
  EXPECT_GT(inSelection, 3);
}

TEST_F(LastErrorTest, successMakesItEmpty) {
  creationError(file_);
  GeneratedCatalogue catalogue;
  EXPECT_THAT(zetLastError(), StrEq(""));
}

TEST_F(LastErrorTest, droppedNodeIsNamedUntilTheNextTree) {
  void* tree = zetGetTreeVector();
  zetAddTopBusNode("bus", 2, tree);
  zetAddLeafNode(0, "good", "zoh", 0, nullptr, 0, "double", "", "", 0, 0, tree);
  zetAddLeafNode(0, "bad", "zoh", 0, nullptr, 0, "int24", "", "", 0, 0, tree);
  const std::string said = zetLastError();
  EXPECT_THAT(said, AllOf(StartsWith("zetAddLeafNode: "), HasSubstr("'int24'")));
  zetAddLeafNode(0, "good too", "zoh", 0, nullptr, 0, "double", "", "", 0, 0, tree);
  zetPopNVBusNode(tree);
  EXPECT_NE(describe(tree), nullptr);
  EXPECT_EQ(zetLastError(), said) << "the descriptor was made, but its tree lacks a node";
  EXPECT_NE(describe(leafOfType("double")), nullptr);
  EXPECT_THAT(zetLastError(), StrEq(""));
}

TEST_F(LastErrorTest, treeWithoutARootIsNamedWithTheNodeThatIsMissing) {
  EXPECT_EQ(describe(leafOfType("int24")), nullptr);
  EXPECT_THAT(zetLastError(), AllOf(StartsWith("zetGetSignalDescriptor: the tree has no root"),
                                    HasSubstr("before that, zetAddLeafNode: "), HasSubstr("'int24'")));
}

TEST_F(LastErrorTest, eachAddFunctionNamesItself) {
  static const unsigned one = 1;
  const auto expectName = [](const char* function) { EXPECT_THAT(zetLastError(), StartsWith(function)); };
  zetAddTopNVBusNode(0, "", 1, nullptr, 1, 8, &one, "", 0, 0, nullptr);
  expectName("zetAddTopNVBusNode: ");
  zetAddNVBusNode(0, "", 1, nullptr, 1, 8, &one, nullptr);
  expectName("zetAddNVBusNode: ");
  zetAddTopBusNode("", 1, nullptr);
  expectName("zetAddTopBusNode: the tree vector is null");
  zetAddBusNode("", 1, nullptr);
  expectName("zetAddBusNode: the tree vector is null");
  zetAddFixedPointLeafNode(0, "", "", 0, nullptr, 1, "", "", true, 8, 1, 0, 0, "", 0, 0, nullptr);
  expectName("zetAddFixedPointLeafNode: a null array of 1 values");
  zetAddEnumLeafNode(0, "", "", nullptr, 0, "", "", "no class", "", 0, 0, nullptr, nullptr, 0, nullptr);
  expectName("zetAddEnumLeafNode: ");
}

TEST_F(LastErrorTest, badPathAndNullsAreNamed) {
  EXPECT_EQ(describe(leafOfType("double"), "%"), nullptr);
  EXPECT_THAT(zetLastError(), AllOf(StartsWith("zetGetSignalDescriptor: "), HasSubstr("'%'")));
  EXPECT_EQ(describe(nullptr), nullptr);
  EXPECT_THAT(zetLastError(), StartsWith("zetGetSignalDescriptor: the tree vector is null"));
  const smartlog::LoggingInterval interval;
  EXPECT_EQ(zetGetAccessor(nullptr, &interval), nullptr);
  EXPECT_THAT(zetLastError(), StrEq("zetGetAccessor: the descriptor is null"));
  const void* descriptor = describe(leafOfType("double"));
  EXPECT_EQ(zetGetAccessor(descriptor, nullptr), nullptr);
  EXPECT_THAT(zetLastError(), StrEq("zetGetAccessor: the logging interval is null"));
  void** accessor = zetGetAccessor(descriptor, &interval);
  EXPECT_THAT(zetLastError(), StrEq(""));
  zetDestructAccessorPointer(accessor);
}

TEST_F(LastErrorTest, savingNamesWhatItDropped) {
  const std::string nowhere = folder_.file("no-such-folder/results.qat");
  zetSaveDatasetsToQatFile(&catalogue_, nowhere.c_str());
  EXPECT_THAT(zetLastError(), AllOf(StartsWith("zetSaveDatasetsToQatFile: "), HasSubstr(nowhere), HasSubstr("folder")));
  zetSaveDatasetsToQatFile(&catalogue_, file_.c_str());
  EXPECT_THAT(zetLastError(), StrEq(""));
  zetSaveDatasetsToQatFile(nullptr, file_.c_str());
  EXPECT_THAT(zetLastError(), StrEq("zetSaveDatasetsToQatFile: the catalogue is null"));

  const auto descriptor = makeDescriptor(makeLeaf());
  auto client = std::make_unique<RecordingClient>(*descriptor);
  client->makeDatasetElement = []() -> vtu::qxArrayWrapper { throw std::runtime_error("the link is down"); };
  catalogue_.addClient(std::move(client), u"logsout");
  zetSaveDatasetsToQatFile(&catalogue_, folder_.file("other.qat").c_str());
  EXPECT_THAT(zetLastError(), StrEq("zetSaveDatasetsToQatFile: the link is down"));
}

TEST_F(LastErrorTest, eachThreadHasItsOwn) {
  creationError(file_);
  std::thread([] { EXPECT_THAT(zetLastError(), StrEq("")); }).join();
  EXPECT_THAT(zetLastError(), StartsWith("zetGetNewVtioCatalogue: "));
}

}  // namespace
}  // namespace vtio::testing
