#include "platform/diagnostics.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;

std::string messageOf(const char* identifier, const char* key, std::vector<vtu::ustring> arguments) {
  try {
    vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic(identifier, key, std::move(arguments)));
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

TEST(Diagnostic, carriesWhatItWasMadeFrom) {
  const vtsv::Diagnostic diagnostic = vtsvCreateDiagnostic("Vortan:FileIO", "ToFromFileOpenCloseErr", {u"a", u"b"});
  EXPECT_EQ(diagnostic.identifier, "Vortan:FileIO");
  EXPECT_EQ(diagnostic.key, "ToFromFileOpenCloseErr");
  EXPECT_EQ(diagnostic.arguments, (std::vector<vtu::ustring>{u"a", u"b"}));
}

TEST(Diagnostic, ofNullTextsIsEmpty) {
  const vtsv::Diagnostic diagnostic = vtsvCreateDiagnostic(nullptr, nullptr, {});
  EXPECT_EQ(diagnostic.identifier, "");
  EXPECT_EQ(diagnostic.key, "");
  EXPECT_TRUE(diagnostic.arguments.empty());
}

TEST(IException, isThrownWithTheDiagnostic) {
  try {
    vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic("Vortan:logLoadBlocks", "UnhandledDatatype", {u"half"}));
    FAIL();
  } catch (const vtsv::IException& exception) {
    EXPECT_EQ(exception.diagnostic().key, "UnhandledDatatype");
    EXPECT_EQ(exception.diagnostic().arguments.at(0), u"half");
  }
}

struct CatalogueCase {
  const char* identifier;
  const char* key;
  std::vector<vtu::ustring> arguments;
};

TEST(IException, saysEveryKnownErrorInASentenceWithItsArguments) {
  const std::vector<CatalogueCase> cases = {
      {"Vortan:logLoadBlocks", "UnhandledDatatype", {u"half"}},
      {"Vortan:FileIO", "ToFromFileOpenCloseErr", {u"r\u00E9sultats.qat"}},
      {"Vortan:FileIO", "CannotSave", {u"results.qat", u"no space"}},
      {"Vortan:Qat", "Unreadable", {u"results.qat", u"the checksum is wrong"}},
      {"Vortan:Qat", "NoSuchPart", {u"results.qat", u"no variable"}},
      {"Vortan:Qalc", "NullArray", {u"qxGetData"}},
      {"Vortan:Qalc", "WrongClass", {u"qxGetCell", u"double", u"cell"}},
      {"Vortan:Qalc", "IndexOutOfRange", {u"qxGetCell", u"7", u"3"}},
      {"Vortan:Qalc", "EmptyArray", {u"qxGetScalar"}},
      {"Vortan:BlockPath", "BadEncoding", {u"a%2"}},
      {"Vortan:LoggingSelection", "Malformed", {u"signals[3].port", u"it is negative"}},
  };
  for (const CatalogueCase& c : cases) {
    const std::string message = messageOf(c.identifier, c.key, c.arguments);
    EXPECT_THAT(message, Not(HasSubstr("Vortan:"))) << "only the generic text names the identifier";
    EXPECT_EQ(message.back(), '.') << message;
    for (const vtu::ustring& argument : c.arguments) {
      EXPECT_THAT(message, HasSubstr(vtu::to_string(argument)));
    }
  }
}

TEST(IException, saysAnUnknownErrorWithEverythingThatIsKnown) {
  const std::string message = messageOf("Vortan:Other", "Strange", {u"first", u"second"});
  for (const char* part : {"Vortan:Other", "Strange", "first", "second"}) {
    EXPECT_THAT(message, HasSubstr(part));
  }
}

TEST(IException, leavesOutArgumentsThatAreMissing) {
  EXPECT_THAT(messageOf("Vortan:FileIO", "ToFromFileOpenCloseErr", {}), HasSubstr("The file ''"));
}

TEST(IException, doesNotReadPlaceholdersInArguments) {
  EXPECT_THAT(messageOf("Vortan:BlockPath", "BadEncoding", {u"%1%2%"}), HasSubstr("'%1%2%'"));
}

TEST(IException, keepsItsMessageWhenCopied) {
  const vtsv::IException original(vtsvCreateDiagnostic("Vortan:Qalc", "NullArray", {u"qxGetData"}));
  const std::string message = original.what();
  vtsv::IException copy = original;
  EXPECT_EQ(copy.what(), message);
  const vtsv::IException moved = std::move(copy);
  EXPECT_EQ(moved.what(), message);
}

}  // namespace
