#include "control.h"

#include <math.h>
#include <stddef.h>
#include <string.h>

#include "vector_math.h"

ControlParameters controlDefaults(void) {
  const ControlParameters control = {
      .detumbledRate = 0.012,
      .tumblingRate = 0.2,
      .unloadMomentum = 0.17,
      .unloadedMomentum = 0.02,
      .emptyBattery = 0.25,
      .recoveredBattery = 0.45,
      .slewRate = 0.012,
      .stiffness = 0.004,
      .damping = 0.12,
      .rateDeadband = 0.006,
  };
  return control;
}

Controller controllerStart(void) {
  Controller controller;
  memset(&controller, 0, sizeof controller);
  controller.mode = kModeDetumble;
  return controller;
}

void controlCommandedAttitude(double time, double target[4]) {
  static const double attitudes[3][4] = {{0.5, 0.5, 0.1, 0.7}, {0.8, 0.0, 0.6, 0.0}, {0.9, 0.3, -0.2, 0.25}};
  const double period = 600.0;
  const int index = (int)fmod(floor(time / period), 3.0);
  memcpy(target, attitudes[index], 4 * sizeof(double));
  quaternionNormalize(target);
}

static double largestWheelMomentum(const SpacecraftState* state) {
  double largest = 0.0;
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    largest = fmax(largest, fabs(state->wheelMomentum[wheel]));
  }
  return largest;
}

static SpacecraftMode nextMode(const ControlParameters* control, const SpacecraftParameters* parameters,
                               const SpacecraftState* state, SpacecraftMode mode) {
  const double rate = vectorLength(state->rate);
  const double charge = state->batteryEnergy / parameters->batteryCapacity;
  const double momentum = largestWheelMomentum(state);
  if (mode == kModeDetumble) {
    return rate < control->detumbledRate ? kModePoint : kModeDetumble;
  }
  if (rate > control->tumblingRate) {
    return kModeDetumble;
  }
  if (charge < control->emptyBattery) {
    return kModeSafe;
  }
  if (mode == kModeSafe) {
    return charge > control->recoveredBattery ? kModePoint : kModeSafe;
  }
  if (mode == kModeUnload) {
    return momentum < control->unloadedMomentum ? kModePoint : kModeUnload;
  }
  return momentum > control->unloadMomentum ? kModeUnload : kModePoint;
}

static double clamp(double value, double limit) { return fmax(-limit, fmin(limit, value)); }

/// Opens, axis by axis, the thruster that works against a rate outside the deadband.
static void dampWithThrusters(const ControlParameters* control, const SpacecraftState* state,
                              SpacecraftInputs* inputs) {
  for (size_t axis = 0; axis < 3; ++axis) {
    inputs->valveOpen[2 * axis] = state->rate[axis] < -control->rateDeadband;
    inputs->valveOpen[2 * axis + 1] = state->rate[axis] > control->rateDeadband;
  }
}

/// Rotation from attitude to target by the smaller angle, as a small-angle vector (body axes, rad).
static void attitudeError(const double attitude[4], const double target[4], double error[3], double* angle) {
  double back[4];
  double difference[4];
  quaternionConjugate(target, back);
  quaternionProduct(back, attitude, difference);
  const double sign = difference[0] < 0.0 ? -1.0 : 1.0;
  for (int k = 0; k < 3; ++k) {
    error[k] = 2.0 * sign * difference[k + 1];
  }
  *angle = 2.0 * atan2(0.5 * vectorLength(error), fabs(difference[0]));
}

/// Proportional-derivative law with a limited approach rate; `torque` is what the body shall feel.
static void pointingTorque(const ControlParameters* control, const SpacecraftParameters* parameters,
                           const SpacecraftState* state, const double error[3], double torque[3]) {
  double acceleration[3];
  const double largestError = control->slewRate * control->damping / control->stiffness;
  const double length = vectorLength(error);
  const double shrink = length > largestError ? largestError / length : 1.0;
  for (int k = 0; k < 3; ++k) {
    acceleration[k] = -control->stiffness * shrink * error[k] - control->damping * state->rate[k];
  }
  matrixTimesVector(parameters->inertia, acceleration, torque);
  double momentum[3];
  double gyroscopic[3];
  matrixTimesVector(parameters->inertia, state->rate, momentum);
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    vectorAdd(momentum, state->wheelMomentum[wheel], parameters->wheelAxes[wheel]);
  }
  vectorCross(state->rate, momentum, gyroscopic);
  vectorAdd(torque, 1.0, gyroscopic);
}

/// Shares a body torque among the wheels: the pyramid is built so that the sum of a a^T over its axes is 4/3 of unity.
static void driveWheels(const SpacecraftParameters* parameters, const SpacecraftState* state, const double torque[3],
                        SpacecraftInputs* inputs) {
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    const double wanted = -0.75 * vectorDot(parameters->wheelAxes[wheel], torque);
    const double limited = clamp(wanted, parameters->maxWheelTorque);
    const double momentum = state->wheelMomentum[wheel];
    const int saturated = fabs(momentum) >= parameters->maxWheelMomentum && momentum * limited > 0.0;
    inputs->motorTorque[wheel] = saturated ? 0.0 : limited;
  }
}

/// Attitude that turns the panel (body +z) to the sun: the shortest rotation from inertial z.
static void sunAttitude(const double sun[3], double target[4]) {
  target[0] = 1.0 + sun[2];
  target[1] = -sun[1];
  target[2] = sun[0];
  target[3] = 0.0;
  quaternionNormalize(target);
}

static void unloadWheels(const ControlParameters* control, const SpacecraftParameters* parameters,
                         const SpacecraftState* state, SpacecraftInputs* inputs) {
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    inputs->motorTorque[wheel] = clamp(-0.05 * state->wheelMomentum[wheel], 0.25 * parameters->maxWheelTorque);
  }
  dampWithThrusters(control, state, inputs);
}

void controllerUpdate(const ControlParameters* control, const SpacecraftParameters* parameters,
                      const SpacecraftState* state, const double target[4], Controller* controller) {
  double goal[4];
  double error[3];
  memcpy(goal, target, sizeof goal);
  controller->mode = nextMode(control, parameters, state, (SpacecraftMode)controller->mode);
  if (controller->mode == kModeSafe) {
    sunAttitude(parameters->sunDirection, goal);
  }
  attitudeError(state->attitude, goal, error, &controller->pointingError);

  SpacecraftInputs* inputs = &controller->inputs;
  memset(inputs, 0, sizeof *inputs);
  memset(controller->wheelCommand, 0, sizeof controller->wheelCommand);
  inputs->sunlit = spacecraftSunlit(parameters, state);
  inputs->shunting = state->batteryEnergy >= parameters->batteryCapacity;
  inputs->payloadOn = controller->mode == kModePoint;
  if (controller->mode == kModeDetumble) {
    dampWithThrusters(control, state, inputs);
  } else if (controller->mode == kModeUnload) {
    unloadWheels(control, parameters, state, inputs);
  } else {
    pointingTorque(control, parameters, state, error, controller->wheelCommand);
    driveWheels(parameters, state, controller->wheelCommand, inputs);
  }
}
