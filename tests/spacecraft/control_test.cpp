// Mode logic and pointing.
#include "control.h"

#include <gtest/gtest.h>

#include <cmath>

#include "vector_math.h"

namespace {

class Control : public testing::Test {
 protected:
  Control() {
    spacecraftDefaults(&parameters_, &state_);
    controlCommandedAttitude(0.0, target_);
  }

  void decide() { controllerUpdate(&control_, &parameters_, &state_, target_, &controller_); }

  void fly(double seconds) {
    constexpr double step = 0.05;
    for (int n = 0; n < static_cast<int>(seconds / step); ++n) {
      decide();
      spacecraftStep(&parameters_, &controller_.inputs, step, &state_);
    }
  }

  void rest() {
    state_.rate[0] = state_.rate[1] = state_.rate[2] = 0.0;
    std::fill(std::begin(state_.wheelMomentum), std::end(state_.wheelMomentum), 0.0);
  }

  ControlParameters control_ = controlDefaults();
  SpacecraftParameters parameters_{};
  SpacecraftState state_{};
  Controller controller_ = controllerStart();
  double target_[4]{};
};

TEST_F(Control, StartsByDetumblingAgainstEachRate) {
  decide();
  EXPECT_EQ(controller_.mode, kModeDetumble);
  const bool expected[kThrusterCount] = {false, true, true, false, false, true};  // rates +, -, +
  for (int thruster = 0; thruster < kThrusterCount; ++thruster) {
    EXPECT_EQ(controller_.inputs.valveOpen[thruster], expected[thruster]) << thruster;
  }
  EXPECT_FALSE(controller_.inputs.payloadOn);
}

TEST_F(Control, DetumblesThenPointsAtTheTarget) {
  fly(60.0);
  EXPECT_NE(controller_.mode, kModeDetumble);
  fly(500.0);
  EXPECT_EQ(controller_.mode, kModePoint);
  EXPECT_LT(controller_.pointingError, 0.002);
  EXPECT_LT(vectorLength(state_.rate), 1e-3);
  EXPECT_TRUE(controller_.inputs.payloadOn);
}

TEST_F(Control, WheelsStayBelowTheirTorqueLimit) {
  rest();
  controller_.mode = kModePoint;
  state_.rate[1] = 0.15;
  decide();
  for (const double torque : controller_.inputs.motorTorque) {
    EXPECT_LE(std::abs(torque), parameters_.maxWheelTorque);
  }
}

TEST_F(Control, LoadedWheelsAreUnloadedDownToTheLowerThreshold) {
  rest();
  controller_.mode = kModePoint;
  state_.wheelMomentum[2] = -1.01 * control_.unloadMomentum;
  decide();
  EXPECT_EQ(controller_.mode, kModeUnload);
  EXPECT_GT(controller_.inputs.motorTorque[2], 0.0);
  state_.wheelMomentum[2] = -1.01 * control_.unloadedMomentum;
  decide();
  EXPECT_EQ(controller_.mode, kModeUnload);
  state_.wheelMomentum[2] = -0.99 * control_.unloadedMomentum;
  decide();
  EXPECT_EQ(controller_.mode, kModePoint);
}

TEST_F(Control, EmptyBatteryMeansSafeModeUntilItHasRecovered) {
  rest();
  controller_.mode = kModePoint;
  state_.batteryEnergy = 0.99 * control_.emptyBattery * parameters_.batteryCapacity;
  decide();
  EXPECT_EQ(controller_.mode, kModeSafe);
  EXPECT_FALSE(controller_.inputs.payloadOn);
  state_.batteryEnergy = 0.99 * control_.recoveredBattery * parameters_.batteryCapacity;
  decide();
  EXPECT_EQ(controller_.mode, kModeSafe);
  state_.batteryEnergy = 1.01 * control_.recoveredBattery * parameters_.batteryCapacity;
  decide();
  EXPECT_EQ(controller_.mode, kModePoint);
}

TEST_F(Control, SafeModeTurnsThePanelToTheSun) {
  rest();
  controller_.mode = kModeSafe;
  state_.batteryEnergy = 0.2 * parameters_.batteryCapacity;
  parameters_.solarPower = 0.0;  // stays in safe mode
  fly(600.0);
  ASSERT_EQ(controller_.mode, kModeSafe);
  const double z[3] = {0, 0, 1};
  double panel[3];
  quaternionRotate(state_.attitude, z, panel);
  EXPECT_GT(vectorDot(panel, parameters_.sunDirection), 0.9999);
}

TEST_F(Control, FastTumblingBringsDetumblingBack) {
  rest();
  controller_.mode = kModePoint;
  state_.rate[0] = 1.1 * control_.tumblingRate;
  decide();
  EXPECT_EQ(controller_.mode, kModeDetumble);
}

TEST_F(Control, FullBatteryShunts) {
  decide();
  EXPECT_FALSE(controller_.inputs.shunting);
  state_.batteryEnergy = parameters_.batteryCapacity;
  decide();
  EXPECT_TRUE(controller_.inputs.shunting);
}

TEST_F(Control, CommandChangesEveryTenMinutesAndIsOfUnitLength) {
  double first[4];
  double same[4];
  double next[4];
  controlCommandedAttitude(0.0, first);
  controlCommandedAttitude(599.9, same);
  controlCommandedAttitude(600.0, next);
  EXPECT_EQ(first[0], same[0]);
  EXPECT_NE(first[0], next[0]);
  for (const double* q : {first, next}) {
    EXPECT_NEAR(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3], 1.0, 1e-15);
  }
}

}  // namespace
