#include "runner/solver/ode_solver.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "runner/error.hpp"
#include "runner/run/chatter.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

using States = std::span<const double>;

// Equations written down in a test.
class Written : public OdeProblem {
 public:
  std::size_t states = 1;
  std::function<bool(double, States, std::span<double>)> f;
  std::function<double(double, States)> g;
  std::function<void(States, std::span<double>)> columns;
  int calls = 0;
  int jacobians = 0;

  [[nodiscard]] std::size_t stateCount() const override { return states; }
  [[nodiscard]] std::size_t rootCount() const override { return g ? 1 : 0; }
  bool derivatives(double time, States x, std::span<double> result) override {
    ++calls;
    return f(time, x, result);
  }
  bool roots(double time, States x, std::span<double> result) override {
    result[0] = g(time, x);
    return true;
  }
  [[nodiscard]] bool hasJacobian() const override { return static_cast<bool>(columns); }
  bool jacobian(double, States x, std::span<double> result) override {
    ++jacobians;
    columns(x, result);
    return true;
  }
};

class OdeSolverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!hasOdeSolver()) GTEST_SKIP() << "built without SUNDIALS";
  }

  static std::vector<double> solve(OdeProblem& problem, const OdeOptions& options, std::vector<double> x, double end) {
    const auto solver = makeOdeSolver(problem, options);
    const std::vector<double> absolute(x.size(), 0.01 * options.relativeTolerance);
    solver->restart(0.0, x, absolute);
    while (solver->step(end) != StepEnd::limit) {
    }
    EXPECT_EQ(solver->time(), end);
    return {solver->states().begin(), solver->states().end()};
  }
};

Written decay() {
  Written problem;
  problem.f = [](double, States x, std::span<double> result) {
    result[0] = -2.0 * x[0];
    return true;
  };
  return problem;
}

TEST_F(OdeSolverTest, MethodsMeetTheTolerance) {
  for (const OdeMethod method : {OdeMethod::bdf, OdeMethod::adams}) {
    Written problem = decay();
    double before = 1.0;
    for (const double tolerance : {1e-4, 1e-7, 1e-10}) {
      const double error = std::abs(solve(problem, {method, tolerance, 0.0}, {3.0}, 1.0)[0] - 3.0 * std::exp(-2.0));
      EXPECT_LT(error, 300.0 * tolerance);
      EXPECT_LT(error, before);
      before = error;
    }
  }
}

TEST_F(OdeSolverTest, BdfTakesStiffProblemsThatAdamsNeedsManyStepsFor) {
  Written problem;
  problem.f = [](double time, States x, std::span<double> result) {
    result[0] = -1e5 * (x[0] - std::cos(time));
    return true;
  };
  EXPECT_NEAR(solve(problem, {OdeMethod::bdf, 1e-6, 0.0}, {1.0}, 2.0)[0], std::cos(2.0), 1e-4);
  const int bdf = problem.calls;
  problem.calls = 0;
  EXPECT_NEAR(solve(problem, {OdeMethod::adams, 1e-6, 0.0}, {1.0}, 2.0)[0], std::cos(2.0), 1e-4);
  EXPECT_GT(problem.calls, 50 * bdf);
}

TEST_F(OdeSolverTest, AJacobianSavesEvaluations) {
  constexpr std::size_t kStates = 30;
  Written problem;
  problem.states = kStates;
  problem.f = [](double, States x, std::span<double> result) {
    for (std::size_t i = 0; i < kStates; ++i) result[i] = -10.0 * static_cast<double>(i + 1) * x[i];
    return true;
  };
  const OdeOptions options{OdeMethod::bdf, 1e-6, 0.0};
  const std::vector<double> start(kStates, 1.0);
  const std::vector<double> differences = solve(problem, options, start, 1.0);
  const int without = problem.calls;
  problem.calls = 0;
  problem.columns = [](States, std::span<double> result) {
    for (std::size_t i = 0; i < kStates; ++i) result[i * (kStates + 1)] = -10.0 * static_cast<double>(i + 1);
  };
  const std::vector<double> given = solve(problem, options, start, 1.0);
  EXPECT_GE(problem.jacobians, 2);
  EXPECT_LT(problem.calls + 30, without);
  EXPECT_NEAR(given[0], differences[0], 1e-6);
  EXPECT_NEAR(given[0], std::exp(-10.0), 1e-6);
}

TEST_F(OdeSolverTest, StopsWhereARootChangesItsSign) {
  Written problem;
  problem.f = [](double, States, std::span<double> result) {
    result[0] = 1.0;
    return true;
  };
  problem.g = [](double, States x) { return x[0] - 0.3; };
  const auto solver = makeOdeSolver(problem, {OdeMethod::bdf, 1e-8, 0.05});
  const std::array<double, 1> zero{0.0};
  const std::array<double, 1> tolerance{1e-9};
  solver->restart(0.0, zero, tolerance);
  StepEnd end = StepEnd::accurate;
  while (end == StepEnd::accurate) end = solver->step(1.0);
  EXPECT_EQ(end, StepEnd::root);
  EXPECT_NEAR(solver->time(), 0.3, 1e-12);
  EXPECT_GE(solver->states()[0], 0.3 - 1e-12);
  std::array<double, 1> between{};
  solver->interpolate(solver->time() - 0.01, between);
  EXPECT_NEAR(between[0], 0.29, 1e-9);
  // Begun anew at the root it does not stop there again.
  solver->restart(solver->time(), solver->states().size() == 1 ? std::vector<double>{0.3} : std::vector<double>{},
                  tolerance);
  end = StepEnd::accurate;
  while (end == StepEnd::accurate) end = solver->step(1.0);
  EXPECT_EQ(end, StepEnd::limit);
}

TEST_F(OdeSolverTest, StepsAreNoLongerThanAsked) {
  Written problem = decay();
  problem.f = [](double, States, std::span<double> result) {
    result[0] = 0.0;
    return true;
  };
  const auto solver = makeOdeSolver(problem, {OdeMethod::bdf, 1e-6, 0.125});
  const std::array<double, 1> one{1.0};
  solver->restart(0.0, one, one);
  double before = 0.0;
  while (solver->step(4.0) != StepEnd::limit) {
    EXPECT_LE(solver->time() - before, 0.125 * (1.0 + 1e-12));
    before = solver->time();
  }
}

TEST_F(OdeSolverTest, ModelsWithoutStatesHaveRoots) {
  Written problem;
  problem.states = 0;
  problem.g = [](double time, States) { return time - 0.7; };
  const auto solver = makeOdeSolver(problem, {OdeMethod::bdf, 1e-6, 0.1});
  solver->restart(0.0, {}, {});
  StepEnd end = StepEnd::accurate;
  while (end == StepEnd::accurate) end = solver->step(2.0);
  EXPECT_EQ(end, StepEnd::root);
  EXPECT_NEAR(solver->time(), 0.7, 1e-12);
  EXPECT_TRUE(solver->states().empty());
}

TEST_F(OdeSolverTest, WhatTheProblemThrowsArrives) {
  Written problem;
  problem.f = [](double time, States, std::span<double> result) -> bool {
    if (time > 0.5) throw RunnerError(ExitStatus::failed, "thrown inside");
    result[0] = 1.0;
    return true;
  };
  EXPECT_THAT([&] { (void)solve(problem, {}, {0.0}, 1.0); }, ThrowsMessage<RunnerError>(HasSubstr("thrown inside")));
}

TEST_F(OdeSolverTest, DerivativesWithoutAValueAreTold) {
  Written problem;
  problem.f = [](double, States, std::span<double> result) {
    result[0] = std::numeric_limits<double>::quiet_NaN();
    return true;
  };
  EXPECT_THAT([&] { (void)solve(problem, {}, {0.0}, 1.0); },
              ThrowsMessage<RunnerError>(HasSubstr("the derivatives have no finite value")));
}

TEST_F(OdeSolverTest, AStepThatTheProblemRefusesIsShortened) {
  Written problem;
  double reached = 0.0;
  problem.f = [&reached](double time, States, std::span<double> result) {
    result[0] = 1.0;
    return time <= reached + 0.01;
  };
  const auto solver = makeOdeSolver(problem, {OdeMethod::adams, 1e-6, 0.0});
  const std::array<double, 1> zero{0.0};
  const std::array<double, 1> tolerance{1e-8};
  solver->restart(0.0, zero, tolerance);
  while (solver->step(0.2) != StepEnd::limit) reached = solver->time();
  EXPECT_NEAR(solver->states()[0], 0.2, 1e-9);
}

TEST(ChatterTest, ManyEventsWithinAStepAreRemarkedOn) {
  Chatter chatter(0.1);
  for (int i = 0; i < 100; ++i) chatter.add(0.5 + i * 1e-4);
  EXPECT_EQ(chatter.remark(), "");
  for (int i = 100; i < 150; ++i) chatter.add(0.5 + i * 1e-4);
  EXPECT_EQ(chatter.remark(), "the FMU chatters: 150 events within a communication step from 0.5");
  for (int i = 0; i < 500; ++i) chatter.add(1.0 + i * 0.01);
  EXPECT_THAT(chatter.remark(), HasSubstr("150 events"));
}

TEST(ChatterTest, EventsWithoutProgressEndTheRun) {
  Chatter chatter(0.1);
  for (int i = 0; i < 1000; ++i) chatter.add(2.0);
  EXPECT_THAT([&] { chatter.add(2.0); }, ThrowsMessage<RunnerError>(HasSubstr("1000 events without any progress")));
}

}  // namespace
