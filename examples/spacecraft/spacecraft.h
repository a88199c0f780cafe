/// @file
/// Dynamics of a rigid spacecraft in Earth orbit: translation, attitude, four reaction wheels, six thrusters, battery.
///
///     SpacecraftParameters parameters;
///     SpacecraftState state;
///     spacecraftDefaults(&parameters, &state);
///     spacecraftStep(&parameters, &inputs, 0.025, &state);
///
/// Inputs are held over a step, so the right-hand side is smooth within it and the classical Runge-Kutta method of
/// fourth order keeps its order. The state carries, next to the motion, a ledger: what crossed the boundary of the
/// system since the start. With it every conserved quantity is a plain sum that a log of the state can be checked
/// against. Units are SI throughout. See control.h for what sets the inputs.
#ifndef VTIO_EXAMPLES_SPACECRAFT_SPACECRAFT_H
#define VTIO_EXAMPLES_SPACECRAFT_SPACECRAFT_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kWheelCount = 4, kThrusterCount = 6, kSpacecraftStateSize = 31 };

/// What does not change during a run.
typedef struct SpacecraftParameters {
  double mass;                                  ///< kg; the propellant that the thrusters use is neglected
  double inertia[9];                            ///< kg m^2, body axes, without the axial inertia of the wheels
  double inverseInertia[9];                     ///< the inverse of `inertia`
  double wheelAxes[kWheelCount][3];             ///< unit vectors, body axes
  double wheelInertia;                          ///< kg m^2, about the wheel's axis
  double wheelFriction;                         ///< N m s, viscous friction of a wheel's bearing
  double maxWheelTorque;                        ///< N m
  double maxWheelMomentum;                      ///< N m s
  double thrusterPositions[kThrusterCount][3];  ///< m, body axes, from the centre of mass
  double thrusterForces[kThrusterCount][3];     ///< N, body axes, with the valve open
  double gravitationalParameter;                ///< m^3/s^2
  double earthRadius;                           ///< m
  double sunDirection[3];                       ///< unit vector, inertial axes
  double solarPower;                            ///< W, panel facing the sun
  double baseLoad;                              ///< W
  double payloadLoad;                           ///< W, with the payload on
  double valveLoad;                             ///< W for each open valve
  double batteryCapacity;                       ///< J
} SpacecraftParameters;

/// What the controller and the surroundings set for one step.
typedef struct SpacecraftInputs {
  double motorTorque[kWheelCount];  ///< N m, on each wheel about its axis
  bool valveOpen[kThrusterCount];
  bool sunlit;  ///< outside the Earth's shadow
  bool payloadOn;
  bool shunting;  ///< battery full: surplus power is turned into heat
} SpacecraftInputs;

/// What crossed the boundary since the start, integrated along with the motion.
typedef struct SpacecraftLedger {
  double turningImpulse[3];  ///< N m s: angular impulse of the thrusters about the centre of mass, inertial axes
  double motorWork;          ///< J: work of the wheel motors
  double bearingLoss;        ///< J: heat of the wheel bearings
  double turningWork;        ///< J: work of the thrusters on the rotation
  double orbitalImpulse[3];  ///< N m s: angular impulse of the thrusters about the centre of the Earth, inertial axes
  double pushingWork;        ///< J: work of the thrusters on the translation
  double solarEnergy;        ///< J: from the panel
  double loadEnergy;         ///< J: to the consumers
  double shuntedEnergy;      ///< J: surplus turned into heat
} SpacecraftLedger;

/// Motion, stored energy and ledger. Holds doubles only: the integrator takes it as a vector of kSpacecraftStateSize.
typedef struct SpacecraftState {
  double position[3];                 ///< m, inertial axes, from the centre of the Earth
  double velocity[3];                 ///< m/s, inertial axes
  double attitude[4];                 ///< unit quaternion, body to inertial
  double rate[3];                     ///< rad/s, body axes
  double wheelMomentum[kWheelCount];  ///< N m s: axial momentum of each wheel, the body's share of its spin included
  double batteryEnergy;               ///< J
  SpacecraftLedger ledger;
} SpacecraftState;

/// The example's spacecraft, tumbling in a low orbit.
void spacecraftDefaults(SpacecraftParameters* parameters, SpacecraftState* state);

/// Time derivative of the state under held inputs.
void spacecraftDerivative(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                          const SpacecraftState* state, SpacecraftState* derivative);

/// Advances the state by one Runge-Kutta step and brings the quaternion back to unit length.
/// @param step Seconds, > 0.
void spacecraftStep(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs, double step,
                    SpacecraftState* state);

/// Speed of a wheel against the body in rad/s.
double spacecraftWheelSpeed(const SpacecraftParameters* parameters, const SpacecraftState* state, int wheel);

/// Sum of the force (N) and of the torque about the centre of mass (N m) of the open thrusters, body axes.
void spacecraftThrust(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs, double force[3],
                      double torque[3]);

/// Angular momentum about the centre of mass, wheels included, in inertial axes, N m s.
void spacecraftAngularMomentum(const SpacecraftParameters* parameters, const SpacecraftState* state, double result[3]);

/// Kinetic energy of rotation, wheels included, J.
double spacecraftRotationalEnergy(const SpacecraftParameters* parameters, const SpacecraftState* state);

/// Angular momentum of the centre of mass about the centre of the Earth, kg m^2/s.
void spacecraftOrbitalMomentum(const SpacecraftParameters* parameters, const SpacecraftState* state, double result[3]);

/// Kinetic and potential energy of the centre of mass, J.
double spacecraftOrbitalEnergy(const SpacecraftParameters* parameters, const SpacecraftState* state);

/// Whether the spacecraft is outside the cylinder of the Earth's shadow.
bool spacecraftSunlit(const SpacecraftParameters* parameters, const SpacecraftState* state);

/// Power of the solar panel in W: the panel faces the body's +z axis.
double spacecraftSolarPower(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                            const SpacecraftState* state);

/// Electrical power of all consumers in W. A wheel that brakes gives its power to a resistor, not to the battery.
double spacecraftLoadPower(const SpacecraftParameters* parameters, const SpacecraftInputs* inputs,
                           const SpacecraftState* state);

#ifdef __cplusplus
}
#endif

#endif
