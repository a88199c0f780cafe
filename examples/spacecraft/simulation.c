#include "simulation.h"

#include <math.h>
#include <string.h>

#include "vector_math.h"

Simulation simulationStart(double step) {
  Simulation simulation;
  memset(&simulation, 0, sizeof simulation);
  spacecraftDefaults(&simulation.parameters, &simulation.state);
  simulation.control = controlDefaults();
  simulation.controller = controllerStart();
  simulation.step = step;
  simulation.noise = 88172645463325252u;
  for (int wheel = 0; wheel < kWheelCount; ++wheel) {
    simulation.wheelTemperature[wheel] = 20.0F;
  }
  return simulation;
}

double simulationTime(const Simulation* simulation) { return (double)simulation->stepCount * simulation->step; }

/// Next noise value, evenly spread over -1 .. 1 (xorshift).
static double nextNoise(Simulation* simulation) {
  uint64_t x = simulation->noise;
  x ^= x << 13;
  x ^= x >> 7;
  x ^= x << 17;
  simulation->noise = x;
  return (double)(x >> 11) / 4503599627370496.0 - 1.0;
}

static void trackerOutputs(Simulation* simulation, TrackerOutput* tracker) {
  const double rate = vectorLength(simulation->state.rate);
  for (int k = 0; k < 3; ++k) {
    simulation->trackerBias[k] += 1e-7 * nextNoise(simulation);
    tracker->bias[k] = simulation->trackerBias[k];
  }
  tracker->accuracy = (float)(2e-5 * (1.0 + 40.0 * rate));
  tracker->stars = (uint8_t)(12.0 + 4.0 * nextNoise(simulation) - fmin(8.0, 100.0 * rate));
}

static void wheelOutputs(Simulation* simulation, WheelOutput wheels[kWheelCount]) {
  const SpacecraftParameters* parameters = &simulation->parameters;
  for (int i = 0; i < kWheelCount; ++i) {
    const double speed = spacecraftWheelSpeed(parameters, &simulation->state, i);
    const double friction = parameters->wheelFriction * speed;
    const double cooling = 0.0005 * ((double)simulation->wheelTemperature[i] - 20.0);
    simulation->wheelTemperature[i] += (float)(simulation->step * (0.2 * friction * speed - cooling));
    wheels[i].momentum = simulation->state.wheelMomentum[i];
    wheels[i].saturated = fabs(wheels[i].momentum) >= parameters->maxWheelMomentum;
    wheels[i].speed = speed;
    wheels[i].bearing.temperature = simulation->wheelTemperature[i];
    wheels[i].bearing.frictionTorque = friction;
    wheels[i].motorTorque = (float)simulation->controller.inputs.motorTorque[i];
  }
}

/// Carrier of two antennas, one on each side of the body's x axis, as heard at a ground station below the start point.
static void beaconOutputs(const Simulation* simulation, double complex beacon[2]) {
  const double station[3] = {simulation->parameters.earthRadius, 0.0, 0.0};
  const double waveNumber = 8.4;  // rad/m, at 400 MHz
  double sight[3] = {station[0], station[1], station[2]};
  double antenna[3];
  const double bodyX[3] = {1.0, 0.0, 0.0};
  vectorAdd(sight, -1.0, simulation->state.position);
  quaternionRotate(simulation->state.attitude, bodyX, antenna);
  const double distance = vectorLength(sight);
  const double facing = vectorDot(antenna, sight) / distance;
  const double phase = -waveNumber * distance;
  for (int i = 0; i < 2; ++i) {
    const double gain = 0.5 * (1.0 + (i == 0 ? facing : -facing));
    beacon[i] = gain * cos(phase) + gain * sin(phase) * I;
  }
}

static uint16_t gaugeReading(double energy) {
  const double reading = (energy / 3600.0 - kGaugeBias) / ldexp(kGaugeSlope, kGaugeExponent);
  return (uint16_t)fmax(0.0, fmin(65535.0, floor(reading + 0.5)));
}

static void powerOutputs(const Simulation* simulation, Outputs* outputs) {
  const SpacecraftInputs* inputs = &simulation->controller.inputs;
  const double charge = simulation->state.batteryEnergy / simulation->parameters.batteryCapacity;
  const double load = spacecraftLoadPower(&simulation->parameters, inputs, &simulation->state);
  outputs->busVoltage = 24.0 + 4.8 * charge - 0.008 * load;
  outputs->batteryCharge = gaugeReading(simulation->state.batteryEnergy);
}

static void motionOutputs(const Simulation* simulation, Outputs* outputs) {
  const SpacecraftState* state = &simulation->state;
  memcpy(outputs->bodyRate, state->rate, sizeof outputs->bodyRate);
  memcpy(outputs->position, state->position, sizeof outputs->position);
  memcpy(outputs->velocity, state->velocity, sizeof outputs->velocity);
  memcpy(outputs->quaternion, state->attitude, sizeof outputs->quaternion);
  outputs->altitude = (float)(vectorLength(state->position) - simulation->parameters.earthRadius);
  outputs->ledger = state->ledger;
  double matrix[9];
  quaternionToMatrix(state->attitude, matrix);
  for (int i = 0; i < 9; ++i) {
    outputs->directionCosines[i % 3][i / 3] = matrix[i];
  }
}

void simulationOutputs(Simulation* simulation) {
  Outputs* outputs = &simulation->outputs;
  Controller* controller = &simulation->controller;
  controlCommandedAttitude(simulationTime(simulation), outputs->commandedAttitude);
  controllerUpdate(&simulation->control, &simulation->parameters, &simulation->state, outputs->commandedAttitude,
                   controller);
  outputs->mode = controller->mode;
  outputs->pointingError = controller->pointingError;
  memcpy(outputs->wheelCommand, controller->wheelCommand, sizeof outputs->wheelCommand);
  memcpy(outputs->valveOpen, controller->inputs.valveOpen, sizeof outputs->valveOpen);
  spacecraftThrust(&simulation->parameters, &controller->inputs, outputs->thrusterForce, outputs->thrusterTorque);
  motionOutputs(simulation, outputs);
  trackerOutputs(simulation, &outputs->tracker);
  wheelOutputs(simulation, outputs->wheels);
  beaconOutputs(simulation, outputs->beacon);
  powerOutputs(simulation, outputs);
  outputs->stepCount = simulation->stepCount;
}

void simulationAdvance(Simulation* simulation) {
  spacecraftStep(&simulation->parameters, &simulation->controller.inputs, simulation->step, &simulation->state);
  ++simulation->stepCount;
}
