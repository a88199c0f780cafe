/// @file
/// Mode logic and controller of the spacecraft example: what sets the inputs of a step.
///
/// The spacecraft starts tumbling; thrusters damp its rates (detumble). Then the wheels turn it to the commanded
/// attitude (point). Wheels that have gathered too much momentum are slowed down against the thrusters (unload). An
/// almost empty battery switches the payload off and turns the panel to the sun (safe).
#ifndef VTIO_EXAMPLES_SPACECRAFT_CONTROL_H
#define VTIO_EXAMPLES_SPACECRAFT_CONTROL_H

#include <stdint.h>

#include "spacecraft.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Operating modes; the values are what a log stores.
typedef enum SpacecraftMode {
  kModeSafe = -1,
  kModeDetumble = 1,
  kModePoint = 2,
  kModeUnload = 4,
} SpacecraftMode;

/// Thresholds of the mode logic and gains of the controller.
typedef struct ControlParameters {
  double detumbledRate;   ///< rad/s: below it, detumbling ends
  double tumblingRate;    ///< rad/s: above it, detumbling begins again
  double unloadMomentum;  ///< N m s: above it for any wheel, unloading begins
  double unloadedMomentum;
  double emptyBattery;      ///< fraction of the capacity: below it, safe mode
  double recoveredBattery;  ///< above it, safe mode ends
  double slewRate;          ///< rad/s, highest rate of a turn
  double stiffness;         ///< 1/s^2
  double damping;           ///< 1/s
  double rateDeadband;      ///< rad/s, of the thrusters
} ControlParameters;

/// Mode and last outputs of the controller: all that a step back has to restore.
typedef struct Controller {
  int32_t mode;            ///< a SpacecraftMode
  double pointingError;    ///< rad, angle to the target
  double wheelCommand[3];  ///< N m, commanded torque of the wheels on the body, body axes
  SpacecraftInputs inputs;
} Controller;

/// The example's thresholds and gains.
ControlParameters controlDefaults(void);

/// A controller in detumble mode.
Controller controllerStart(void);

/// Attitude commanded from outside at a time: every ten minutes the next of three.
/// @param target Receives a unit quaternion, body to inertial.
void controlCommandedAttitude(double time, double target[4]);

/// One decision: chooses the mode and sets `controller->inputs` for the step that follows.
/// @param target Unit quaternion, body to inertial, used in point mode.
void controllerUpdate(const ControlParameters* control, const SpacecraftParameters* parameters,
                      const SpacecraftState* state, const double target[4], Controller* controller);

#ifdef __cplusplus
}
#endif

#endif
