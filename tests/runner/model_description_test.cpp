#include "runner/description/model_description.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runner/error.hpp"
#include "runner/run/run_plan.hpp"
#include "tests/runner/descriptions.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using runner_test::float64;
using runner_test::fmi2;
using runner_test::fmi3;
using runner_test::read;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

std::vector<std::string> mistakesIn(const std::string& xml) {
  Mistakes mistakes;
  (void)readModelDescription(xml, mistakes);
  std::vector<std::string> texts;
  for (const Mistake& mistake : mistakes.kept()) texts.push_back((mistake.preventsRun ? "! " : "") + mistake.text());
  return texts;
}

TEST(ModelDescriptionTest, ReadsFmi2) {
  const ModelDescription model = read(fmi2(
      R"(<ScalarVariable name="a.b" valueReference="7" causality="output" description="What it is">
         <Real declaredType="Speed" start="1.5" min="0"/></ScalarVariable>
       <ScalarVariable name="mode" valueReference="1" causality="parameter" variability="tunable">
         <Enumeration declaredType="Mode" start="2"/></ScalarVariable>
       <ScalarVariable name="same" valueReference="7"><Real declaredType="Speed"/></ScalarVariable>
       <ScalarVariable name="number" valueReference="7"><Integer/></ScalarVariable>)",
      R"(<UnitDefinitions><Unit name="m/s"/></UnitDefinitions><TypeDefinitions>
         <SimpleType name="Speed"><Real unit="m/s" displayUnit="km/h" quantity="Velocity" max="9"/></SimpleType>
         <SimpleType name="Mode"><Enumeration><Item name="Off" value="1"/><Item name="On" value="2"/></Enumeration>
         </SimpleType></TypeDefinitions><DefaultExperiment startTime="1" stopTime="1e1" stepSize="INF"/>)"));
  EXPECT_EQ(model.version, FmiVersion::fmi2);
  EXPECT_TRUE(model.structuredNames);
  EXPECT_EQ(model.experiment.stop, 10.0);
  ASSERT_EQ(model.variables.size(), 4U);
  const Variable& speed = model.variables[0];
  EXPECT_EQ(speed.name, "a.b");
  EXPECT_EQ(speed.valueReference, 7U);
  EXPECT_EQ(speed.type, VariableType::float64);
  EXPECT_EQ(speed.causality, Causality::output);
  EXPECT_EQ(speed.variability, Variability::continuous);
  EXPECT_EQ(speed.unit + " " + speed.displayUnit + " " + speed.quantity, "m/s km/h Velocity");
  EXPECT_EQ(speed.min + " " + speed.max, "0 9");
  EXPECT_EQ(speed.description, "What it is");
  const Variable& mode = model.variables[1];
  EXPECT_EQ(mode.variability, Variability::tunable);
  EXPECT_EQ(mode.initial, Initial::exact);
  ASSERT_EQ(mode.enumeration, 0);
  EXPECT_EQ(model.enumerations[0].items[1], (std::pair<std::string, std::int64_t>("On", 2)));
  EXPECT_EQ(model.variables[2].aliasOf, 0U);
  EXPECT_EQ(model.variables[3].aliasOf, std::nullopt) << "an Integer has value references of its own";
}

TEST(ModelDescriptionTest, ReadsFmi3) {
  const ModelDescription model = read(fmi3(
      R"(<UInt64 name="n" valueReference="1" causality="structuralParameter" start="4"/>
       <Float32 name="x" valueReference="2" start="1 2 3 4 5 6 7 8"><Dimension start="2"/>
         <Dimension valueReference="1"/>
         <Alias name="y" description="the same"/></Float32>
       <String name="s" valueReference="3" causality="parameter"><Start value="one two"/></String>
       <Binary name="b" valueReference="4" maxSize="16" causality="input"><Start value="00fF"/></Binary>
       <Clock name="c" valueReference="5" causality="input" intervalVariability="constant" resolution="1000"
         intervalCounter="20" shiftDecimal="0.5"/>
       <Clock name="d" valueReference="6" causality="output" intervalVariability="triggered"/>
       <Int32 name="i" valueReference="7" clocks="5 6"/>)",
      "", R"(<Output valueReference="2"/>)"));
  ASSERT_EQ(model.variables.size(), 8U);
  EXPECT_EQ(model.variables[0].variability, Variability::fixed);
  EXPECT_EQ(model.variables[1].elements(), 8U);
  EXPECT_EQ(model.variables[1].start.size(), 8U);
  EXPECT_EQ(model.variables[2].name, "y");
  EXPECT_EQ(model.variables[2].aliasOf, 1U);
  EXPECT_EQ(model.variables[2].description, "the same");
  EXPECT_THAT(model.variables[3].start, ElementsAre("one two"));
  EXPECT_EQ(model.variables[4].maxSize, 16U);
  EXPECT_EQ(model.variables[5].type, VariableType::clock);
  EXPECT_EQ(model.variables[5].clock->variability, IntervalVariability::constant);
  EXPECT_EQ(model.variables[5].clock->interval, 0.02);
  EXPECT_EQ(model.variables[5].clock->shift, 0.5);
  EXPECT_EQ(model.variables[6].clock->variability, IntervalVariability::triggered);
  EXPECT_THAT(model.variables[7].clocks, ElementsAre(5, 6));
}

TEST(ModelDescriptionTest, TellsMistakesInClocks) {
  Mistakes mistakes;
  (void)readModelDescription(fmi3(R"(<Clock name="c" valueReference="1"/>
<Clock name="d" valueReference="2" intervalVariability="often"/>
<Clock name="e" valueReference="3" intervalVariability="triggered"><Dimension start="2"/></Clock>
<Int32 name="i" valueReference="4" clocks="1 x"/>)"),
                             mistakes);
  std::vector<std::string> told;
  for (const Mistake& mistake : mistakes.kept()) told.push_back(mistake.text());
  EXPECT_THAT(told, ElementsAre(HasSubstr("is missing, line 5"), HasSubstr("line 6"),
                                HasSubstr("a clock cannot be an array, line 7"),
                                HasSubstr("'x' is no value reference, line 8")));
  EXPECT_NE(mistakes.firstThatPreventsRun(), nullptr);
}

TEST(ModelDescriptionTest, RefusesADoctype) {
  Mistakes mistakes;
  const std::string bomb = "<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;&b;\">]>\n<fmiModelDescription/>";
  EXPECT_THAT([&] { (void)readModelDescription(bomb, mistakes); }, ThrowsMessage<RunnerError>(HasSubstr("DOCTYPE")));
  EXPECT_THAT([&] { (void)readModelDescription("<!DOCTYPE a [<!ENTITY", mistakes); },
              ThrowsMessage<RunnerError>(HasSubstr("DOCTYPE")));
}

TEST(ModelDescriptionTest, DoesNotExpandEntities) {
  const ModelDescription model = read(fmi3(float64("&b;&amp;", 1)));
  EXPECT_EQ(model.variables[0].name, "&b;&");
}

TEST(ModelDescriptionTest, TellsTheLineOfWhatIsNotXml) {
  Mistakes mistakes;
  EXPECT_THAT([&] { (void)readModelDescription(fmi3("<Float64\n<"), mistakes); },
              ThrowsMessage<RunnerError>(HasSubstr("not well-formed XML")));
  EXPECT_THAT([&] { (void)readModelDescription("<a>\n\n</b>", mistakes); },
              ThrowsMessage<RunnerError>(HasSubstr("line 3")));
  EXPECT_THAT([&] { (void)readModelDescription("", mistakes); }, ThrowsMessage<RunnerError>(HasSubstr("XML")));
}

TEST(ModelDescriptionTest, RefusesOtherRootsAndVersions) {
  Mistakes mistakes;
  EXPECT_THAT([&] { (void)readModelDescription("<html/>", mistakes); },
              ThrowsMessage<RunnerError>(HasSubstr("root element is <html>")));
  EXPECT_THAT(
      [&] { (void)readModelDescription("\n<fmiModelDescription fmiVersion='1.0'/>", mistakes); },
      ThrowsMessage<RunnerError>(HasSubstr("'1.0' is not supported (2.0 and 3.0 are), modelDescription.xml, line 2")));
}

struct WrongDescription {
  std::string xml;
  std::string mistake;
};

class WrongDescriptionTest : public ::testing::TestWithParam<WrongDescription> {};

TEST_P(WrongDescriptionTest, IsToldWithItsPlace) {
  EXPECT_THAT(mistakesIn(GetParam().xml), Contains(HasSubstr(GetParam().mistake)));
}

const std::string kArray = R"(<Float64 name="x" valueReference="1" )";

INSTANTIATE_TEST_SUITE_P(
    All, WrongDescriptionTest,
    ::testing::Values(
        WrongDescription{fmi3(float64("x", 1) + float64("x", 2)),
                         "! variable 'x': the name stands also in line 5, line 6, attribute 'name'"},
        WrongDescription{fmi3(float64("x", 1) + float64("y", 1)), "! variable 'y': 1 is also that of 'x', line 6"},
        WrongDescription{fmi3("\n<Float64 name='x'/>"),
                         "! is missing, line 6, element <Float64>, attribute 'valueReference'"},
        WrongDescription{fmi3(float64("x", 1, "unit='furlong'")),
                         "the unit 'furlong' is not defined, line 5, attribute 'unit'"},
        WrongDescription{fmi3("<Float64 name='x' valueReference='4294967296'/>"),
                         "! 4294967296 is larger than 32 bits hold"},
        WrongDescription{fmi3("<Float64 name='x' valueReference='-1'/>"),
                         "! '-1' is not a whole number from 0, line 5"},
        WrongDescription{fmi3(float64("x", 1, "causality='wheel'")),
                         "! 'wheel' is none of parameter, calculatedParameter"},
        WrongDescription{fmi3(float64("x", 1, "causality='input' variability='constant' start='1'")),
                         "an input cannot be constant"},
        WrongDescription{fmi3("<Int8 name='x' valueReference='1' variability='continuous'/>"),
                         "type Int8 cannot be continuous"},
        WrongDescription{fmi3("<Int8 name='x' valueReference='1' start='200'/>"),
                         "'200' is no value of type Int8, line 5"},
        WrongDescription{fmi3(float64("x", 1, "causality='parameter'")),
                         "variable 'x': is missing, line 5, attribute 'start'"},
        WrongDescription{fmi3(float64("x", 1, "min='2' max='1'")), "is above max, line 5, attribute 'min'"},
        WrongDescription{fmi3(float64("x", 1, "name='y'")), "! stands twice in one element, line 5"},
        WrongDescription{fmi3(kArray + "start='1 2'><Dimension start='3'/></Float64>"),
                         "! variable 'x': 2 values for 3 elements"},
        WrongDescription{fmi3(kArray + "><Dimension valueReference='9'/></Float64>"),
                         "! variable 'x': its dimension is no structural parameter"},
        WrongDescription{fmi3(kArray + "><Dimension/></Float64>"),
                         "! needs one of the attributes start and valueReference"},
        WrongDescription{fmi3(kArray + "><Dimension start='99999999999'/><Dimension start='99999999999'/></Float64>"),
                         "! variable 'x': the array is larger than"},
        WrongDescription{fmi3("<Enumeration name='x' valueReference='1'/>"),
                         "! is missing, line 5, element <Enumeration>, attribute 'declaredType'"},
        WrongDescription{fmi3("<Real name='x' valueReference='1'/>"), "is no type of variable, line 5, element <Real>"},
        WrongDescription{fmi3("", "", "<Output valueReference='5'/>"), "! there is no variable with the reference 5"},
        WrongDescription{fmi2("<ScalarVariable name='x' valueReference='1'/>"), "! has no type inside"},
        WrongDescription{fmi2("", "", "<Derivatives><Unknown index='1'/></Derivatives>"), "! there is no variable 1"},
        WrongDescription{fmi3("", "<DefaultExperiment stopTime='-1'/>"), "is before the start time, line 3"},
        WrongDescription{fmi3("", "<DefaultExperiment stepSize='fast'/>"),
                         "'fast' is not a number, line 3, element <DefaultExperiment>, attribute 'stepSize'"},
        WrongDescription{
            "<fmiModelDescription fmiVersion='2.0' modelName='M' guid='g'><CoSimulation modelIdentifier='../x'/>"
            "<ModelStructure/></fmiModelDescription>",
            "! '../x' is not an identifier of C"}));

TEST(RunTimesTest, WhatTheDefaultExperimentLacksIsSettled) {
  const auto timesOf = [](const std::string& experiment, const std::string& attribute = "") {
    std::string xml = fmi3(float64("x", 1, "causality='output'"), experiment);
    xml.insert(xml.find("/>"), attribute);
    const RunTimes times = planRun(read(xml), {}).times;
    return std::vector<double>{times.start, times.stop, times.step};
  };
  EXPECT_THAT(timesOf(""), ElementsAre(0.0, 1.0, 1.0 / 500.0));
  EXPECT_THAT(timesOf("<DefaultExperiment startTime='2'/>"), ElementsAre(2.0, 3.0, 1.0 / 500.0));
  EXPECT_THAT(timesOf("", " fixedInternalStepSize='0.125'"), ElementsAre(0.0, 1.0, 0.125));
  EXPECT_THAT(timesOf("<DefaultExperiment stopTime='4' stepSize='0.5'/>", " fixedInternalStepSize='0.125'"),
              ElementsAre(0.0, 4.0, 0.5));
}

TEST(ModelDescriptionTest, TakesNamesOfTenThousandCharacters) {
  const std::string name(10000, 'n');
  EXPECT_EQ(read(fmi3(float64(name, 1))).variables[0].name, name);
  const std::vector<std::string> mistakes = mistakesIn(fmi3(float64(name, 1, "unit='u'")));
  ASSERT_EQ(mistakes.size(), 1U);
  EXPECT_LT(mistakes[0].size(), 300U);
}

TEST(ModelDescriptionTest, TakesAHundredThousandVariables) {
  std::string variables;
  for (unsigned i = 0; i < 100000; ++i)
    variables += float64("a" + std::to_string(i % 100) + ".v" + std::to_string(i), i);
  const ModelDescription model = read(fmi3(variables));
  EXPECT_EQ(model.variables.size(), 100000U);
  EXPECT_EQ(model.variables.back().line, 100004);
}

TEST(ModelDescriptionTest, KeepsTheMistakeThatPreventsARunAmongMany) {
  std::string variables;
  for (unsigned i = 0; i < 2000; ++i) variables += float64("v" + std::to_string(i), i, "unit='u'");
  Mistakes mistakes;
  (void)readModelDescription(fmi3(variables, "", "<Output valueReference='9999'/>"), mistakes);
  EXPECT_EQ(mistakes.count(), 2001U);
  EXPECT_NE(mistakes.firstThatPreventsRun(), nullptr);
}

}  // namespace
