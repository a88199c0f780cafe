#include "runner/input/input_table.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runner/error.hpp"
#include "tests/runner/descriptions.hpp"
#include "tests/runner/fake_instance.hpp"
#include "tests/runner/zip_maker.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

class InputTableTest : public runner_test::WorkFolder {
 protected:
  ModelDescription model_ = runner_test::read(runner_test::fmi3(
      R"(<Float64 name="u" valueReference="1" causality="input" start="0"/>
       <Int32 name="gear" valueReference="2" causality="input" start="0"/>
       <String name="s" valueReference="3" causality="input"><Start value=""/></String>
       <Float32 name="v" valueReference="4" causality="input" start="0 0"><Dimension start="2"/></Float32>
       <Enumeration name="e" valueReference="5" causality="input" start="1" declaredType="E"/>
       <Float64 name="y" valueReference="6" causality="output"/>
       <Float64 name="held" valueReference="7" causality="input" variability="discrete" start="0"/>
       <Binary name="d" valueReference="8" causality="input"><Start value="00"/></Binary>
       <Clock name="pulse" valueReference="9" causality="input" intervalVariability="triggered"/>
       <Clock name="timed" valueReference="10" causality="input" intervalVariability="changing"/>
       <Int32 name="clocked" valueReference="11" causality="input" clocks="9" start="0"/>
       <Float64 name="p" valueReference="12" causality="parameter" variability="tunable" start="1"/>
       <Float64 name="q" valueReference="13" causality="parameter" variability="fixed" start="1"/>)",
      "<TypeDefinitions><EnumerationType name='E'><Item name='On' value='4'/></EnumerationType></TypeDefinitions>"));
  runner_test::FakeInstance<> instance_;

  InputTable table(const std::string& csv) {
    runner_test::writeBytes(file("in.csv"), csv);
    return {file("in.csv"), model_};
  }

  void expectRefused(const std::string& csv, const std::string& what) {
    EXPECT_THAT([&] { (void)table(csv); }, ThrowsMessage<RunnerError>(HasSubstr(what))) << csv;
  }
};

TEST_F(InputTableTest, InterpolatesContinuousAndHoldsDiscreteVariables) {
  InputTable inputs = table("time,u,gear,held,v\r\n0,0,1,0,0 10\r\n2,4,2,8,2 20\r\n");
  inputs.apply(instance_, 0.5, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), 1.0);
  EXPECT_EQ(instance_.value<std::int32_t>(2), 1);
  EXPECT_EQ(instance_.value<double>(7), 0.0);
  EXPECT_EQ(instance_.value<float>(4), 0.5F);
  inputs.apply(instance_, 2.0, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), 4.0);
  EXPECT_EQ(instance_.value<std::int32_t>(2), 2);
}

TEST_F(InputTableTest, HoldsTheFirstAndTheLastRowOutside) {
  InputTable inputs = table("time,u\n1,5\n2,7\n");
  inputs.apply(instance_, 0.0, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), 5.0);
  inputs.apply(instance_, 9.0, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), 7.0);
}

TEST_F(InputTableTest, TwoRowsOfOneTimeAreAnEvent) {
  InputTable inputs = table("time,u,gear\n0,0,1\n1,10,2\n1,-10,3\n2,-20,3\n");
  EXPECT_EQ(inputs.nextEvent(0.0), 1.0);
  EXPECT_EQ(inputs.nextEvent(1.0), InputTable::kNever);
  inputs.apply(instance_, 0.5, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), 5.0);
  inputs.apply(instance_, 1.0, EventSide::before);
  EXPECT_EQ(instance_.value<double>(1), 10.0);
  EXPECT_EQ(instance_.value<std::int32_t>(2), 2);
  inputs.apply(instance_, 1.0, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), -10.0);
  EXPECT_EQ(instance_.value<std::int32_t>(2), 3);
  inputs.apply(instance_, 1.5, EventSide::after);
  EXPECT_EQ(instance_.value<double>(1), -15.0);
}

TEST_F(InputTableTest, TakesTextsLabelsAndBytes) {
  InputTable inputs = table("time,s,e,d\n0,\"a \"\"b\"\", c\",On,00ff\n");
  inputs.apply(instance_, 0.0, EventSide::after);
  EXPECT_EQ(instance_.texts[3], "a \"b\", c");
  EXPECT_EQ(instance_.value<std::int64_t>(5), 4);
  EXPECT_EQ(instance_.texts[8], std::string("\0\xff", 2));
}

TEST_F(InputTableTest, RefusesWrongTablesWithTheRow) {
  expectRefused("t,u\n0,0\n", "the first column is not 'time'");
  expectRefused("time,w\n0,0\n", "the column 'w' names no input");
  expectRefused("time,y\n0,0\n", "the column 'y' names no input");
  expectRefused("time,u,u\n0,0,0\n", "the column 'u' stands twice");
  expectRefused("time,u\n0\n", "1 cells in place of 2");
  expectRefused("time,u\nnow,0\n", "'now' is no time");
  expectRefused("time,u\n1,0\n0,0\n", "is before that of the row above");
  expectRefused("time,u\n1,0\n1,0\n1,0\n", "more than twice");
  expectRefused("time,u\n0,0\n1,fast\n",
                "'fast' is no value of type Float64, variable 'u', " + file("in.csv").string() + " row 3");
  expectRefused("time,v\n0,1 2 3\n", "3 values for 2 elements");
  expectRefused("time,u\n", "has no rows");
  expectRefused("time,u\n0,\"0\n", "row 2");
  EXPECT_THAT([&] { (void)InputTable(file("none.csv"), model_); },
              ThrowsMessage<RunnerError>(HasSubstr("cannot open")));
}

TEST_F(InputTableTest, ClocksTickInTheRowsInWhichTheyAreTrue) {
  const InputTable inputs = table("time,pulse,u\n0,1,0\n1,0,1\n2,true,2\n2,0,3\n3,1,4\n");
  EXPECT_TRUE(inputs.hasClocks());
  EXPECT_THAT(inputs.ticks(0.0, 0.0), ElementsAre(9U));
  EXPECT_THAT(inputs.ticks(0.5, 1.5), IsEmpty());
  EXPECT_THAT(inputs.ticks(2.0, 2.0), ElementsAre(9U)) << "in one of two rows of that time";
  EXPECT_THAT(inputs.ticks(2.5, 9.0), ElementsAre(9U));
  EXPECT_THAT(inputs.ticks(InputTable::kNever, 9.0), IsEmpty());
  EXPECT_EQ(inputs.nextChange(0.0), 2.0);
  EXPECT_EQ(inputs.nextChange(2.0), 3.0);
  EXPECT_EQ(inputs.nextChange(3.0), InputTable::kNever);
}

TEST_F(InputTableTest, ClockedInputsAreSetWithTheirClock) {
  InputTable inputs = table("time,clocked,gear,pulse\n0,1,1,0\n1,2,1,0\n2,3,2,0\n");
  inputs.apply(instance_, 0.0, EventSide::after);
  EXPECT_EQ(instance_.value<std::int32_t>(11), 1) << "at the start";
  inputs.applyInEvent(instance_, 2.0, {});
  EXPECT_EQ(instance_.value<std::int32_t>(11), 1);
  EXPECT_EQ(instance_.value<std::int32_t>(2), 2);
  inputs.applyInEvent(instance_, 2.0, {7, 9});
  EXPECT_EQ(instance_.value<std::int32_t>(11), 3);
  EXPECT_EQ(inputs.nextChange(0.0), 2.0) << "another value of a clocked input alone is no event";
}

TEST_F(InputTableTest, TunableParametersAreInputs) {
  InputTable inputs = table("time,p\n0,1\n1,5\n");
  EXPECT_EQ(inputs.nextChange(0.0), 1.0);
  inputs.applyInEvent(instance_, 1.0, {});
  EXPECT_EQ(instance_.value<double>(12), 5.0);
  EXPECT_TRUE(model_.find("p")->isParameter());
  markTuned(file("in.csv"), model_);
  EXPECT_FALSE(model_.find("p")->isParameter()) << "it changes, and is logged so";
  expectRefused("time,q\n0,1\n", "the column 'q' names no input and no tunable parameter");
  expectRefused("time,timed\n0,1\n", "the clock 'timed' ticks by its interval and cannot be set");
  expectRefused("time,pulse\n0,2\n", "'2' is no value of type Clock, variable 'pulse'");
}

}  // namespace
