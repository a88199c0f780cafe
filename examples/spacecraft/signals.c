#include "signals.h"

#include <stdio.h>
#include <string.h>

#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

/// Text of the encoded path above the blocks of the referenced model "power"; the other blocks are in the top model.
static const char kPowerModel[] = "spacecraft/Power System";

/// What the descriptions of one run have in common, and the signal that is being described.
typedef struct Describer {
  void* catalogue;
  double step;
  double stopTime;
  void* tree;           ///< nodes of the signal that is being described
  double increment;     ///< s, between two of its samples
  char sampleTime[32];  ///< the same as text
  SignalList* list;
} Describer;

/// Place of a signal in the model.
typedef struct Place {
  const char* name;
  const char* model;  ///< encoded path above the block's model, "" in the top model
  const char* block;
  unsigned port;
  unsigned kind;
  unsigned period;
} Place;

static void beginTree(Describer* describer, unsigned period) {
  describer->increment = period * describer->step;
  snprintf(describer->sampleTime, sizeof describer->sampleTime, "%g", describer->increment);
  describer->tree = zetGetTreeVector();
}

static void addLeaf(Describer* describer, const char* name, const char* type, unsigned count, const char* unit) {
  zetAddLeafNode(0, name, "linear", 0, &count, 1, type, unit, describer->sampleTime, describer->increment,
                 describer->stopTime, describer->tree);
}

/// Registers the signal of the finished tree, with a limit and for-each dimensions, and returns its entry in the list.
static Signal* endTree(Describer* describer, Place place, unsigned inputs, unsigned maxPoints,
                       const unsigned forEach[2]) {
  const unsigned levels = forEach == NULL ? 0 : 1;
  const unsigned* inner = forEach == NULL ? NULL : forEach + 1;
  const void* descriptor =
      zetGetSignalDescriptor(describer->tree, inputs, place.kind, maxPoints, 1, place.name, "", place.model,
                             place.block, place.port, 0, describer->catalogue, forEach, levels, inner, levels);
  SignalList* list = describer->list;
  if (*zetLastError() != '\0' && list->problem[0] == '\0') {
    snprintf(list->problem, sizeof list->problem, "the signal '%s' cannot be described: %s", place.name,
             zetLastError());
  }
  if (descriptor != NULL) {
    zetLoggingOverride(descriptor, describer->catalogue);
  }
  Signal* signal = &list->signals[list->count++];
  const Signal entry = {.name = place.name,
                        .descriptor = descriptor,
                        .kind = place.kind,
                        .iteration = kNoIteration,
                        .period = place.period,
                        .leaves = 1};
  *signal = entry;
  return signal;
}

/// A signal that is one leaf of a built-in type.
static void describeLeaf(Describer* describer, Place place, const char* type, unsigned count, const char* unit,
                         const void* data) {
  beginTree(describer, place.period);
  addLeaf(describer, place.name, type, count, unit);
  endTree(describer, place, 1, 0, NULL)->data[0] = data;
}

static void describePorts(Describer* describer, const Outputs* outputs) {
  const Place command = {"commandedAttitude", "", "spacecraft/Commanded Attitude", 0, kRootInport, kMedium};
  const Place rate = {"bodyRate", "", "spacecraft/Body Rate", 0, kRootOutport, kFast};
  const Place position = {"position", "", "spacecraft/Position", 1, kRootOutport, kMedium};
  describeLeaf(describer, command, "double", 4, "", outputs->commandedAttitude);
  describeLeaf(describer, rate, "double", 3, "rad/s", outputs->bodyRate);
  describeLeaf(describer, position, "double", 3, "m", outputs->position);
}

static void describeScalars(Describer* describer, const Outputs* outputs) {
  const Place error = {"pointingError", "", "spacecraft/Attitude Control", 0, kOrdinary, kFast};
  const Place altitude = {"altitude", "", "spacecraft/Orbit", 0, kOrdinary, kMedium};
  const Place voltage = {"busVoltage", kPowerModel, "power/Bus", 0, kOrdinary, kSlow};
  const Place count = {"stepCount", "", "spacecraft/Clock", 0, kOrdinary, kSlow};
  describeLeaf(describer, error, "double", 1, "rad", &outputs->pointingError);
  describeLeaf(describer, altitude, "single", 1, "m", &outputs->altitude);
  describeLeaf(describer, voltage, "double", 1, "V", &outputs->busVoltage);
  describeLeaf(describer, count, "uint64", 1, "", &outputs->stepCount);
}

static void describeVectors(Describer* describer, const Outputs* outputs) {
  const Place velocity = {"velocity", "", "spacecraft/Orbit", 1, kOrdinary, kMedium};
  const Place force = {"thrusterForce", "", "spacecraft/Thrusters", 0, kOrdinary, kMedium};
  const Place torque = {"thrusterTorque", "", "spacecraft/Thrusters", 1, kOrdinary, kMedium};
  describeLeaf(describer, velocity, "double", 3, "m/s", outputs->velocity);
  describeLeaf(describer, force, "double", 3, "N", outputs->thrusterForce);
  describeLeaf(describer, torque, "double", 3, "N*m", outputs->thrusterTorque);
}

/// A matrix, a complex signal, and one whose log keeps the newest thousand points only.
static void describeSpecialLeaves(Describer* describer, const Outputs* outputs) {
  const Place cosines = {"directionCosines", "", "spacecraft/Dynamics", 1, kOrdinary, kSlow};
  const unsigned square[2] = {3, 3};
  beginTree(describer, cosines.period);
  zetAddLeafNode(0, cosines.name, "linear", 0, square, 2, "double", "", describer->sampleTime, describer->increment,
                 describer->stopTime, describer->tree);
  endTree(describer, cosines, 1, 0, NULL)->data[0] = outputs->directionCosines;

  const Place beacon = {"beacon", "", "spacecraft/Beacon", 0, kOrdinary, kMedium};
  const unsigned antennas = 2;
  const unsigned isComplex = 1;
  beginTree(describer, beacon.period);
  zetAddLeafNode(0, beacon.name, "linear", isComplex, &antennas, 1, "double", "V", describer->sampleTime,
                 describer->increment, describer->stopTime, describer->tree);
  endTree(describer, beacon, 1, 0, NULL)->data[0] = outputs->beacon;

  const Place command = {"wheelCommand", "", "spacecraft/Attitude Control", 1, kOrdinary, kFast};
  const unsigned maxPoints = 1000;
  beginTree(describer, command.period);
  addLeaf(describer, command.name, "double", 3, "N*m");
  endTree(describer, command, 1, maxPoints, NULL)->data[0] = outputs->wheelCommand;
}

static void describeMode(Describer* describer, const Outputs* outputs) {
  static const char* labels[] = {"SAFE", "DETUMBLE", "POINT", "UNLOAD"};
  const unsigned values[] = {(unsigned)kModeSafe, kModeDetumble, kModePoint, kModeUnload};
  const unsigned one = 1;
  const Place mode = {"mode", "", "spacecraft/Mode Logic", 0, kOrdinary, kMedium};
  beginTree(describer, mode.period);
  zetAddEnumLeafNode(0, mode.name, "zoh", &one, 1, "SpacecraftMode", "", "int32", describer->sampleTime,
                     describer->increment, describer->stopTime, values, labels, 4, describer->tree);
  endTree(describer, mode, 1, 0, NULL)->data[0] = &outputs->mode;
}

static void describeBattery(Describer* describer, const Outputs* outputs) {
  const unsigned one = 1;
  const Place charge = {"batteryCharge", kPowerModel, "power/Battery", 0, kOrdinary, kSlow};
  beginTree(describer, charge.period);
  zetAddFixedPointLeafNode(0, charge.name, "linear", 0, &one, 1, "fixed-point", "W*h", false, kGaugeBits, kGaugeSlope,
                           kGaugeExponent, kGaugeBias, describer->sampleTime, describer->increment, describer->stopTime,
                           describer->tree);
  endTree(describer, charge, 1, 0, NULL)->data[0] = &outputs->batteryCharge;
}

/// A virtual bus: a quaternion, a further virtual bus with the rate, and the tracker's structure. Three leaf positions.
static void describeAttitude(Describer* describer, const Outputs* outputs) {
  const Place place = {"attitude", "", "spacecraft/Dynamics", 0, kOrdinary, kFast};
  const unsigned one = 1;
  const unsigned offsets[] = {offsetof(TrackerOutput, accuracy), offsetof(TrackerOutput, bias),
                              offsetof(TrackerOutput, stars)};
  beginTree(describer, place.period);
  zetAddTopBusNode(place.name, 3, describer->tree);
  addLeaf(describer, "quaternion", "double", 4, "");
  zetAddBusNode("motion", 1, describer->tree);
  addLeaf(describer, "rate", "double", 3, "rad/s");
  zetPopNVBusNode(describer->tree);
  zetAddNVBusNode(0, "tracker", 3, &one, 1, sizeof(TrackerOutput), offsets, describer->tree);
  addLeaf(describer, "accuracy", "single", 1, "rad");
  addLeaf(describer, "bias", "double", 3, "rad");
  addLeaf(describer, "stars", "uint8", 1, "");
  zetPopNVBusNode(describer->tree);
  zetPopNVBusNode(describer->tree);
  Signal* signal = endTree(describer, place, 3, 0, NULL);
  signal->leaves = 3;
  signal->data[0] = outputs->quaternion;
  signal->data[1] = outputs->bodyRate;
  signal->data[2] = &outputs->tracker;
}

/// An array of four structures, each with a nested one; offsets and sizes are the compiler's, padding included.
static void describeWheels(Describer* describer, const Outputs* outputs) {
  const Place place = {"wheels", "", "spacecraft/Reaction Wheels", 0, kOrdinary, kMedium};
  const unsigned wheels = kWheelCount;
  const unsigned one = 1;
  const unsigned offsets[] = {offsetof(WheelOutput, saturated), offsetof(WheelOutput, momentum),
                              offsetof(WheelOutput, speed), offsetof(WheelOutput, bearing),
                              offsetof(WheelOutput, motorTorque)};
  const unsigned bearingOffsets[] = {offsetof(BearingOutput, temperature), offsetof(BearingOutput, frictionTorque)};
  beginTree(describer, place.period);
  zetAddTopNVBusNode(0, place.name, 5, &wheels, 1, sizeof(WheelOutput), offsets, describer->sampleTime,
                     describer->increment, describer->stopTime, describer->tree);
  addLeaf(describer, "saturated", "boolean", 1, "");
  addLeaf(describer, "momentum", "double", 1, "N*m*s");
  addLeaf(describer, "speed", "double", 1, "rad/s");
  zetAddNVBusNode(0, "bearing", 2, &one, 1, sizeof(BearingOutput), bearingOffsets, describer->tree);
  addLeaf(describer, "temperature", "single", 1, "degC");
  addLeaf(describer, "frictionTorque", "double", 1, "N*m");
  zetPopNVBusNode(describer->tree);
  addLeaf(describer, "motorTorque", "single", 1, "N*m");
  zetPopNVBusNode(describer->tree);
  endTree(describer, place, 1, 0, NULL)->data[0] = outputs->wheels;
}

/// One leaf of the ledger's structure.
typedef struct LedgerLeaf {
  const char* name;
  unsigned offset;
  unsigned count;
  const char* unit;
} LedgerLeaf;

static void describeLedger(Describer* describer, const Outputs* outputs) {
  static const LedgerLeaf leaves[] = {
      {"turningImpulse", offsetof(SpacecraftLedger, turningImpulse), 3, "N*m*s"},
      {"motorWork", offsetof(SpacecraftLedger, motorWork), 1, "J"},
      {"bearingLoss", offsetof(SpacecraftLedger, bearingLoss), 1, "J"},
      {"turningWork", offsetof(SpacecraftLedger, turningWork), 1, "J"},
      {"orbitalImpulse", offsetof(SpacecraftLedger, orbitalImpulse), 3, "N*m*s"},
      {"pushingWork", offsetof(SpacecraftLedger, pushingWork), 1, "J"},
      {"solarEnergy", offsetof(SpacecraftLedger, solarEnergy), 1, "J"},
      {"loadEnergy", offsetof(SpacecraftLedger, loadEnergy), 1, "J"},
      {"shuntedEnergy", offsetof(SpacecraftLedger, shuntedEnergy), 1, "J"},
  };
  enum { kLeaves = sizeof leaves / sizeof leaves[0] };
  const Place place = {"ledger", "", "spacecraft/Ledger", 0, kOrdinary, kMedium};
  const unsigned one = 1;
  unsigned offsets[kLeaves];
  for (unsigned i = 0; i < kLeaves; ++i) {
    offsets[i] = leaves[i].offset;
  }
  beginTree(describer, place.period);
  zetAddTopNVBusNode(0, place.name, kLeaves, &one, 1, sizeof(SpacecraftLedger), offsets, describer->sampleTime,
                     describer->increment, describer->stopTime, describer->tree);
  for (unsigned i = 0; i < kLeaves; ++i) {
    addLeaf(describer, leaves[i].name, "double", leaves[i].count, leaves[i].unit);
  }
  zetPopNVBusNode(describer->tree);
  endTree(describer, place, 1, 0, NULL)->data[0] = &outputs->ledger;
}

/// The valves are logged inside two nested for-each loops, over axes and over directions: one descriptor per iteration,
/// alike in all but the address that it is fed from. The results hold them as one element.
static void describeValves(Describer* describer, const Outputs* outputs) {
  const Place place = {"valveOpen", "", "spacecraft/For Each Axis/For Each Direction/Valve", 0, kOrdinary, kMedium};
  const unsigned loops[2] = {3, 2};
  for (int thruster = 0; thruster < kThrusterCount; ++thruster) {
    beginTree(describer, place.period);
    addLeaf(describer, place.name, "boolean", 1, "");
    Signal* signal = endTree(describer, place, 1, 0, loops);
    signal->iteration = thruster;
    signal->data[0] = &outputs->valveOpen[thruster];
  }
}

SignalList signalsDescribe(void* catalogue, const Outputs* outputs, double step, double duration) {
  SignalList list;
  memset(&list, 0, sizeof list);
  Describer describer = {.catalogue = catalogue, .step = step, .stopTime = duration, .list = &list};
  describePorts(&describer, outputs);
  describeScalars(&describer, outputs);
  describeVectors(&describer, outputs);
  describeSpecialLeaves(&describer, outputs);
  describeMode(&describer, outputs);
  describeBattery(&describer, outputs);
  describeAttitude(&describer, outputs);
  describeWheels(&describer, outputs);
  describeLedger(&describer, outputs);
  describeValves(&describer, outputs);
  return list;
}
