#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "runner/description/start_values.hpp"
#include "runner/description/variable_name.hpp"
#include "runner/error.hpp"
#include "runner/fmu/status.hpp"
#include "runner/signals/value_store.hpp"
#include "runner/text/printable.hpp"
#include "tests/runner/descriptions.hpp"
#include "tests/runner/fake_instance.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

std::vector<std::string> partsOf(std::string_view name) {
  std::vector<std::string> parts;
  for (const NamePart& part : splitName(name)) parts.emplace_back(part.text);
  return parts;
}

TEST(VariableNameTest, SplitsAtDots) {
  EXPECT_THAT(partsOf("a.b[2].c"), ElementsAre("a", "b[2]", "c"));
  EXPECT_THAT(partsOf("a[1,20].b"), ElementsAre("a[1,20]", "b"));
  EXPECT_THAT(partsOf("'a.b'.c"), ElementsAre("'a.b'", "c"));
  EXPECT_THAT(partsOf("'it\\'s'.c"), ElementsAre("'it\\'s'", "c"));
  EXPECT_EQ(splitName("a[1,20]")[0].base, "a");
  EXPECT_THAT(splitName("a[1,20]")[0].indices, ElementsAre(1U, 20U));
}

TEST(VariableNameTest, LeavesOtherNamesWhole) {
  for (const char* name : {"der(a.b)", "a..b", ".a", "a.", "a[x].b", "a[1.b", "a[].b", "'a.b", "", "a[1]b.c",
                           "a[99999999999999999999].b", "a b"}) {
    EXPECT_THAT(partsOf(name), ElementsAre(name)) << name;
  }
}

TEST(PrintableTest, ShowsControlCharactersAndCutsLongTexts) {
  EXPECT_EQ(printable("a\x1b[31m\n"), "a\\x1b[31m\\x0a");
  EXPECT_EQ(printable(std::string(1000, 'x'), 10), "xxxxx\u2026xxxx");
  EXPECT_EQ(printable("\u00e4\u00e4\u00e4\u00e4", 3), "\u00e4\u2026\u00e4") << "no character is cut";
}

class ValuesTest : public ::testing::Test {
 protected:
  ModelDescription model_ = runner_test::read(runner_test::fmi3(
      R"(<Float64 name="x" valueReference="1" min="-1" max="10"/>
       <Float64 name="m" valueReference="2"><Dimension start="2"/><Dimension start="2"/></Float64>
       <Int16 name="i" valueReference="3"/><UInt8 name="u" valueReference="4"/><Boolean name="b" valueReference="5"/>
       <Enumeration name="e" valueReference="6" declaredType="E"/><String name="s" valueReference="7"/>
       <Binary name="d" valueReference="8"/>)",
      "<TypeDefinitions><EnumerationType name='E'><Item name='Off' value='-3'/></EnumerationType></TypeDefinitions>"));

  [[nodiscard]] Values parse(const char* name, const char* text) const {
    return parseValues(text, *model_.find(name), model_);
  }

  template <typename T>
  [[nodiscard]] std::vector<T> numbers(const char* name, const char* text) const {
    const Values values = parse(name, text);
    std::vector<T> result(values.numbers.size() / sizeof(T));
    std::memcpy(result.data(), values.numbers.data(), values.numbers.size());
    return result;
  }

  void expectRefused(const char* name, const char* text, const char* what) const {
    EXPECT_THAT([&] { (void)parse(name, text); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
  }
};

TEST_F(ValuesTest, AreReadByType) {
  EXPECT_THAT(numbers<double>("x", "+1.5e0"), ElementsAre(1.5));
  EXPECT_THAT(numbers<double>("m", "1 2  3\t4"), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(numbers<double>("m", "7"), ElementsAre(7, 7, 7, 7));
  EXPECT_THAT(numbers<std::int16_t>("i", "-32768"), ElementsAre(-32768));
  EXPECT_THAT(numbers<std::uint8_t>("u", "255"), ElementsAre(255));
  EXPECT_THAT(numbers<std::uint8_t>("b", "true"), ElementsAre(1));
  EXPECT_THAT(numbers<std::int64_t>("e", "Off"), ElementsAre(-3));
  EXPECT_THAT(numbers<std::int64_t>("e", "-3"), ElementsAre(-3));
  EXPECT_THAT(parse("s", " two words ").texts, ElementsAre(" two words "));
  EXPECT_THAT(parse("d", "00fFA1").texts, ElementsAre(std::string("\0\xff\xa1", 3)));
}

TEST_F(ValuesTest, AreRefusedWithVariableAndText) {
  expectRefused("x", "11", "11 is above the maximum 10, variable 'x'");
  expectRefused("x", "-2", "below the minimum -1");
  expectRefused("x", "NaN", "nan is outside the minimum and maximum, variable 'x'");
  expectRefused("x", "fast", "'fast' is no value of type Float64, variable 'x'");
  expectRefused("x", "", "'' is no value");
  expectRefused("m", "1 2 3", "3 values for 4 elements");
  expectRefused("i", "32768", "no value of type Int16");
  expectRefused("u", "-1", "no value of type UInt8");
  expectRefused("e", "On", "'On' is no label or value of E, variable 'e'");
  expectRefused("e", "5", "'5' is no label or value of E");
  expectRefused("d", "0g", "not hexadecimal");
  expectRefused("d", "0\x10", "not hexadecimal");
}

// Gives every value 7.
class SevenInstance : public runner_test::FakeInstance<> {
 public:
  void get(VariableType type, std::span<const std::uint32_t>, void* values, std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      if (type == VariableType::enumeration) static_cast<std::int64_t*>(values)[i] = 7;
      if (type == VariableType::int32) static_cast<std::int32_t*>(values)[i] = 7;
    }
  }
};

// Both are integers to FMI 2, of other sizes here.
TEST(ValueStoreTest, AnIntegerAndAnEnumerationOfOneReferenceHavePlacesOfTheirOwn) {
  const ModelDescription model = runner_test::read(runner_test::fmi2(
      R"(<ScalarVariable name="whole" valueReference="1"><Integer/></ScalarVariable>
         <ScalarVariable name="mode" valueReference="1"><Enumeration declaredType="E"/></ScalarVariable>
         <ScalarVariable name="alias" valueReference="1"><Integer/></ScalarVariable>)",
      R"(<TypeDefinitions><SimpleType name="E"><Enumeration><Item name="a" value="7"/></Enumeration></SimpleType>
         </TypeDefinitions>)"));
  ValueStore store(model, {0, 1, 2});
  SevenInstance instance;
  store.read(instance);
  std::int64_t mode = 0;
  std::memcpy(&mode, store.numbers(1), sizeof mode);
  EXPECT_EQ(mode, 7);
  EXPECT_NE(store.numbers(0), store.numbers(1));
  EXPECT_EQ(store.numbers(0), store.numbers(2));
}

TEST(CallStatusTest, EndsTheRunUnlessAllIsWellAndKnowsWhetherTheInstanceMayBeFreed) {
  CallStatus status;
  status.check(0, "f");
  status.check(1, "f");
  const auto expect = [&status](int number, const char* what, bool isFatal) {
    EXPECT_THAT([&] { status.check(number, "fmi2DoStep"); }, ThrowsMessage<RunnerError>(what));
    EXPECT_EQ(status.isFatal(), isFatal) << what;
  };
  expect(2, "fmi2DoStep returned discard", false);
  expect(3, "fmi2DoStep returned an error", false);
  expect(5, "fmi2DoStep returned pending", true);
  status = CallStatus();
  expect(4, "fmi2DoStep returned a fatal error", true);
  status = CallStatus();
  expect(-7, "fmi2DoStep returned the unknown status -7", true);
}

}  // namespace
