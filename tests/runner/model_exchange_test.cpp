// FMUs for Model Exchange: solver, events, and everything that a run can be asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

#include "runner/run/run_fmu.hpp"
#include "runner/solver/ode_solver.hpp"
#include "runner/sweep/sweep.hpp"
#include "tests/runner/leaks_allowed.hpp"
#include "tests/runner/run_fixture.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using namespace runner_test;   // NOLINT(google-build-using-namespace): readers of results
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

using Samples = std::vector<double>;

class ModelExchangeTest : public RunFolder, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (!hasOdeSolver()) GTEST_SKIP() << "built without SUNDIALS";
  }

  RunOptions of(const std::string& model) {
    RunOptions run = options(model + GetParam());
    run.kind = Kind::modelExchange;
    return run;
  }

  [[nodiscard]] Samples samples(const char* name, const char* field = "Data", const char* dataset = kOutputs) const {
    return numbers<double>(results().field(dataset, name, field));
  }
};
INSTANTIATE_TEST_SUITE_P(All, ModelExchangeTest, ::testing::Values("_fmi2", "_fmi3"));

constexpr double kGravity = 9.81;

// The times of the ball's bounces and its velocities before them.
std::vector<std::pair<double, double>> exactBounces() {
  std::vector<std::pair<double, double>> bounces;
  double time = std::sqrt(2.0 / kGravity);
  double speed = kGravity * time;
  while (speed >= 0.1) {
    bounces.emplace_back(time, speed);
    speed *= 0.7;
    time += 2.0 * speed / kGravity;
  }
  return bounces;
}

TEST_P(ModelExchangeTest, BouncesAreWhereTheyAreExactlyAndBothSamplesAreKept) {
  RunOptions chosen = of("bouncing_ball");
  chosen.tolerance = 1e-10;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const Samples times = samples("v", "Time");
  const Samples speeds = samples("v");
  const auto expected = exactBounces();
  std::size_t bounces = 0;
  for (std::size_t i = 0; i + 1 < times.size(); ++i) {
    if (times[i] != times[i + 1]) continue;
    ASSERT_LT(bounces, expected.size());
    const auto [time, speed] = expected[bounces++];
    EXPECT_NEAR(times[i], time, 1e-8);
    EXPECT_NEAR(speeds[i], -speed, 1e-7);
    EXPECT_NEAR(speeds[i + 1], 0.7 * speed < 0.1 ? 0.0 : 0.7 * speed, 1e-7);
  }
  EXPECT_EQ(bounces, expected.size());
  EXPECT_EQ(times.back(), 3.0);
  EXPECT_EQ(samples("h").back(), 0.0) << "it rests";
}

TEST_P(ModelExchangeTest, EnergyIsKeptBetweenBounces) {
  RunOptions chosen = of("bouncing_ball");
  chosen.tolerance = 1e-9;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Samples times = samples("h", "Time");
  const Samples heights = samples("h");
  const Samples speeds = samples("v");
  double energy = kGravity;
  for (std::size_t i = 0; i < times.size(); ++i) {
    const double now = 0.5 * speeds[i] * speeds[i] + kGravity * heights[i];
    if (i > 0 && times[i] == times[i - 1]) energy = now;
    EXPECT_NEAR(now, energy, 1e-6) << times[i];
  }
}

class VanDerPol : public OdeProblem {
 public:
  explicit VanDerPol(double mu) : mu_(mu) {}
  [[nodiscard]] std::size_t stateCount() const override { return 2; }
  [[nodiscard]] std::size_t rootCount() const override { return 0; }
  bool derivatives(double, std::span<const double> x, std::span<double> result) override {
    result[0] = x[1];
    result[1] = mu_ * (1.0 - x[0] * x[0]) * x[1] - x[0];
    return true;
  }
  bool roots(double, std::span<const double>, std::span<double>) override { return true; }
  [[nodiscard]] bool hasJacobian() const override { return false; }
  bool jacobian(double, std::span<const double>, std::span<double>) override { return false; }

 private:
  double mu_;
};

double vanDerPolAt(double end, double mu) {
  VanDerPol problem(mu);
  const auto solver = makeOdeSolver(problem, {OdeMethod::adams, 1e-12, 0.01});
  const Samples start{2.0, 0.0};
  const Samples absolute{1e-14, 1e-14};
  solver->restart(0.0, start, absolute);
  while (solver->step(end) != StepEnd::limit) {
  }
  return solver->states()[0];
}

TEST_P(ModelExchangeTest, OscillatorFollowsASolutionOfAMillionthOfItsTolerance) {
  for (const OdeMethod method : {OdeMethod::bdf, OdeMethod::adams}) {
    RunOptions chosen = of("van_der_pol");
    chosen.method = method;
    chosen.stop = 10.0;
    chosen.set = {"mu=2"};
    double before = 1.0;
    for (const double tolerance : {1e-6, 1e-9}) {
      chosen.tolerance = tolerance;
      ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
      const Samples times = samples("x[1]", "Time");
      const Samples found = samples("x[1]");
      double worst = 0.0;
      for (std::size_t i = 50; i < times.size(); i += 50) {
        worst = std::max(worst, std::abs(found[i] - vanDerPolAt(times[i], 2.0)));
      }
      EXPECT_LT(worst, 2000.0 * tolerance);
      EXPECT_LT(worst, before);
      before = worst;
    }
  }
}

TEST_P(ModelExchangeTest, DerivativesAreLoggedWithTheirStates) {
  RunOptions chosen = of("van_der_pol");
  chosen.locals = true;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Samples x = samples("x[1]");
  const Samples v = samples("x[2]");
  const Samples acceleration = samples("der(x[2])", "Data", kSignals);
  ASSERT_EQ(x.size(), acceleration.size());
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_EQ(acceleration[i], (1.0 - x[i] * x[i]) * v[i] - x[i]) << i;
}

// The mass sticks while the spring is stretched from -0.01 m to 0.05 m, and slips back for a part of its oscillation.
TEST_P(ModelExchangeTest, StickAndSlipFollowOneAnotherWhenTheyDoExactly) {
  const double slipping = (2.0 * std::acos(-1.0) - 2.0 * std::atan(3.0)) / 10.0;
  for (const Kind kind : {Kind::modelExchange, Kind::coSimulation}) {
    // FMI 2 has no events in Co-Simulation.
    if (kind == Kind::coSimulation && std::string(GetParam()) == "_fmi2") continue;
    RunOptions chosen = of("stick_slip");
    chosen.kind = kind;
    chosen.tolerance = 1e-9;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const Samples times = samples("x", "Time");
    const Samples x = samples("x");
    const auto modes = numbers<std::int64_t>(results().field(kOutputs, "mode", "Data"));
    double expected = 0.5;
    int changes = 0;
    for (std::size_t i = 0; i + 1 < times.size(); ++i) {
      if (times[i] != times[i + 1]) continue;
      const bool slips = changes % 2 == 0;
      EXPECT_NEAR(times[i], expected, 1e-7);
      EXPECT_NEAR(x[i], slips ? 0.05 : -0.01, 1e-7);
      EXPECT_EQ(modes[i], slips ? 1 : 2);
      EXPECT_EQ(modes[i + 1], slips ? 2 : 1);
      expected += slips ? slipping : 0.6;
      ++changes;
    }
    EXPECT_EQ(changes, 8);
  }
}

TEST_P(ModelExchangeTest, EveryCommunicationPointIsLogged) {
  RunOptions chosen = of("van_der_pol");
  chosen.stop = 0.05;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(samples("x[1]", "Time"), ElementsAre(0, 0.01, 0.02, 0.03, 0.04, 0.05));
  chosen.outputStep = 0.02;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(samples("x[1]", "Time"), ElementsAre(0, 0.02, 0.04, 0.05));
}

TEST_P(ModelExchangeTest, TimeEventsAreMetExactly) {
  ASSERT_EQ(run(of("every_kind")), ExitStatus::done) << messages_.str();
  const Results saved = results();
  const Samples times = numbers<double>(saved.field(kOutputs, "axle", "load", "Time"));
  EXPECT_THAT(times, ElementsAre(0, .25, .5, .5, .75, 1, 1, 1.25, 1.5, 1.5, 1.75, 2, 2));
  EXPECT_EQ(numbers<double>(saved.field(kOutputs, "axle", "load", "Data")), times);
  EXPECT_THAT(numbers<std::int64_t>(saved.field(kOutputs, "mode", "Data")),
              ElementsAre(1, 1, 1, 2, 2, 2, 3, 3, 3, 1, 1, 1, 2));
  if (std::string(GetParam()) != "_fmi3") return;
  EXPECT_THAT(numbers<bool>(saved.field(kOutputs, "tick", "Data")), ElementsAre(0, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1));
}

TEST_P(ModelExchangeTest, InputsAreInterpolatedAndJumpAtEvents) {
  writeBytes(file("in.csv"), "time,u,gear\n0,0,1\n0.8,8,1\n1.2,12,4\n1.2,20,4\n1.6,20,7\n");
  RunOptions chosen = of("every_kind");
  chosen.input = file("in.csv");
  chosen.signals = {"u", "gear", "y"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const Samples times = samples("u", "Time", kSignals);
  const Samples u = samples("u", "Data", kSignals);
  const auto gear = numbers<std::int32_t>(results().field(kSignals, "gear", "Data"));
  const Samples y = samples("y");
  EXPECT_THAT(times, ElementsAre(0, .25, .5, .5, .75, 1, 1, 1.2, 1.2, 1.25, 1.5, 1.5, 1.6, 1.6, 1.75, 2, 2));
  EXPECT_THAT(u, ::testing::Pointwise(::testing::DoubleNear(1e-12),
                                      Samples{0, 2.5, 5, 5, 7.5, 10, 10, 12, 20, 20, 20, 20, 20, 20, 20, 20, 20}));
  EXPECT_THAT(gear, ElementsAre(1, 1, 1, 1, 1, 1, 1, 1, 4, 4, 4, 4, 4, 7, 7, 7, 7));
  for (std::size_t i = 0; i < y.size(); ++i) EXPECT_NEAR(y[i], u[i] + gear[i], 1e-12) << times[i];
}

TEST_P(ModelExchangeTest, ARewoundRunEqualsOneThatDidNotWithinTheTolerance) {
  RunOptions chosen = of("bouncing_ball");
  chosen.tolerance = 1e-9;
  chosen.outputStep = 0.05;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Samples times = samples("h", "Time");
  const Samples heights = samples("h");
  chosen.rewind = 0.7;
  ASSERT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(samples("h", "Time"), ::testing::Pointwise(::testing::DoubleNear(1e-7), times));
  EXPECT_THAT(samples("h"), ::testing::Pointwise(::testing::DoubleNear(1e-7), heights));
}

TEST_P(ModelExchangeTest, IsolatedAndStreamedRunsGiveTheSame) {
  for (const char* name : {"bouncing_ball", "van_der_pol", "every_kind"}) {
    RunOptions chosen = fullRun(name + std::string(GetParam()));
    chosen.kind = Kind::modelExchange;
    chosen.stop = 2.0;
    chosen.stepTimeout = 60.0;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const std::vector<std::string> plain = elements();
    EXPECT_GT(plain.size(), 10U);
    chosen.isolate = true;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    EXPECT_TRUE(plain == elements()) << name << " isolated";
    chosen.isolate = false;
    chosen.stream = true;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    EXPECT_TRUE(plain == elements()) << name << " streamed";
  }
}

TEST_P(ModelExchangeTest, SweepsRun) {
  SweepOptions sweep;
  sweep.run = of("bouncing_ball");
  sweep.run.output = file("sweep.qat");
  sweep.run.finals = {"h"};
  sweep.grids = {"e=0.5:0.7:3"};
  sweep.jobs = 2;
  EXPECT_EQ(runSweep(sweep, out_, messages_), ExitStatus::done) << messages_.str();
  EXPECT_TRUE(std::filesystem::exists(file("sweep.qat.d") / "000002.qat"));
}

TEST_P(ModelExchangeTest, TheRecordNamesTheKind) {
  ASSERT_EQ(run(of("bouncing_ball")), ExitStatus::done);
  EXPECT_EQ(text(qxGetField(results().variable("fmu").get(), 0, "Kind")), "me");
}

TEST_P(ModelExchangeTest, AFailedModelLeavesWhatWasLogged) {
  for (const auto& [way, what] : std::vector<std::pair<std::string, std::string>>{
           {"error", "returned an error at the time 0."},
           {"fatal", "returned a fatal error at the time 0."},
           {"discard", "the solver makes no progress any more: its steps became too short at the time 0.5"},
           {"nan", "the solver makes no progress any more: its steps became too short at the time 0.5"},
           {"standstill", "the FMU chatters: 1000 events without any progress at the time 0.5"}}) {
    RunOptions chosen = of("misbehaving");
    chosen.set = {"way=" + way};
    std::optional<LeaksAllowed> allowed;
    if (way == "fatal") allowed.emplace();
    EXPECT_EQ(run(chosen), ExitStatus::failed) << way;
    EXPECT_THAT(messages_.str(), HasSubstr(what));
    EXPECT_GE(samples("y").size(), 5U) << way;
  }
}

TEST_P(ModelExchangeTest, ACrashOfAnIsolatedModelLeavesWhatWasLogged) {
  for (const auto& [way, timeout, what] : std::vector<std::tuple<std::string, double, std::string>>{
           {"crash", 60.0, "the FMU crashed (Segmentation fault) in its derivatives at the time 0."},
           {"exit", 60.0, "the FMU ended its process (status 3) in its derivatives at the time 0."},
           {"endless", 0.2,
            "the FMU did not return from its derivatives within 0.2 s and was stopped at the time 0."}}) {
    RunOptions chosen = of("misbehaving");
    chosen.set = {"way=" + way};
    chosen.isolate = true;
    chosen.stepTimeout = timeout;
    EXPECT_EQ(run(chosen), ExitStatus::failed);
    EXPECT_THAT(messages_.str(), HasSubstr(what));
    EXPECT_GE(samples("y").size(), 5U);
  }
}

TEST_P(ModelExchangeTest, AnFmuMayEndTheSimulation) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=terminate"};
  EXPECT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(messages_.str(), HasSubstr("the FMU ended the simulation at the time 0.5"));
  EXPECT_GT(samples("y", "Time").back(), 0.5);
  EXPECT_LT(samples("y", "Time").back(), 0.7);
}

TEST_P(ModelExchangeTest, PointsThatTheFmuRefusesShortenSteps) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=smallSteps"};
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_NEAR(samples("y").back(), 1.0, 1e-9);
}

TEST_P(ModelExchangeTest, ChatteringIsTold) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=chatter"};
  chosen.stop = 0.51;
  EXPECT_EQ(run(chosen), ExitStatus::done);
  EXPECT_THAT(messages_.str(), HasSubstr("the FMU chatters: 100"));
  EXPECT_THAT(messages_.str(), HasSubstr("within a communication step from 0.5"));
}

TEST_P(ModelExchangeTest, StepEventsAreHandled) {
  RunOptions chosen = of("misbehaving");
  chosen.set = {"way=stepEvents"};
  ASSERT_EQ(run(chosen), ExitStatus::done);
  const Samples times = samples("y", "Time");
  ASSERT_GT(times.size(), 12U);
  EXPECT_THAT(Samples(times.begin(), times.begin() + 5),
              ::testing::Pointwise(::testing::DoubleNear(1e-12), Samples{0, .1, .2, .3, .4}));
  EXPECT_EQ(times[times.size() - 1], times[times.size() - 2]);
}

TEST_P(ModelExchangeTest, WrongWishesAreRefused) {
  RunOptions chosen = of("bouncing_ball");
  chosen.maxChange = {"h=0.1"};
  EXPECT_THAT([&] { (void)run(chosen); },
              ThrowsMessage<RunnerError>(HasSubstr("--max-change goes with Co-Simulation")));
}

TEST(ChooseInterfaceTest, TakesCoSimulationUnlessModelExchangeIsWantedOrAlone) {
  ModelDescription model;
  model.interfaces.push_back({Kind::modelExchange, "m", {}});
  if (hasOdeSolver()) {
    EXPECT_EQ(chooseInterface(model, {}).kind, Kind::modelExchange);
  } else {
    EXPECT_THAT([&] { (void)chooseInterface(model, {}); }, ThrowsMessage<RunnerError>(HasSubstr("without SUNDIALS")));
  }
  RunOptions options;
  options.kind = Kind::coSimulation;
  EXPECT_THAT([&] { (void)chooseInterface(model, options); },
              ThrowsMessage<RunnerError>("the FMU does not offer Co-Simulation; it offers Model Exchange"));
  model.interfaces = {{Kind::coSimulation, "m", {}}, {Kind::scheduledExecution, "m", {}}};
  EXPECT_EQ(chooseInterface(model, {}).kind, Kind::coSimulation);
  options.kind = Kind::modelExchange;
  EXPECT_THAT([&] { (void)chooseInterface(model, options); },
              ThrowsMessage<RunnerError>(
                  "the FMU does not offer Model Exchange; it offers Co-Simulation, Scheduled Execution"));
  model.interfaces = {{Kind::scheduledExecution, "m", {}}};
  EXPECT_THAT([&] { (void)chooseInterface(model, {}); },
              ThrowsMessage<RunnerError>(HasSubstr("Scheduled Execution only")));
}

}  // namespace
