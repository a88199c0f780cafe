// What the equations of motion must conserve, and the order of the integrator.
#include <gtest/gtest.h>

#include <cmath>

#include "spacecraft.h"
#include "vector_math.h"

namespace {

class Dynamics : public testing::Test {
 protected:
  Dynamics() { spacecraftDefaults(&parameters_, &state_); }

  static void run(const SpacecraftParameters& parameters, const SpacecraftInputs& inputs, double step, int steps,
                  SpacecraftState& state) {
    for (int n = 0; n < steps; ++n) {
      spacecraftStep(&parameters, &inputs, step, &state);
    }
  }

  void run(double step, int steps) { run(parameters_, inputs_, step, steps, state_); }

  double rotationalEnergy() const { return spacecraftRotationalEnergy(&parameters_, &state_); }
  double orbitalEnergy() const { return spacecraftOrbitalEnergy(&parameters_, &state_); }

  /// Distance of the present angular momentum from `start` and what the thrusters gave.
  double momentumError(const double (&start)[3]) const {
    double error[3];
    spacecraftAngularMomentum(&parameters_, &state_, error);
    vectorAdd(error, -1.0, start);
    vectorAdd(error, -1.0, state_.ledger.turningImpulse);
    return vectorLength(error);
  }

  SpacecraftParameters parameters_{};
  SpacecraftState state_{};
  SpacecraftInputs inputs_{};
};

TEST_F(Dynamics, FreeTumblingKeepsMomentumAndEnergy) {
  parameters_.wheelFriction = 0.0;
  double momentum[3];
  spacecraftAngularMomentum(&parameters_, &state_, momentum);
  const double energy = rotationalEnergy();
  const double rate[3] = {state_.rate[0], state_.rate[1], state_.rate[2]};
  run(0.02, 10000);
  EXPECT_LT(momentumError(momentum), 1e-10 * vectorLength(momentum));
  EXPECT_NEAR(rotationalEnergy(), energy, 1e-10 * energy);
  EXPECT_EQ(vectorLength(state_.ledger.turningImpulse), 0.0);
  EXPECT_EQ(state_.ledger.motorWork, 0.0);
  EXPECT_GT(std::abs(state_.rate[0] - rate[0]) + std::abs(state_.rate[1] - rate[1]), 1e-3);  // it does tumble
}

TEST_F(Dynamics, MotorsMoveMomentumBetweenWheelsAndBodyOnly) {
  const double torques[kWheelCount] = {0.01, -0.004, 0.007, 0.002};
  std::copy(std::begin(torques), std::end(torques), inputs_.motorTorque);
  double momentum[3];
  spacecraftAngularMomentum(&parameters_, &state_, momentum);
  const double energy = rotationalEnergy();
  run(0.01, 3000);
  const SpacecraftLedger& ledger = state_.ledger;
  EXPECT_LT(momentumError(momentum), 1e-9);
  EXPECT_GT(std::abs(ledger.motorWork), 1.0);
  EXPECT_GT(ledger.bearingLoss, 0.0);
  EXPECT_NEAR(rotationalEnergy() - energy, ledger.motorWork - ledger.bearingLoss, 1e-8 * std::abs(ledger.motorWork));
}

TEST_F(Dynamics, ThrustersChangeMomentaAndEnergiesByWhatTheLedgerSays) {
  inputs_.valveOpen[0] = true;
  inputs_.valveOpen[3] = true;
  double momentum[3];
  double orbital[3];
  spacecraftAngularMomentum(&parameters_, &state_, momentum);
  spacecraftOrbitalMomentum(&parameters_, &state_, orbital);
  const double turning = rotationalEnergy();
  const double pushing = orbitalEnergy();
  run(0.02, 1000);
  const SpacecraftLedger& ledger = state_.ledger;
  EXPECT_GT(vectorLength(ledger.turningImpulse), 0.1);
  EXPECT_LT(momentumError(momentum), 1e-9);
  EXPECT_NEAR(rotationalEnergy() - turning, ledger.turningWork - ledger.bearingLoss, 1e-9);
  EXPECT_GT(std::abs(ledger.pushingWork), 1.0);
  EXPECT_NEAR(orbitalEnergy() - pushing, ledger.pushingWork, 1e-11 * std::abs(pushing));
  double error[3];
  spacecraftOrbitalMomentum(&parameters_, &state_, error);
  vectorAdd(error, -1.0, orbital);
  vectorAdd(error, -1.0, ledger.orbitalImpulse);
  EXPECT_LT(vectorLength(error), 1e-11 * vectorLength(orbital));
}

TEST_F(Dynamics, EachPairOfThrustersTurnsAboutItsAxisBothWays) {
  for (int thruster = 0; thruster < kThrusterCount; ++thruster) {
    SpacecraftInputs inputs{};
    inputs.valveOpen[thruster] = true;
    double force[3];
    double torque[3];
    spacecraftThrust(&parameters_, &inputs, force, torque);
    const double expected = (thruster % 2 == 0 ? 1.0 : -1.0) * 0.5 * 0.06;
    for (int axis = 0; axis < 3; ++axis) {
      EXPECT_DOUBLE_EQ(torque[axis], axis == thruster / 2 ? expected : 0.0) << "thruster " << thruster;
    }
    EXPECT_DOUBLE_EQ(vectorLength(force), 0.06);
  }
}

TEST_F(Dynamics, BodyFeelsTheOppositeOfTheMotorTorque) {
  state_.rate[0] = state_.rate[1] = state_.rate[2] = 0.0;
  std::fill(std::begin(state_.wheelMomentum), std::end(state_.wheelMomentum), 0.0);
  inputs_.motorTorque[1] = 0.01;
  SpacecraftState derivative{};
  spacecraftDerivative(&parameters_, &inputs_, &state_, &derivative);
  double torque[3];
  matrixTimesVector(parameters_.inertia, derivative.rate, torque);
  EXPECT_DOUBLE_EQ(derivative.wheelMomentum[1], 0.01);
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(torque[k], -0.01 * parameters_.wheelAxes[1][k], 1e-16);
  }
}

TEST_F(Dynamics, RungeKuttaConvergesWithTheFourthPowerOfTheStep) {
  inputs_.motorTorque[0] = 0.01;
  inputs_.motorTorque[2] = -0.006;
  inputs_.valveOpen[1] = true;
  const auto endOf = [this](int steps) {
    SpacecraftState state = state_;
    run(parameters_, inputs_, 16.0 / steps, steps, state);
    return state;
  };
  const SpacecraftState reference = endOf(1024);
  const auto errorOf = [&](int steps) {
    const SpacecraftState state = endOf(steps);
    double error = 0.0;
    for (int k = 0; k < 3; ++k) {
      error += std::pow(state.rate[k] - reference.rate[k], 2);
    }
    for (int k = 0; k < 4; ++k) {
      error += std::pow(state.attitude[k] - reference.attitude[k], 2);
    }
    return std::sqrt(error);
  };
  const double coarse = errorOf(16);
  const double medium = errorOf(32);
  const double fine = errorOf(64);
  EXPECT_NEAR(std::log2(coarse / medium), 4.0, 0.35) << coarse << ' ' << medium;
  EXPECT_NEAR(std::log2(medium / fine), 4.0, 0.35) << medium << ' ' << fine;
}

TEST_F(Dynamics, AttitudeStaysOfUnitLength) {
  run(0.1, 2000);
  const double* q = state_.attitude;
  EXPECT_NEAR(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3], 1.0, 1e-15);
}

TEST_F(Dynamics, BatteryGainsWhatThePanelGivesBeyondLoadAndShunt) {
  inputs_.sunlit = true;
  inputs_.payloadOn = true;
  const double start = state_.batteryEnergy;
  run(0.05, 1000);
  EXPECT_NEAR(state_.ledger.loadEnergy, 50.0 * (parameters_.baseLoad + parameters_.payloadLoad), 1e-6);
  EXPECT_GT(state_.ledger.solarEnergy, 0.0);
  EXPECT_EQ(state_.ledger.shuntedEnergy, 0.0);
  EXPECT_NEAR(state_.batteryEnergy - start, state_.ledger.solarEnergy - state_.ledger.loadEnergy, 1e-6);
}

TEST_F(Dynamics, ShuntKeepsAFullBatteryFromOvercharging) {
  inputs_.sunlit = true;
  inputs_.shunting = true;
  parameters_.solarPower = 1e6;
  const double panel[4] = {1.0 + parameters_.sunDirection[2], -parameters_.sunDirection[1], parameters_.sunDirection[0],
                           0.0};
  std::copy(std::begin(panel), std::end(panel), state_.attitude);
  quaternionNormalize(state_.attitude);
  state_.rate[0] = state_.rate[1] = state_.rate[2] = 0.0;
  const double start = state_.batteryEnergy;
  run(0.05, 20);
  EXPECT_NEAR(state_.batteryEnergy, start, 1e-6);
  EXPECT_GT(state_.ledger.shuntedEnergy, 1e5);
}

TEST_F(Dynamics, ShadowIsACylinderBehindTheEarth) {
  const double* sun = parameters_.sunDirection;
  for (int k = 0; k < 3; ++k) {
    state_.position[k] = -1.2 * parameters_.earthRadius * sun[k];
  }
  EXPECT_FALSE(spacecraftSunlit(&parameters_, &state_));
  for (int k = 0; k < 3; ++k) {
    state_.position[k] = 1.2 * parameters_.earthRadius * sun[k];
  }
  EXPECT_TRUE(spacecraftSunlit(&parameters_, &state_));
  const double across[3] = {-sun[1], sun[0], 0.0};
  vectorAdd(state_.position, 2.0 * parameters_.earthRadius / vectorLength(across), across);
  vectorAdd(state_.position, -2.0 * parameters_.earthRadius, sun);
  EXPECT_TRUE(spacecraftSunlit(&parameters_, &state_));
}

}  // namespace
