#include "spacecraft.h"

#include <assert.h>
#include <math.h>
#include <string.h>

#include "vector_math.h"

static_assert(sizeof(SpacecraftState) == kSpacecraftStateSize * sizeof(double), "the state holds doubles only");

/// The state as the integrator sees it.
typedef union StateVector {
  SpacecraftState named;
  double flat[kSpacecraftStateSize];
} StateVector;

static void placeWheels(SpacecraftParameters* parameters) {
  const double elevation = 0.6154797086703874;  // atan(1 / sqrt(2)): equal authority about all three axes
  const double quarterTurn = 1.5707963267948966;
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    const double azimuth = quarterTurn * (0.5 + wheel);
    parameters->wheelAxes[wheel][0] = cos(elevation) * cos(azimuth);
    parameters->wheelAxes[wheel][1] = cos(elevation) * sin(azimuth);
    parameters->wheelAxes[wheel][2] = sin(elevation);
  }
}

/// Thrusters 2k and 2k + 1 turn the body about axis k, one each way, and push it along axis k + 2.
static void placeThrusters(SpacecraftParameters* parameters) {
  const double arm = 0.5;
  const double force = 0.06;
  for (int thruster = 0; thruster < kThrusterCount; ++thruster) {
    const int axis = thruster / 2;
    const double sign = thruster % 2 == 0 ? 1.0 : -1.0;
    parameters->thrusterPositions[thruster][(axis + 1) % 3] = arm;
    parameters->thrusterForces[thruster][(axis + 2) % 3] = sign * force;
  }
}

static SpacecraftParameters defaultParameters(void) {
  SpacecraftParameters parameters = {
      .mass = 120.0,
      .inertia = {14.0, 0.4, -0.3, 0.4, 11.0, 0.2, -0.3, 0.2, 8.0},
      .wheelInertia = 0.0008,
      .wheelFriction = 2.0e-7,
      .maxWheelTorque = 0.02,
      .maxWheelMomentum = 0.4,
      .gravitationalParameter = 3.986004418e14,
      .earthRadius = 6378137.0,
      .sunDirection = {0.8, 0.36, 0.48},
      .solarPower = 260.0,
      .baseLoad = 45.0,
      .payloadLoad = 70.0,
      .valveLoad = 4.0,
      .batteryCapacity = 60.0 * 3600.0,
  };
  matrixInverse(parameters.inertia, parameters.inverseInertia);
  placeWheels(&parameters);
  placeThrusters(&parameters);
  return parameters;
}

void spacecraftDefaults(SpacecraftParameters* parameters, SpacecraftState* state) {
  *parameters = defaultParameters();
  const SpacecraftState start = {
      .position = {6878137.0, 0.0, 0.0},
      .velocity = {0.0, 4700.0, 5970.0},
      .attitude = {0.8, 0.0, 0.6, 0.0},
      .rate = {0.09, -0.06, 0.11},
      .wheelMomentum = {0.04, -0.03, 0.05, -0.02},
      .batteryEnergy = 44.0 * 3600.0,
  };
  *state = start;
}

double spacecraftWheelSpeed(const SpacecraftParameters* parameters, const SpacecraftState* state, int wheel) {
  return state->wheelMomentum[wheel] / parameters->wheelInertia - vectorDot(parameters->wheelAxes[wheel], state->rate);
}

void spacecraftThrust(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs, double force[3],
                      double torque[3]) {
  memset(force, 0, 3 * sizeof(double));
  memset(torque, 0, 3 * sizeof(double));
  for (int thruster = 0; thruster < kThrusterCount; ++thruster) {
    if (inputs->valveOpen[thruster]) {
      double moment[3];
      vectorCross(parameters->thrusterPositions[thruster], parameters->thrusterForces[thruster], moment);
      vectorAdd(force, 1.0, parameters->thrusterForces[thruster]);
      vectorAdd(torque, 1.0, moment);
    }
  }
}

/// Angular momentum about the centre of mass in body axes.
static void bodyMomentum(const SpacecraftParameters* parameters, const SpacecraftState* state, double result[3]) {
  matrixTimesVector(parameters->inertia, state->rate, result);
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    vectorAdd(result, state->wheelMomentum[wheel], parameters->wheelAxes[wheel]);
  }
}

void spacecraftAngularMomentum(const SpacecraftParameters* parameters, const SpacecraftState* state, double result[3]) {
  double momentum[3];
  bodyMomentum(parameters, state, momentum);
  quaternionRotate(state->attitude, momentum, result);
}

double spacecraftRotationalEnergy(const SpacecraftParameters* parameters, const SpacecraftState* state) {
  double bodyPart[3];
  matrixTimesVector(parameters->inertia, state->rate, bodyPart);
  double energy = 0.5 * vectorDot(state->rate, bodyPart);
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    energy += 0.5 * state->wheelMomentum[wheel] * state->wheelMomentum[wheel] / parameters->wheelInertia;
  }
  return energy;
}

void spacecraftOrbitalMomentum(const SpacecraftParameters* parameters, const SpacecraftState* state, double result[3]) {
  vectorCross(state->position, state->velocity, result);
  for (int k = 0; k < 3; ++k) {
    result[k] *= parameters->mass;
  }
}

double spacecraftOrbitalEnergy(const SpacecraftParameters* parameters, const SpacecraftState* state) {
  const double kinetic = 0.5 * vectorDot(state->velocity, state->velocity);
  return parameters->mass * (kinetic - parameters->gravitationalParameter / vectorLength(state->position));
}

bool spacecraftSunlit(const SpacecraftParameters* parameters, const SpacecraftState* state) {
  const double along = vectorDot(state->position, parameters->sunDirection);
  const double across2 = vectorDot(state->position, state->position) - along * along;
  return along > 0.0 || across2 > parameters->earthRadius * parameters->earthRadius;
}

double spacecraftSolarPower(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                            const SpacecraftState* state) {
  const double panel[3] = {0.0, 0.0, 1.0};
  double normal[3];
  quaternionRotate(state->attitude, panel, normal);
  const double facing = vectorDot(normal, parameters->sunDirection);
  return inputs->sunlit && facing > 0.0 ? parameters->solarPower * facing : 0.0;
}

double spacecraftLoadPower(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                           const SpacecraftState* state) {
  double power = parameters->baseLoad + (inputs->payloadOn ? parameters->payloadLoad : 0.0);
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    const double motorPower = inputs->motorTorque[wheel] * spacecraftWheelSpeed(parameters, state, wheel);
    power += motorPower > 0.0 ? motorPower : 0.0;
  }
  for (int thruster = 0; thruster < kThrusterCount; ++thruster) {
    power += inputs->valveOpen[thruster] ? parameters->valveLoad : 0.0;
  }
  return power;
}

static void translationDerivative(const SpacecraftParameters* parameters, const SpacecraftState* state,
                                  const double bodyForce[3], SpacecraftState* derivative) {
  double force[3];
  quaternionRotate(state->attitude, bodyForce, force);
  const double distance = vectorLength(state->position);
  const double pull = parameters->gravitationalParameter / (distance * distance * distance);
  for (int k = 0; k < 3; ++k) {
    derivative->position[k] = state->velocity[k];
    derivative->velocity[k] = force[k] / parameters->mass - pull * state->position[k];
  }
  vectorCross(state->position, force, derivative->ledger.orbitalImpulse);
  derivative->ledger.pushingWork = vectorDot(force, state->velocity);
}

/// Euler's equation with the wheels' momentum: what a motor gives to its wheel, it takes from the body.
static void rotationDerivative(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                               const SpacecraftState* state, const double torque[3], SpacecraftState* derivative) {
  double momentum[3];
  double gyroscopic[3];
  double bodyTorque[3] = {torque[0], torque[1], torque[2]};
  bodyMomentum(parameters, state, momentum);
  vectorCross(state->rate, momentum, gyroscopic);
  vectorAdd(bodyTorque, -1.0, gyroscopic);
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    const double speed = spacecraftWheelSpeed(parameters, state, wheel);
    const double friction = parameters->wheelFriction * speed;
    const double wheelTorque = inputs->motorTorque[wheel] - friction;
    derivative->wheelMomentum[wheel] = wheelTorque;
    derivative->ledger.motorWork += inputs->motorTorque[wheel] * speed;
    derivative->ledger.bearingLoss += friction * speed;
    vectorAdd(bodyTorque, -wheelTorque, parameters->wheelAxes[wheel]);
  }
  matrixTimesVector(parameters->inverseInertia, bodyTorque, derivative->rate);
  const double turning[4] = {0.0, 0.5 * state->rate[0], 0.5 * state->rate[1], 0.5 * state->rate[2]};
  quaternionProduct(state->attitude, turning, derivative->attitude);
  quaternionRotate(state->attitude, torque, derivative->ledger.turningImpulse);
  derivative->ledger.turningWork = vectorDot(torque, state->rate);
}

static void powerDerivative(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                            const SpacecraftState* state, SpacecraftState* derivative) {
  const double solar = spacecraftSolarPower(parameters, inputs, state);
  const double load = spacecraftLoadPower(parameters, inputs, state);
  const double shunted = inputs->shunting && solar > load ? solar - load : 0.0;
  derivative->ledger.solarEnergy = solar;
  derivative->ledger.loadEnergy = load;
  derivative->ledger.shuntedEnergy = shunted;
  derivative->batteryEnergy = solar - load - shunted;
}

void spacecraftDerivative(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                          const SpacecraftState* state, SpacecraftState* derivative) {
  double force[3];
  double torque[3];
  memset(derivative, 0, sizeof *derivative);
  spacecraftThrust(parameters, inputs, force, torque);
  translationDerivative(parameters, state, force, derivative);
  rotationDerivative(parameters, inputs, state, torque, derivative);
  powerDerivative(parameters, inputs, state, derivative);
}

void spacecraftStep(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs, double step,
                    SpacecraftState* state) {
  static const double nodes[4] = {0.0, 0.5, 0.5, 1.0};
  static const double weights[4] = {1.0 / 6.0, 1.0 / 3.0, 1.0 / 3.0, 1.0 / 6.0};
  const StateVector start = {.named = *state};
  StateVector sum = start;
  StateVector slope = {.flat = {0.0}};
  for (int stage = 0; stage < 4; ++stage) {
    StateVector point = start;
    for (int i = 0; i < kSpacecraftStateSize; ++i) {
      point.flat[i] += nodes[stage] * step * slope.flat[i];
    }
    spacecraftDerivative(parameters, inputs, &point.named, &slope.named);
    for (int i = 0; i < kSpacecraftStateSize; ++i) {
      sum.flat[i] += weights[stage] * step * slope.flat[i];
    }
  }
  *state = sum.named;
  quaternionNormalize(state->attitude);
}
