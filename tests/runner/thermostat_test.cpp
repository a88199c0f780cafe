// Rooms with thermostats: arrays whose sizes a structural parameter sets, families that become arrays of buses, and
// modes that change when they do exactly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "runner/fmu/fmu_file.hpp"
#include "runner/run/assignments.hpp"
#include "runner/run/run_fmu.hpp"
#include "runner/solver/ode_solver.hpp"
#include "tests/runner/run_fixture.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using namespace runner_test;   // NOLINT(google-build-using-namespace): readers of results
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// The rooms solved exactly from one event to the next: each cosine along the row decays at a rate of its own.
class ExactRooms {
 public:
  explicit ExactRooms(std::vector<double> setpoints)
      : setpoints_(std::move(setpoints)), temperatures_(setpoints_.size(), 288.15) {
    for (const double setpoint : setpoints_) heats_.push_back(temperatures_[0] <= setpoint - kBand);
  }

  [[nodiscard]] const std::vector<bool>& heats() const { return heats_; }

  /// Goes on to a time, or to the first event before it.
  /// @return The time reached, in seconds.
  double advance(double time) {
    double low = 0.0;
    double high = 0.0;
    while (!isDue(temperaturesAfter(high))) {
      if (time_ + high >= time) {
        goTo(time);
        return time_;
      }
      low = high;
      high = std::min(high + 10.0, time - time_);
    }
    while (high - low > 1e-10) {
      const double middle = 0.5 * (low + high);
      (isDue(temperaturesAfter(middle)) ? high : low) = middle;
    }
    goTo(time_ + high);
    return time_;
  }

  /// Switches the thermostats that are due.
  void change() {
    for (std::size_t i = 0; i < heats_.size(); ++i) {
      if (distance(temperatures_[i], i) <= 1e-9) heats_[i] = !heats_[i];
    }
  }

  [[nodiscard]] const std::vector<double>& temperatures() const { return temperatures_; }

 private:
  static constexpr double kBand = 0.5;

  [[nodiscard]] double distance(double temperature, std::size_t i) const {
    const double over = temperature - setpoints_[i];
    return heats_[i] ? kBand - over : over + kBand;
  }

  [[nodiscard]] bool isDue(const std::vector<double>& temperatures) const {
    for (std::size_t i = 0; i < temperatures.size(); ++i) {
      if (distance(temperatures[i], i) <= 0.0) return true;
    }
    return false;
  }

  void goTo(double time) {
    temperatures_ = temperaturesAfter(time - time_);
    time_ = time;
  }

  [[nodiscard]] std::vector<double> temperaturesAfter(double seconds) const {
    const std::size_t n = temperatures_.size();
    std::vector<double> result(n, 0.0);
    for (std::size_t k = 0; k < n; ++k) {
      const double turn = std::acos(-1.0) * static_cast<double>(k) / static_cast<double>(n);
      const auto wave = [turn](std::size_t i) { return std::cos(turn * (static_cast<double>(i) + 0.5)); };
      double now = 0.0;
      double drive = 0.0;
      for (std::size_t i = 0; i < n; ++i) {
        const double share = wave(i) * (k == 0 ? 1.0 : 2.0) / static_cast<double>(n);
        now += share * temperatures_[i];
        drive += share * (50.0 * 273.15 + (heats_[i] ? 2000.0 : 0.0)) / 1e6;
      }
      const double rate = (50.0 + 100.0 * (2.0 - 2.0 * std::cos(turn))) / 1e6;
      const double then = drive / rate + (now - drive / rate) * std::exp(-rate * seconds);
      for (std::size_t i = 0; i < n; ++i) result[i] += then * wave(i);
    }
    return result;
  }

  std::vector<double> setpoints_, temperatures_;
  std::vector<bool> heats_;
  double time_ = 0.0;
};

class ThermostatRuns : public RunFolder, public ::testing::WithParamInterface<std::tuple<int, Kind>> {
 protected:
  void SetUp() override {
    if (kind() == Kind::modelExchange && !hasOdeSolver()) GTEST_SKIP() << "built without SUNDIALS";
  }
  [[nodiscard]] static int version() { return std::get<0>(GetParam()); }
  [[nodiscard]] static Kind kind() { return std::get<1>(GetParam()); }

  // Rooms of other setpoints: five, where their number is not fixed.
  [[nodiscard]] static std::vector<double> setpoints() {
    if (version() == 2) return {293.0, 295.0, 294.0};
    return {293.0, 295.0, 294.0, 292.0, 291.0};
  }

  RunOptions of(int version) {
    RunOptions chosen = options("thermostat_fmi" + std::to_string(version));
    chosen.kind = kind();
    chosen.tolerance = 1e-10;
    chosen.locals = chosen.parameters = true;
    std::string list;
    for (std::size_t i = 0; i < setpoints().size(); ++i) {
      const std::string value = std::to_string(setpoints()[i]);
      if (version == 2) chosen.set.push_back("room[" + std::to_string(i + 1) + "].setpoint=" + value);
      list += value + " ";
    }
    // The values are counted against the size, whatever comes first.
    if (version == 3) chosen.set = {"setpoint=" + list, "rooms=" + std::to_string(setpoints().size())};
    return chosen;
  }

  // A value of each room, whichever way the version names them.
  [[nodiscard]] vtu::qxArrayWrapper field(const char* name, const char* part = "Data") const {
    if (version() == 2) return results().field(kOutputs, "room", name, part);
    return results().field(kOutputs, name, part);
  }
};
INSTANTIATE_TEST_SUITE_P(All, ThermostatRuns,
                         ::testing::Combine(::testing::Values(2, 3),
                                            ::testing::Values(Kind::coSimulation, Kind::modelExchange)));

// Every sample, those of events and those within steps included. FMI 2 has no events in Co-Simulation.
TEST_P(ThermostatRuns, FollowTheExactSolution) {
  ASSERT_EQ(run(of(version())), ExitStatus::done) << messages_.str();
  const std::vector<double> times = numbers<double>(field("temperature", "Time"));
  const std::vector<double> temperatures = numbers<double>(field("temperature"));
  const std::vector<double> modeTimes = numbers<double>(field("mode", "Time"));
  const std::vector<std::int64_t> modes = numbers<std::int64_t>(field("mode"));
  const std::size_t n = times.size();
  const double kelvins = kind() == Kind::coSimulation ? 1e-9 : 1e-5;
  const bool hasEvents = version() == 3 || kind() == Kind::modelExchange;
  ExactRooms rooms(setpoints());
  const auto expectModes = [&](std::size_t sample) {
    for (std::size_t k = 0; k < setpoints().size(); ++k) {
      EXPECT_EQ(modes[sample + modeTimes.size() * k] == 2, rooms.heats()[k]) << modeTimes[sample] << " room " << k;
    }
  };
  std::size_t modeSample = 1;
  int events = 0;
  for (std::size_t i = 1; i < n; ++i) {
    if (times[i] == times[i - 1]) continue;
    const bool atEvent = i + 1 < n && times[i + 1] == times[i];
    double reached = rooms.advance(atEvent ? times[i] + 1.0 : times[i]);
    for (; reached < times[i] && !hasEvents; reached = rooms.advance(times[i])) rooms.change();
    ASSERT_NEAR(reached, times[i], 1e4 * kelvins) << "event " << events;
    for (std::size_t k = 0; k < setpoints().size(); ++k) {
      EXPECT_NEAR(temperatures[i + n * k], rooms.temperatures()[k], kelvins) << times[i] << " room " << k;
    }
    const bool hasMode = modeSample < modeTimes.size() && modeTimes[modeSample] == times[i];
    if (hasMode) expectModes(modeSample++);
    if (!atEvent) continue;
    rooms.change();
    ++events;
    ASSERT_TRUE(hasMode && modeTimes[modeSample] == times[i]);
    expectModes(modeSample++);
  }
  EXPECT_EQ(modeSample, modeTimes.size());
  EXPECT_TRUE(!hasEvents || events > 20) << events;
}

// The model's own steps of 10 s are in the log of what may be read then, between communication points 60 s apart.
TEST_P(ThermostatRuns, AreSampledWithinStepsWhereTheyOfferIt) {
  RunOptions chosen = of(version());
  chosen.stop = 120.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const std::vector<double> points{0, 60, 120};
  const std::vector<double> steps{0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
  const bool isOffered = version() == 3 && kind() == Kind::coSimulation;
  EXPECT_EQ(numbers<double>(field("temperature", "Time")), isOffered ? steps : points);
  EXPECT_EQ(numbers<double>(field("power", "Time")), points) << "not to be read within a step";
  if (version() == 3) {
    EXPECT_EQ(numbers<double>(results().field(kSignals, "flow", "Time")), isOffered ? steps : points);
  }
  chosen.outputStep = 120.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_THAT(numbers<double>(field("temperature", "Time")), ElementsAre(0, 120)) << "the grid alone";
}

TEST_P(ThermostatRuns, AreDescribedWithTheirDimensions) {
  ASSERT_EQ(run(of(version())), ExitStatus::done);
  const std::size_t samples = numbers<double>(field("temperature", "Time")).size();
  const std::size_t rooms = setpoints().size();
  for (const char* name : {"temperature", "mode", "power"}) {
    const std::size_t samples = numbers<double>(field(name, "Time")).size();
    EXPECT_EQ(dimensions(field(name)), (std::vector<std::size_t>{samples, rooms})) << name;
  }
  EXPECT_THAT(texts(field("mode", "EnumLabels")), ElementsAre("off", "heat"));
  EXPECT_EQ(text(field("temperature", "Unit").get()), "K");
  const vtu::qxArrayWrapper setpoint = version() == 2 ? results().field(kSignals, "room", "setpoint", "Data")
                                                      : results().field(kSignals, "setpoint", "Data");
  EXPECT_EQ(numbers<double>(setpoint), setpoints());
  if (version() == 2) return;
  const vtu::qxArrayWrapper flow = results().field(kSignals, "flow", "Data");
  ASSERT_EQ(dimensions(flow), (std::vector<std::size_t>{samples, rooms, rooms}));
  const std::vector<double> flows = numbers<double>(flow);
  const std::vector<double> temperatures = numbers<double>(field("temperature"));
  for (std::size_t i = 0; i < rooms * rooms; ++i) {
    const std::size_t from = i % rooms;
    const std::size_t to = i / rooms;
    const bool neighbours = from + 1 == to || to + 1 == from;
    const double between = temperatures[samples * (from + 1) - 1] - temperatures[samples * (to + 1) - 1];
    EXPECT_DOUBLE_EQ(flows[samples * (i + 1) - 1], neighbours ? 100.0 * between : 0.0) << from << " to " << to;
  }
}

TEST_P(ThermostatRuns, AreTheSameIsolatedStreamedAndRewound) {
  RunOptions chosen = of(version());
  chosen.stop = 9000.0;
  chosen.stepTimeout = 60.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const std::vector<std::string> plain = elements();
  EXPECT_GT(plain.size(), 20U);
  chosen.isolate = true;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_TRUE(plain == elements()) << "isolated";
  chosen.isolate = false;
  chosen.stream = true;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_TRUE(plain == elements()) << "streamed";
  if (kind() == Kind::modelExchange) return;  // equal within the tolerance
  chosen.rewind = 5000.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_TRUE(plain == elements()) << "rewound";
}

class ThermostatTest : public RunFolder {};

TEST_F(ThermostatTest, SizesThatTheModelCannotHaveAreRefused) {
  const auto expectRefused = [this](const std::vector<std::string>& set, const char* what) {
    RunOptions chosen = options("thermostat_fmi3");
    chosen.set = set;
    EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
    EXPECT_FALSE(std::filesystem::exists(file("results.qat"))) << what;
  };
  expectRefused({"rooms=0"}, "--set: 0 is below the minimum 1, variable 'rooms'");
  expectRefused({"rooms=65"}, "--set: 65 is above the maximum 64, variable 'rooms'");
  expectRefused({"rooms=2.5"}, "--set: '2.5' is no value of type UInt64, variable 'rooms'");
  expectRefused({"rooms=4", "setpoint=290 291 292"}, "--set: 3 values for 4 elements, variable 'setpoint'");
  expectRefused({"setpoint=290 291 292", "rooms=4"}, "--set: 3 values for 4 elements, variable 'setpoint'");
  expectRefused({"setpoint=290 291 -1"}, "--set: -1 is below the minimum 0, variable 'setpoint'");
}

// A size that the description allows, and memory does not.
TEST_F(ThermostatTest, SizesBeyondMemoryAreRefused) {
  ModelDescription model = FmuFile(options("thermostat_fmi3").fmu).model();
  for (Variable& variable : model.variables) {
    if (variable.name == "rooms") variable.max = "1e9";
  }
  EXPECT_THAT([&] { (void)readAssignments(model, {"rooms=20000"}); },
              ThrowsMessage<RunnerError>("--set: 20000 makes the array 'flow' too large, variable 'rooms'"));
}

TEST_F(ThermostatTest, OneRoomIsAnArrayToo) {
  RunOptions chosen = options("thermostat_fmi3");
  chosen.set = {"rooms=1"};
  chosen.stop = 600.0;
  chosen.outputStep = 60.0;
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  EXPECT_THAT(dimensions(results().field(kOutputs, "temperature", "Data")), ElementsAre(11, 1));
}

}  // namespace
