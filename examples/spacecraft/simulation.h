/// @file
/// One simulated flight: dynamics, controller and sensors under one clock, and the signals that come out of them.
///
///     Simulation simulation = simulationStart(0.025);
///     for (;;) {
///       simulationOutputs(&simulation);   // decides, then fills simulation.outputs for this time
///       simulationAdvance(&simulation);   // one step
///     }
///
/// A Simulation holds no pointers: a plain copy is a snapshot, and assigning the copy steps back.
#ifndef VTIO_EXAMPLES_SPACECRAFT_SIMULATION_H
#define VTIO_EXAMPLES_SPACECRAFT_SIMULATION_H

#include <complex.h>
#include <stdbool.h>
#include <stdint.h>

#include "control.h"
#include "spacecraft.h"

/// Star tracker output, logged as a structure.
typedef struct TrackerOutput {
  float accuracy;  ///< rad
  double bias[3];  ///< rad
  uint8_t stars;   ///< in view
} TrackerOutput;

/// Wheel bearing, nested in WheelOutput.
typedef struct BearingOutput {
  float temperature;      ///< degC
  double frictionTorque;  ///< N m
} BearingOutput;

/// One reaction wheel, logged as an element of an array of structures. The compiler pads it; loggers get the offsets.
typedef struct WheelOutput {
  bool saturated;
  double momentum;  ///< N m s
  double speed;     ///< rad/s
  BearingOutput bearing;
  float motorTorque;  ///< N m
} WheelOutput;

/// What the blocks of the model put out at one time; logged signals point into it.
typedef struct Outputs {
  double commandedAttitude[4];
  double bodyRate[3];
  double position[3];
  double velocity[3];
  double quaternion[4];
  TrackerOutput tracker;
  WheelOutput wheels[kWheelCount];
  SpacecraftLedger ledger;
  double pointingError;
  double wheelCommand[3];
  double thrusterForce[3];
  double thrusterTorque[3];
  bool valveOpen[kThrusterCount];
  int32_t mode;
  float altitude;
  double complex beacon[2];
  double busVoltage;
  uint16_t batteryCharge;         ///< gauge reading: kGaugeBias + kGaugeSlope * 2^kGaugeExponent * reading, in W h
  double directionCosines[3][3];  ///< [row][column], body to inertial
  uint64_t stepCount;
} Outputs;

/// Scaling of the battery gauge.
#define kGaugeSlope 1.25
#define kGaugeBias 0.5
enum { kGaugeExponent = -10, kGaugeBits = 16 };

typedef struct Simulation {
  SpacecraftParameters parameters;
  ControlParameters control;
  SpacecraftState state;
  Controller controller;
  double step;         ///< s
  uint64_t stepCount;  ///< steps done
  uint64_t noise;      ///< state of the tracker's noise generator
  double trackerBias[3];
  float wheelTemperature[kWheelCount];
  Outputs outputs;
} Simulation;

/// A flight at time 0.
Simulation simulationStart(double step);

/// Present time in seconds.
double simulationTime(const Simulation* simulation);

/// Lets the controller decide for the present time and fills `outputs`. Once per step.
void simulationOutputs(Simulation* simulation);

/// Advances by one step under the controller's decision.
void simulationAdvance(Simulation* simulation);

#endif
