#include "runner/run/run_fmu.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "runner/run/step_repeater.hpp"
#include "tests/runner/fake_instance.hpp"
#include "tests/runner/leaks_allowed.hpp"
#include "tests/runner/run_fixture.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using namespace runner_test;   // NOLINT(google-build-using-namespace): readers of results
using ::testing::DoubleNear;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Pointwise;
using ::testing::ThrowsMessage;

class RunTest : public RunFolder {
 protected:
  void expectRefused(const RunOptions& chosen, const std::string& what) {
    EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
    EXPECT_FALSE(std::filesystem::exists(file("results.qat"))) << what;
  }
};

class BothVersions : public RunTest, public ::testing::WithParamInterface<const char*> {
 protected:
  RunOptions of(const std::string& model) { return options(model + GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(All, BothVersions, ::testing::Values("_fmi2", "_fmi3"));

// Height of the ball at a time, bounce by bounce, written apart from the model.
double exactHeight(double time) {
  const double g = 9.81;
  const double fall = std::sqrt(2.0 / g);
  if (time < fall) return 1.0 - 0.5 * g * time * time;
  double speed = 0.7 * g * fall;
  double since = time - fall;
  while (speed >= 0.1 && since > 2.0 * speed / g) {
    since -= 2.0 * speed / g;
    speed *= 0.7;
  }
  return speed < 0.1 ? 0.0 : speed * since - 0.5 * g * since * since;
}

TEST_P(BothVersions, StreamedRunsGiveTheSameResults) {
  for (const char* name : {"bouncing_ball", "every_kind"}) {
    RunOptions chosen = fullRun(std::string(name) + GetParam());
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const std::vector<std::string> kept = elements();
    chosen.stream = true;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    EXPECT_GT(kept.size(), 20U);
    EXPECT_TRUE(kept == elements()) << name;
    EXPECT_EQ(text(qxGetField(results().variable("fmu").get(), 0, "Status")), "done");
  }
}

TEST_P(BothVersions, BallFollowsTheExactSolution) {
  ASSERT_EQ(run(of("bouncing_ball")), ExitStatus::done) << messages_.str();
  const Results saved = results();
  const std::vector<double> times = numbers<double>(saved.field(kOutputs, "h", "Time"));
  const std::vector<double> heights = numbers<double>(saved.field(kOutputs, "h", "Data"));
  ASSERT_GE(times.size(), 301U);
  EXPECT_EQ(times.front(), 0.0);
  EXPECT_EQ(times.back(), 3.0);
  for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(heights[i], exactHeight(times[i]), 1e-9) << times[i];
  EXPECT_EQ(text(saved.field(kOutputs, "h", "Unit").get()), "m");
  EXPECT_EQ(text(saved.field(kOutputs, "h", "Interpolation").get()), "linear");
}

// The events of the ball are in the log: the velocity before and after, at the times of the exact solution.
TEST_F(RunTest, BothSamplesOfABounceAreKept) {
  ASSERT_EQ(run(options("bouncing_ball_fmi3")), ExitStatus::done);
  const Results saved = results();
  const std::vector<double> times = numbers<double>(saved.field(kOutputs, "v", "Time"));
  const std::vector<double> speeds = numbers<double>(saved.field(kOutputs, "v", "Data"));
  double bounce = std::sqrt(2.0 / 9.81);
  double speed = 9.81 * bounce;
  std::size_t bounces = 0;
  for (std::size_t i = 0; i + 1 < times.size(); ++i) {
    if (times[i] != times[i + 1]) continue;
    EXPECT_NEAR(times[i], bounce, 1e-9) << bounces;
    EXPECT_NEAR(speeds[i], -speed, 1e-9) << bounces;
    EXPECT_NEAR(speeds[i + 1], 0.7 * speed < 0.1 ? 0.0 : 0.7 * speed, 1e-9) << bounces;
    speed *= 0.7;
    bounce += 2.0 * speed / 9.81;
    ++bounces;
  }
  EXPECT_EQ(bounces, 11U) << "until less than 0.1 m/s is left";
}

// The same equation in much smaller steps, by another method (the implicit midpoint rule, extrapolated).
std::pair<double, double> vanDerPolAt(double end) {
  const auto solve = [end](int steps) {
    double x = 2.0;
    double v = 0.0;
    const double h = end / steps;
    for (int i = 0; i < steps; ++i) {
      double nx = x;
      double nv = v;
      for (int k = 0; k < 12; ++k) {
        const double mx = 0.5 * (x + nx);
        const double mv = 0.5 * (v + nv);
        nx = x + h * mv;
        nv = v + h * ((1.0 - mx * mx) * mv - mx);
      }
      x = nx;
      v = nv;
    }
    return std::pair(x, v);
  };
  const auto [x1, v1] = solve(20000);
  const auto [x2, v2] = solve(40000);
  return {(4.0 * x2 - x1) / 3.0, (4.0 * v2 - v1) / 3.0};
}

TEST_P(BothVersions, OscillatorFollowsAnotherSolution) {
  RunOptions chosen = of("van_der_pol");
  chosen.stop = 6.0;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const auto [x, v] = vanDerPolAt(6.0);
  EXPECT_NEAR(numbers<double>(results().field(kOutputs, "x[1]", "Data")).back(), x, 1e-8);
  EXPECT_NEAR(numbers<double>(results().field(kOutputs, "x[2]", "Data")).back(), v, 1e-8);
}

TEST_F(RunTest, EveryTypeIsLoggedWithItsValues) {
  RunOptions chosen = options("every_kind_fmi3");
  chosen.locals = chosen.parameters = true;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Results saved = results();
  const std::vector<double> times = numbers<double>(saved.field(kOutputs, "axle", "load", "Time"));
  EXPECT_THAT(times, ElementsAre(0, .25, .5, .5, .75, 1, 1, 1.25, 1.5, 1.5, 1.75, 2, 2));
  EXPECT_EQ(numbers<double>(saved.field(kOutputs, "axle", "load", "Data")), times);
  EXPECT_EQ(numbers<double>(saved.field(kOutputs, "axle", "alias", "Data")), times);
  EXPECT_EQ(numbers<float>(saved.field(kOutputs, "axle", "gain", "Data")).back(), 4.0F);
  EXPECT_EQ(text(saved.field(kOutputs, "wheel", "speed", "Unit").get()), "m/s");
  const vtu::qxArrayWrapper speeds = saved.field(kOutputs, "wheel", "speed", "Data");
  EXPECT_EQ(dimensions(speeds), (std::vector<std::size_t>{13, 2}));
  EXPECT_EQ(numbers<double>(speeds)[12], 12.0);
  EXPECT_EQ(numbers<double>(speeds)[25], 22.0);
  EXPECT_EQ(numbers<std::int32_t>(saved.field(kOutputs, "wheel", "teeth", "Data"))[25], 21);
  const vtu::qxArrayWrapper matrix = saved.field(kOutputs, "matrix", "Data");
  EXPECT_EQ(dimensions(matrix), (std::vector<std::size_t>{13, 2, 3}));
  EXPECT_EQ(numbers<double>(matrix)[0 + 13 * (1 + 2 * 2)], 5.0) << "row-major in the FMU, [1][2] of the first sample";
  EXPECT_THAT(numbers<std::int64_t>(saved.field(kOutputs, "mode", "Data")),
              ElementsAre(1, 1, 1, 2, 2, 2, 3, 3, 3, 1, 1, 1, 2));
  EXPECT_THAT(texts(saved.field(kOutputs, "mode", "EnumLabels")), ElementsAre("Idle", "Busy", "Done"));
  EXPECT_EQ(text(saved.field(kOutputs, "mode", "Interpolation").get()), "zoh");
  EXPECT_EQ(texts(saved.field(kOutputs, "label", "Data"))[2], "tick 0");
  EXPECT_EQ(texts(saved.field(kOutputs, "label", "Data"))[3], "tick 1");
  EXPECT_THAT(numbers<bool>(saved.field(kOutputs, "tick", "Data")), ElementsAre(0, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1));
  EXPECT_EQ(dimensions(saved.field(kOutputs, "frame", "data", "Data")), (std::vector<std::size_t>{13, 16}));
  EXPECT_THAT(numbers<std::uint64_t>(saved.field(kOutputs, "frame", "length", "Data")),
              ElementsAre(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 0));
  EXPECT_EQ(numbers<std::uint8_t>(saved.field(kOutputs, "frame", "data", "Data"))[9 + 13 * 2], 3);
  EXPECT_EQ(numbers<std::uint64_t>(saved.field(kSignals, "numbers", "u64", "Data")).back(), 10000000000000000000U);
  EXPECT_EQ(numbers<std::int8_t>(saved.field(kSignals, "numbers", "i8", "Data")).back(), -4);
  EXPECT_THAT(texts(saved.field(kSignals, "names[1]", "Data")), Each("right"));
  EXPECT_THAT(numbers<std::uint64_t>(saved.field(kSignals, "columns", "Data")), ElementsAre(3)) << "once";
}

TEST_F(RunTest, StructuralParametersChangeDimensions) {
  RunOptions chosen = options("every_kind_fmi3");
  chosen.set = {"columns=5"};
  chosen.signals = {"matrix"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_EQ(dimensions(results().field(kOutputs, "matrix", "Data")), (std::vector<std::size_t>{13, 2, 5}));
}

TEST_P(BothVersions, InputsDriveTheModelAndAreLogged) {
  writeBytes(file("in.csv"), "time,u,gear\n0,0,1\n1,10,1\n1,20,2\n2,20,2\n");
  RunOptions chosen = of("every_kind");
  chosen.input = file("in.csv");
  chosen.signals = {"u", "gear", "y"};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Results saved = results();
  const std::vector<double> times = numbers<double>(saved.field(kSignals, "u", "Time"));
  const std::vector<double> u = numbers<double>(saved.field(kSignals, "u", "Data"));
  const std::vector<std::int32_t> gear = numbers<std::int32_t>(saved.field(kSignals, "gear", "Data"));
  const auto at = static_cast<std::size_t>(std::find(times.begin(), times.end(), 1.0) - times.begin());
  ASSERT_LT(at + 1, times.size());
  EXPECT_EQ(times[at + 1], 1.0);
  EXPECT_EQ(u[at], 10.0);
  EXPECT_EQ(gear[at], 1);
  EXPECT_EQ(u[at + 1], 20.0);
  EXPECT_EQ(gear[at + 1], 2);
  EXPECT_EQ(u[1], 2.5);
  EXPECT_EQ(numbers<double>(saved.field(kOutputs, "y", "Data")).back(), 22.0);
}

TEST_P(BothVersions, OutputStepThinsOutTheLog) {
  RunOptions chosen = of("van_der_pol");
  chosen.stop = 1.0;
  chosen.outputStep = 0.25;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(numbers<double>(results().field(kOutputs, "x[1]", "Time")), ElementsAre(0, .25, .5, .75, 1));
}

TEST_P(BothVersions, StepsAreCountedFromTheStart) {
  RunOptions chosen = of("misbehaving");
  chosen.start = 0.3;
  chosen.stop = 0.75;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(numbers<double>(results().field(kOutputs, "y", "Time")),
              ElementsAre(0.3, 0.3 + 0.1, 0.3 + 2 * 0.1, 0.3 + 3 * 0.1, 0.3 + 4 * 0.1, 0.75));
}

TEST_P(BothVersions, LimitsHold) {
  RunOptions chosen = of("van_der_pol");
  chosen.stop = 0.1;
  chosen.decimation = 4;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_EQ(numbers<double>(results().field(kOutputs, "x[1]", "Time")).size(), 3U);
  chosen.decimation = 1;
  chosen.maxPoints = 2;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(numbers<double>(results().field(kOutputs, "x[1]", "Time")), ElementsAre(0.09, 0.1));
  chosen.maxPoints = 0;
  chosen.intervals = {{0.015, 0.025}, {0.06, 0.06}};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(numbers<double>(results().field(kOutputs, "x[1]", "Time")), ElementsAre(0.02, 0.06));
}

TEST_P(BothVersions, SelectionSwitchesAndOverrides) {
  writeBytes(file("sel.json"), R"({"default": 1, "signals": [{"signal": "x?2]", "selector": 0},
    {"signal": "x*", "selector": 2, "customName": "position", "decimation": 50}]})");
  RunOptions chosen = of("van_der_pol");
  chosen.stop = 1.0;
  chosen.selection = file("sel.json");
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_EQ(numbers<double>(results().field(kOutputs, "position", "Data")).size(), 3U);
  EXPECT_THROW((void)results().field(kOutputs, "x[2]", "Data"), std::runtime_error);
}

TEST_F(RunTest, WrongSelectionsAreRefused) {
  RunOptions chosen = options("van_der_pol_fmi2");
  chosen.selection = file("sel.json");
  expectRefused(chosen, "--selection: cannot open");
  for (const auto& [json, what] : std::vector<std::pair<std::string, std::string>>{
           {"{", "is no JSON"},
           {"[]", "holds no object"},
           {R"({"signals": 3})", "'signals' is no list"},
           {R"({"signals": [{"selector": 1}]})", "no text 'signal' in signals[0]"},
           {R"({"signals": [{"signal": "x*", "selector": 3}]})", "'selector' is none of 0, 1, 2 in signals[0]"},
           {R"({"signals": [{"signal": "x*", "decimation": 0}]})", "'decimation' is no whole number from 1"},
           {R"({"signals": [{"signal": "z*"}]})", "no logged signal matches 'z*'"}}) {
    writeBytes(file("sel.json"), json);
    expectRefused(chosen, what);
  }
}

TEST_P(BothVersions, WrongChoicesAreRefusedBeforeTheModelRuns) {
  const auto with = [this](auto change) {
    RunOptions chosen = of("bouncing_ball");
    change(chosen);
    return chosen;
  };
  expectRefused(with([](RunOptions& o) { o.set = {"nothing=1"}; }), "there is no variable 'nothing'");
  expectRefused(with([](RunOptions& o) { o.set = {"e"}; }), "--set needs NAME=VALUE, not 'e'");
  expectRefused(with([](RunOptions& o) { o.set = {"e=1.5"}; }), "1.5 is above the maximum 1, variable 'e'");
  expectRefused(with([](RunOptions& o) { o.set = {"bounces=3"}; }),
                "a variable that the model calculates cannot be set");
  expectRefused(with([](RunOptions& o) { o.signals = {"h", "z*"}; }), "no variable matches 'z*'");
  expectRefused(with([](RunOptions& o) { o.step = 0.0; }), "the step 0 is no positive number");
  expectRefused(with([](RunOptions& o) { o.step = 1e-300; }), "the step 1e-300 is too small");
  expectRefused(with([](RunOptions& o) { o.set = {"e=nan"}; }), "nan is outside the minimum and maximum, variable 'e'");
  expectRefused(with([](RunOptions& o) { o.stop = -1.0; }), "cannot go from 0 to -1");
  expectRefused(with([](RunOptions& o) { o.outputStep = std::nan(""); }), "the output step NaN is no positive number");
  expectRefused(with([](RunOptions& o) { o.method = OdeMethod::adams; }), "--solver goes with Model Exchange");
}

TEST_P(BothVersions, SetChangesStartValues) {
  RunOptions chosen = of("bouncing_ball");
  chosen.set = {"h=5", "e=0.5"};
  chosen.parameters = true;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_EQ(numbers<double>(results().field(kOutputs, "h", "Data")).front(), 5.0);
  EXPECT_THAT(numbers<double>(results().field(kSignals, "e", "Data")), ElementsAre(0.5));
}

TEST_P(BothVersions, AFailedModelLeavesWhatWasLogged) {
  for (const auto& [way, what] : std::vector<std::pair<std::string, std::string>>{
           {"error", "returned an error at the time 0.5 (the model cannot go on)"},
           {"fatal", "returned a fatal error at the time 0.5"},
           {"discard", "discarded the step to 0.5000"}}) {
    RunOptions chosen = of("misbehaving");
    chosen.set = {"way=" + way};
    std::optional<LeaksAllowed> allowed;
    if (way == "fatal") allowed.emplace();
    EXPECT_EQ(run(chosen), ExitStatus::failed) << way;
    EXPECT_THAT(messages_.str(), HasSubstr(what));
    EXPECT_THAT(out_.str(), EndsWith(file("results.qat").string() + "\n"));
    EXPECT_EQ(numbers<double>(results().field(kOutputs, "y", "Data")).size(), 6U) << way;
    const vtu::qxArrayWrapper record = results().variable("fmu");
    EXPECT_EQ(text(qxGetField(record.get(), 0, "Status")), "failed");
    EXPECT_EQ(qxGetScalar(qxGetField(record.get(), 0, "LastTime")), 0.5);
  }
}

TEST_P(BothVersions, AnFmuMayEndTheSimulation) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=terminate"};
  EXPECT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(messages_.str(), HasSubstr("the FMU ended the simulation at the time 0.5"));
}

TEST_F(RunTest, AnFmuThatMakesNoProgressIsStopped) {
  RunOptions chosen = options("misbehaving_fmi3");
  chosen.set = {"way=standstill"};
  EXPECT_EQ(run(chosen), ExitStatus::failed);
  EXPECT_THAT(messages_.str(), HasSubstr("without any progress at the time 0.5"));
  EXPECT_EQ(numbers<double>(results().field(kOutputs, "y", "Time")).size(), 6U) << "what was logged before stays";
}

TEST_P(BothVersions, NotANumberIsLoggedAsItIs) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=nan"};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_TRUE(std::isnan(numbers<double>(results().field(kOutputs, "y", "Data")).back()));
}

TEST_P(BothVersions, MessagesOfChosenCategoriesAreShown) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=error"};
  run(chosen);
  EXPECT_THAT(messages_.str(), ::testing::Not(HasSubstr("[logStatusError]")));
  chosen.logCategories = {"logStatusError"};
  run(chosen);
  EXPECT_THAT(messages_.str(), HasSubstr("[logStatusError] the model cannot go on"));
}

using Fields = std::map<std::string, std::string>;

// Everything that the results say of a variable.
Fields descriptionOf(const Results& saved, const std::string& name) {
  const vtu::qxArrayWrapper record = saved.variable("fmu");
  const qxArray* variables = qxGetField(record.get(), 0, "Variables");
  Fields fields;
  for (std::size_t i = 0; i < qxGetNumberOfElements(variables); ++i) {
    const qxArray* one = qxGetCell(variables, i);
    if (text(qxGetField(one, 0, "Name")) != name) continue;
    for (int k = 0; k < qxGetNumberOfFields(one); ++k) {
      const char* field = qxGetFieldName(one, k);
      const qxArray* value = qxGetField(one, 0, field);
      if (qxGetClassID(value) == qxCHAR) fields[field] = text(value);
      if (qxGetClassID(value) == qxLOGICAL) fields[field] = *qxGetLogicals(value) ? "true" : "false";
    }
  }
  return fields;
}

TEST_P(BothVersions, TheDescriptionsOfVariablesAreKept) {
  RunOptions chosen = of("thermostat");
  chosen.stop = 60.0;
  chosen.parameters = true;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Results saved = results();
  EXPECT_EQ(descriptionOf(saved, "band"), (Fields{{"Name", "band"},
                                                  {"Type", "Float64"},
                                                  {"Causality", "parameter"},
                                                  {"Variability", "fixed"},
                                                  {"Initial", "exact"},
                                                  {"Unit", "K"},
                                                  {"DisplayUnit", ""},
                                                  {"Quantity", "ThermodynamicTemperature"},
                                                  {"RelativeQuantity", "true"},
                                                  {"Min", "0.001"},
                                                  {"Max", ""},
                                                  {"Nominal", ""},
                                                  {"Start", "0.5"},
                                                  {"Description", "A thermostat switches so far from its setpoint"},
                                                  {"AliasOf", ""}}));
  EXPECT_EQ(descriptionOf(saved, "outside"), (Fields{{"Name", "outside"},
                                                     {"Type", "Float64"},
                                                     {"Causality", "input"},
                                                     {"Variability", "continuous"},
                                                     {"Initial", ""},
                                                     {"Unit", "K"},
                                                     {"DisplayUnit", "degC"},
                                                     {"Quantity", "ThermodynamicTemperature"},
                                                     {"RelativeQuantity", "false"},
                                                     {"Min", "0"},
                                                     {"Max", ""},
                                                     {"Nominal", "300"},
                                                     {"Start", "273.15"},
                                                     {"Description", "Temperature outside"},
                                                     {"AliasOf", ""}}));
  chosen.fmu = of("bouncing_ball").fmu;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_EQ(descriptionOf(results(), "e").at("Max"), "1");
}

TEST_P(BothVersions, AliasesSayOfWhat) {
  ASSERT_EQ(run(of("every_kind")), ExitStatus::done);
  EXPECT_EQ(descriptionOf(results(), "axle.alias").at("AliasOf"), "axle.load");
}

TEST_P(BothVersions, InputsAreInportsInTheirOrderAndOutputsOutports) {
  RunOptions chosen = of("every_kind");
  chosen.locals = true;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Results saved = results();
  for (const auto& [name, order] : std::map<std::string, double>{{"u", 0}, {"gear", 1}}) {
    EXPECT_EQ(text(saved.attribute(kSignals, name, "PortKind").get()), "inport");
    EXPECT_EQ(qxGetScalar(saved.attribute(kSignals, name, "InportOrder").get()), order);
  }
  EXPECT_EQ(text(saved.attribute(kOutputs, "y", "PortKind").get()), "outport");
  EXPECT_EQ(text(saved.attribute(kSignals, "ticks", "PortKind").get()), "");
  EXPECT_THROW((void)saved.attribute(kSignals, "y", "PortKind"), std::runtime_error);
}

TEST_F(RunTest, BinariesOfNoDeclaredLengthAreHexadecimal) {
  RunOptions chosen = options("every_kind_fmi3");
  chosen.fmu = edited("every_kind_fmi3", "variability=\"discrete\" maxSize=\"16\"", "variability=\"discrete\"");
  chosen.signals = {"frame"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_THAT(texts(results().field(kOutputs, "frame", "data", "Data")),
              ElementsAre("", "", "", "01", "01", "01", "0202", "0202", "0202", "030303", "030303", "030303", ""));
  EXPECT_THAT(numbers<std::uint64_t>(results().field(kOutputs, "frame", "length", "Data")),
              ElementsAre(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 0));
}

TEST_P(BothVersions, ARewoundRunEqualsOneThatNeverWentBack) {
  for (const char* name : {"bouncing_ball", "every_kind", "van_der_pol", "sampled"}) {
    RunOptions chosen = of(name);
    chosen.locals = chosen.parameters = true;
    chosen.maxPoints = 40;
    chosen.decimation = 3;
    std::vector<std::string> straight;
    std::vector<std::string> rewound;
    ASSERT_EQ(run(chosen), ExitStatus::done);
    for (const char* dataset : {kOutputs, kSignals}) collect(results().variable(dataset).get(), straight);
    chosen.rewind = 0.7;
    ASSERT_EQ(run(chosen), ExitStatus::done);
    for (const char* dataset : {kOutputs, kSignals}) collect(results().variable(dataset).get(), rewound);
    EXPECT_GT(straight.size(), 20U);
    EXPECT_EQ(rewound, straight) << name;
  }
}

TEST_P(BothVersions, RewindIsRefusedOutsideTheRun) {
  RunOptions chosen = of("van_der_pol");
  for (const double time : {-1.0, 20.0, 21.0}) {
    chosen.rewind = time;
    expectRefused(chosen, "--rewind: the time");
  }
}

TEST_P(BothVersions, DiscardedStepsAreHalvedAndLeaveNoTrace) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=smallSteps"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const Results saved = results();
  const std::vector<double> times = numbers<double>(saved.field(kOutputs, "y", "Time"));
  const std::vector<double> values = numbers<double>(saved.field(kOutputs, "y", "Data"));
  EXPECT_GT(times.size(), 16U) << "ten steps of 0.1, the last five in parts";
  EXPECT_EQ(times.back(), 1.0);
  for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(values[i], times[i], 1e-12);
  for (std::size_t i = 1; i < times.size(); ++i) EXPECT_LE(times[i] - times[i - 1], times[i] > 0.51 ? 0.0301 : 0.1001);
}

// The state before such a step was not kept: the run goes on from an earlier point, once.
TEST_P(BothVersions, LateDiscardedStepsLeaveNoTrace) {
  for (const bool rewinds : {false, true}) {
    RunOptions chosen = of("misbehaving");
    chosen.set = {"way=smallSteps", "when=60"};
    chosen.step = 0.05;
    chosen.stop = 61.0;
    if (rewinds) chosen.rewind = 20.0;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const Results saved = results();
    const std::vector<double> times = numbers<double>(saved.field(kOutputs, "y", "Time"));
    const std::vector<double> values = numbers<double>(saved.field(kOutputs, "y", "Data"));
    ASSERT_EQ(times.size(), 1201U + 40U) << "1200 whole steps, then 40 halves";
    for (std::size_t i = 0; i < times.size(); ++i) {
      EXPECT_NEAR(times[i], i < 1200 ? 0.05 * static_cast<double>(i) : 60.0 + 0.025 * static_cast<double>(i - 1200),
                  1e-9);
      EXPECT_NEAR(values[i], times[i], 1e-9);
    }
  }
}

// What is read within a step counts when the step is accepted.
TEST_F(RunTest, StepsThatAreMadeAgainLeaveNoTraceWithinThem) {
  const auto expectNoTrace = [this](RunOptions chosen, const char* how) {
    for (const bool isolated : {false, true}) {
      chosen.isolate = isolated;
      ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
      const std::vector<double> times = numbers<double>(results().field(kOutputs, "y", "Time"));
      const std::vector<double> values = numbers<double>(results().field(kOutputs, "y", "Data"));
      EXPECT_GE(times.size(), 250U) << how;
      EXPECT_EQ(times.back(), 1.0);
      for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(values[i], times[i], 1e-12) << how;
      for (std::size_t i = 1; i < times.size(); ++i) EXPECT_GT(times[i], times[i - 1]) << how;
    }
  };
  RunOptions chosen = options("misbehaving_fmi3");
  chosen.set = {"part=0.004"};
  expectNoTrace(chosen, "accepted at once");
  chosen.rewind = 0.3;
  expectNoTrace(chosen, "rewound");
  chosen.set = {"part=0.004", "way=smallSteps"};
  expectNoTrace(chosen, "discarded and rewound");
  chosen.rewind.reset();
  expectNoTrace(chosen, "discarded");
  chosen.set = {"part=0.004"};
  chosen.maxChange = {"y=0.03"};
  expectNoTrace(chosen, "moved too much");
}

// A step that fails ends the log where it began.
TEST_F(RunTest, AStepThatFailsLeavesNoTraceWithinIt) {
  RunOptions chosen = options("misbehaving_fmi3");
  chosen.set = {"part=0.04", "way=error"};
  EXPECT_EQ(run(chosen), ExitStatus::failed);
  EXPECT_EQ(numbers<double>(results().field(kOutputs, "y", "Time")).back(), 0.5);
  EXPECT_EQ(numbers<double>(results().field(kOutputs, "y", "Time")).size(), 16U) << "five steps of three samples";
}

// Counts how often its state is copied.
class CountingInstance : public FakeInstance<CoSimulation> {
 public:
  int saved = 0;
  int restored = 0;
  bool discards = false;

  void getState(void*&) override { ++saved; }
  void setState(void*) override { ++restored; }
  StepOutcome doStep(double time, double step, bool) override {
    return {discards && step > 0.6, false, false, time + step};
  }
};

TEST(StepRepeaterTest, StatesAreKeptOnlyWhereTheyMayBeNeeded) {
  CountingInstance instance;
  StepRepeater repeater(instance, {}, true);
  double target = 1.0;
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(repeater.step(0.0, target, 1e-6).discarded);
  EXPECT_EQ(instance.saved, 0);
  EXPECT_TRUE(repeater.needsReturnPoints());
  instance.discards = true;
  EXPECT_TRUE(repeater.step(0.0, target, 1e-6).discarded);
  EXPECT_FALSE(repeater.needsReturnPoints());
  EXPECT_FALSE(repeater.step(0.0, target, 1e-6).discarded);
  EXPECT_EQ(target, 0.5);
  EXPECT_EQ(instance.saved, 1);
  EXPECT_EQ(instance.restored, 1);
  StepRepeater limited(instance, {{1, 0.5}}, true);
  EXPECT_FALSE(limited.needsReturnPoints());
  StepRepeater fixed(instance, {}, false);
  EXPECT_FALSE(fixed.needsReturnPoints());
}

TEST_P(BothVersions, StepsInWhichAVariableMovesTooMuchAreHalved) {
  RunOptions chosen = of("van_der_pol");
  chosen.stop = 5.0;
  chosen.step = 0.5;
  chosen.maxChange = {"x[2]=0.2"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const std::vector<double> speeds = numbers<double>(results().field(kOutputs, "x[2]", "Data"));
  for (std::size_t i = 1; i < speeds.size(); ++i) EXPECT_LE(std::abs(speeds[i] - speeds[i - 1]), 0.2) << i;
  EXPECT_NEAR(speeds.back(), vanDerPolAt(5.0).second, 1e-6);
}

TEST_P(BothVersions, WrongLimitsOfChangeAreRefused) {
  RunOptions chosen = of("bouncing_ball");
  for (const auto& [given, what] :
       std::vector<std::pair<std::string, std::string>>{{"z=1", "--max-change: there is no variable 'z'"},
                                                        {"h", "--max-change needs NAME=VALUE"},
                                                        {"h=0", "'0' is no positive number"},
                                                        {"h=nan", "'nan' is no positive number"},
                                                        {"bounces=1", "it is no scalar Float64, variable 'bounces'"}}) {
    chosen.maxChange = {given};
    expectRefused(chosen, what);
  }
}

TEST_P(BothVersions, AnOutputThatCannotBeMadeIsRefusedBeforeTheModelRuns) {
  RunOptions chosen = of("bouncing_ball");
  const auto expectRefusedOutput = [&](const std::filesystem::path& output, const char* what) {
    chosen.output = output;
    EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
  };
  expectRefusedOutput(file("no/such/results.qat"), "no/such' of the results does not exist");
  expectRefusedOutput(file(""), "is a folder");
  expectRefusedOutput("", "is empty");
  std::filesystem::copy_file(chosen.fmu, file("own.fmu"));
  chosen.fmu = file("own.fmu");
  expectRefusedOutput(file("./own.fmu"), "would replace a file that the run reads");
  EXPECT_EQ(std::filesystem::file_size(file("own.fmu")), std::filesystem::file_size(of("bouncing_ball").fmu));
}

TEST_F(RunTest, AnEnumerationTakesItsValuesOnly) {
  RunOptions chosen = options("misbehaving_fmi3");
  chosen.set = {"way=17"};
  expectRefused(chosen, "'17' is no label or value of Way, variable 'way'");
  chosen.set = {"way=4"};
  EXPECT_EQ(run(chosen), ExitStatus::done);
}

// Ticks of the clocks of the example, as its description and source give them.
const std::map<std::string, std::vector<double>>& expectedTicks() {
  static const std::map<std::string, std::vector<double>> kTicks = {
      {"constant", {.05, .15, .25, .35, .45, .55, .65, .75, .85, .95}},
      {"fixed", {.1, .3, .5, .7, .9}},
      {"changing", {0, .2, .5, .9}},
      {"countdown", {.175, .375, .575, .775, .975}},
      {"paced", {0, .25, .5, .75, 1}},
      {"report", {.15, .35, .55, .75, .95}}};
  return kTicks;
}

class ClockedRuns : public RunTest, public ::testing::WithParamInterface<Kind> {
 protected:
  RunOptions sampled() {
    RunOptions chosen = options("sampled_fmi3");
    chosen.kind = GetParam();
    return chosen;
  }

  // The times of the samples in which a clock is true.
  static std::vector<double> ticksOf(const Results& saved, const std::string& clock) {
    const char* dataset = clock == "report" ? kOutputs : kSignals;
    const std::vector<double> times = numbers<double>(saved.field(dataset, clock, "Time"));
    const std::vector<bool> flags = numbers<bool>(saved.field(dataset, clock, "Data"));
    std::vector<double> ticks;
    for (std::size_t i = 0; i < times.size(); ++i) {
      if (flags[i]) ticks.push_back(times[i]);
    }
    return ticks;
  }
};
INSTANTIATE_TEST_SUITE_P(All, ClockedRuns, ::testing::Values(Kind::coSimulation, Kind::modelExchange));

TEST_P(ClockedRuns, ClocksTickAtTheirTimes) {
  for (const bool isolated : {false, true}) {
    RunOptions chosen = sampled();
    chosen.isolate = isolated;
    chosen.rewind = isolated ? std::nullopt : std::optional(0.4);
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const Results saved = results();
    for (const auto& [clock, expected] : expectedTicks()) {
      EXPECT_THAT(ticksOf(saved, clock), Pointwise(DoubleNear(1e-9), expected)) << clock;
    }
  }
}

// A value changes in the sample in which its clock ticks, and nowhere else.
TEST_P(ClockedRuns, ClockedVariablesHoldBetweenTicks) {
  ASSERT_EQ(run(sampled()), ExitStatus::done) << messages_.str();
  const Results saved = results();
  for (const char* clock : {"constant", "fixed", "changing", "countdown", "paced"}) {
    const std::vector<bool> ticks = numbers<bool>(saved.field(kSignals, clock, "Data"));
    const auto counts = numbers<std::int32_t>(saved.field(kOutputs, std::string(clock) + "Ticks", "Data"));
    std::int32_t expected = 0;
    ASSERT_EQ(ticks.size(), counts.size());
    for (std::size_t i = 0; i < ticks.size(); ++i) EXPECT_EQ(counts[i], expected += ticks[i] ? 1 : 0) << clock << i;
    EXPECT_EQ(static_cast<std::size_t>(expected), expectedTicks().at(clock).size());
  }
  const std::vector<bool> reports = numbers<bool>(saved.field(kOutputs, "report", "Data"));
  const std::vector<std::string> told = texts(saved.field(kOutputs, "text", "Data"));
  const auto lengths = numbers<std::uint64_t>(saved.field(kOutputs, "frame", "length", "Data"));
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    count += reports[i] ? 1 : 0;
    EXPECT_EQ(told[i].substr(0, 7), count == 0 ? "" : std::to_string(2 * count) + (count == 5 ? " tick" : " ticks"))
        << i;
    EXPECT_EQ(lengths[i], count % 4) << i;
  }
  EXPECT_EQ(told.back(), "10 ticks at 0.95 s");
}

TEST_P(ClockedRuns, IntervalsOfParametersCount) {
  RunOptions chosen = sampled();
  chosen.set = {"period=0.3"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_THAT(ticksOf(results(), "fixed"), Pointwise(DoubleNear(1e-9), std::vector<double>{.1, .4, .7, 1.0}));
  chosen.set = {"period=0"};
  EXPECT_EQ(run(chosen), ExitStatus::failed);
  EXPECT_THAT(messages_.str(), HasSubstr("the clock 'fixed' has the interval 0 s"));
}

TEST_P(ClockedRuns, TriggeredInputsTickInTheRowsOfTheTable) {
  writeBytes(file("in.csv"), "time,pulse,amount\n0,0,1\n0.3,1,5\n0.4,0,6\n0.62,1,7\n0.8,1,7\n");
  for (const bool isolated : {false, true}) {
    RunOptions chosen = sampled();
    chosen.input = file("in.csv");
    chosen.isolate = isolated;
    chosen.rewind = isolated ? std::nullopt : std::optional(0.4);
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const Results saved = results();
    EXPECT_THAT(ticksOf(saved, "pulse"), Pointwise(DoubleNear(1e-9), std::vector<double>{.3, .62, .8}));
    const std::vector<bool> ticks = numbers<bool>(saved.field(kSignals, "pulse", "Data"));
    const auto amounts = numbers<std::int32_t>(saved.field(kSignals, "amount", "Data"));
    const auto sums = numbers<std::int32_t>(saved.field(kOutputs, "sum", "Data"));
    std::vector<std::int32_t> added;
    std::int32_t sum = 0;
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      if (ticks[i]) added.push_back(amounts[i]);
      sum += ticks[i] ? amounts[i] : 0;
      EXPECT_EQ(sums[i], sum) << i;
    }
    EXPECT_THAT(added, ElementsAre(5, 7, 7)) << "set with the clock";
    EXPECT_THAT(ticksOf(saved, "fixed"), Pointwise(DoubleNear(1e-9), expectedTicks().at("fixed")));
  }
}

// The interval counts from the last tick; a tick that would have been earlier comes at once.
TEST_P(ClockedRuns, ATunedParameterChangesTheIntervalOfItsClock) {
  for (const auto& [row, expected] : std::vector<std::pair<std::string, std::vector<double>>>{
           {"", {0, .25, .5, .75, 1}},
           {"0.3,0.1", {0, .25, .35, .45, .55, .65, .75, .85, .95}},
           {"0.3,0.4", {0, .25, .65}},
           {"0.45,0.1", {0, .25, .45, .55, .65, .75, .85, .95}}}) {
    writeBytes(file("in.csv"), "time,pace\n0,0.25\n" + row + "\n");
    RunOptions chosen = sampled();
    chosen.input = file("in.csv");
    chosen.parameters = true;
    chosen.rewind = 0.4;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const Results saved = results();
    EXPECT_THAT(ticksOf(saved, "paced"), Pointwise(DoubleNear(1e-9), expected)) << row;
    const std::vector<double> paces = numbers<double>(saved.field(kSignals, "pace", "Data"));
    EXPECT_EQ(paces.size(), numbers<double>(saved.field(kSignals, "paced", "Time")).size()) << "it is no constant";
    EXPECT_EQ(paces.front(), 0.25);
    EXPECT_EQ(paces.back(), row.empty() ? 0.25 : std::stod(row.substr(row.find(',') + 1)));
  }
}

TEST_F(RunTest, ClocksAreNoInputsWithoutAnEventMode) {
  writeBytes(file("in.csv"), "time,pulse\n0,0\n0.3,1\n");
  RunOptions chosen = options("sampled_fmi3");
  chosen.fmu = edited("sampled_fmi3", "hasEventMode=\"true\"", "");
  chosen.input = file("in.csv");
  EXPECT_THAT([&] { (void)run(chosen); },
              ThrowsMessage<RunnerError>("--input: clocks tick in events, and the FMU has no event mode in "
                                         "Co-Simulation"));
}

// Without variable steps an input of a time between two communication points counts at the next one.
TEST_F(RunTest, InputsOfFixedStepsCountAtTheNextPoint) {
  writeBytes(file("in.csv"), "time,pulse,amount\n0,0,1\n0.3,1,5\n0.62,1,7\n");
  RunOptions chosen = options("sampled_fmi3");
  chosen.fmu = edited("sampled_fmi3", "canHandleVariableCommunicationStepSize=\"true\"", "");
  chosen.input = file("in.csv");
  chosen.signals = {"pulse", "sum"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_THAT(numbers<double>(results().field(kSignals, "pulse", "Time")),
              ElementsAre(0, .25, .25, .5, .5, .75, .75, 1, 1));
  EXPECT_THAT(numbers<bool>(results().field(kSignals, "pulse", "Data")), ElementsAre(0, 0, 0, 0, 1, 0, 1, 0, 0));
  EXPECT_THAT(numbers<std::int32_t>(results().field(kOutputs, "sum", "Data")),
              ElementsAre(0, 0, 0, 0, 5, 5, 12, 12, 12));
}

// FMI 2 has no clocks: the model lets them tick by itself.
TEST_F(RunTest, TheModelOfClocksCountsTheSameInFmi2) {
  RunOptions chosen = options("sampled_fmi2");
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  std::map<std::string, std::vector<std::int32_t>> counts;
  for (const auto& [clock, ticks] : expectedTicks()) {
    if (clock == "report") continue;
    counts[clock] = numbers<std::int32_t>(results().field(kOutputs, clock + "Ticks", "Data"));
    ASSERT_EQ(counts[clock].size(), 5U);
    for (std::size_t i = 1; i < 5; ++i) {
      const double time = 0.25 * static_cast<double>(i) + 1e-9;
      EXPECT_EQ(counts[clock][i], std::count_if(ticks.begin(), ticks.end(), [&](double tick) { return tick <= time; }))
          << clock << " at " << time;
    }
  }
  EXPECT_THAT(texts(results().field(kOutputs, "text", "Data")),
              ElementsAre("", "2 ticks at 0.15 s", "4 ticks at 0.35 s", "8 ticks at 0.75 s", "10 ticks at 0.95 s"));
}

// The flight of examples/spacecraft: a circular orbit, attitudes that are reached, arrays in buses.
TEST_F(RunTest, TheSpacecraftFliesAndPoints) {
  RunOptions chosen = options("spacecraft_fmi3");
  chosen.stop = 550.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const Results saved = results();
  const vtu::qxArrayWrapper position = saved.field(kOutputs, "orbit", "position", "Data");
  EXPECT_EQ(dimensions(position), (std::vector<std::size_t>{1101, 3}));
  const std::vector<double> places = numbers<double>(position);
  const auto altitudes = numbers<float>(saved.field(kOutputs, "orbit", "altitude", "Data"));
  const auto radius = [&](std::size_t k) { return std::hypot(places[k], places[1101 + k], places[2202 + k]); };
  EXPECT_NEAR(radius(1100) - radius(0), static_cast<double>(altitudes[1100]) - static_cast<double>(altitudes[0]), 1.0);
  EXPECT_NE(places[0], places[1100]);
  const auto modes = numbers<std::int64_t>(saved.field(kOutputs, "mode", "Data"));
  EXPECT_THAT(texts(saved.field(kOutputs, "mode", "EnumLabels")), ElementsAre("Safe", "Detumble", "Point", "Unload"));
  EXPECT_THAT(numbers<std::int32_t>(saved.field(kOutputs, "mode", "EnumValues")), ElementsAre(-1, 1, 2, 4));
  EXPECT_EQ(modes.front(), 1) << "it tumbles at first";
  EXPECT_EQ(modes.back(), 2) << "then points";
  EXPECT_LT(numbers<double>(saved.field(kOutputs, "attitude", "error", "Data")).back(), 0.01);
  EXPECT_EQ(dimensions(saved.field(kOutputs, "valveOpen", "Data")), (std::vector<std::size_t>{1101, 6}));
}

TEST_F(RunTest, TheSpacecraftFliesTheSameInFmi2) {
  RunOptions chosen = options("spacecraft_fmi3");
  chosen.stop = 300.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const std::vector<double> places = numbers<double>(results().field(kOutputs, "orbit", "position", "Data"));
  const std::vector<double> speeds = numbers<double>(results().field(kOutputs, "wheels", "speed", "Data"));
  const std::vector<float> altitudes = numbers<float>(results().field(kOutputs, "orbit", "altitude", "Data"));
  const std::vector<bool> valves = numbers<bool>(results().field(kOutputs, "valveOpen", "Data"));
  const vtu::qxArrayWrapper modes = results().field(kOutputs, "mode", "Data");
  chosen.fmu = options("spacecraft_fmi2").fmu;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const Results saved = results();
  EXPECT_EQ(numbers<double>(saved.field(kOutputs, "wheel", "speed", "Data")), speeds) << "an array of buses";
  EXPECT_EQ(numbers<bool>(saved.field(kOutputs, "valve", "open", "Data")), valves);
  EXPECT_EQ(numbers<std::int64_t>(saved.field(kOutputs, "mode", "Data")), numbers<std::int64_t>(modes));
  const std::vector<double> second = numbers<double>(saved.field(kOutputs, "orbit", "position[2]", "Data"));
  EXPECT_TRUE(std::equal(second.begin(), second.end(), places.begin() + static_cast<std::ptrdiff_t>(second.size())));
  EXPECT_THAT(numbers<double>(saved.field(kOutputs, "orbit", "altitude", "Data")),
              Pointwise(DoubleNear(0.0), std::vector<double>(altitudes.begin(), altitudes.end())));
}

}  // namespace
