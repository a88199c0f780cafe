/* A compiled target in C11: it includes nothing of the library but the C header. */
#include "tests/runtime/c_consumer.h"

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>

#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

typedef struct Wheel {
  double speed;
  float current;
} Wheel;

enum { kScalar, kBus, kWheels, kCharge, kMode, kSignals };

static void* callVariable(void* (*function)(int, int, char*), int numArgs, ...) {
  va_list arguments;
  va_start(arguments, numArgs);
  void* result = function(1, numArgs, (char*)arguments);
  va_end(arguments);
  return result;
}

static const void* registerSignal(void* tree, void* catalogue, unsigned kind, const char* name, unsigned inputs) {
  return zetGetSignalDescriptor(tree, inputs, kind, 0, 1, name, "", "top%2Fref", "target/block", 0, 0, catalogue, NULL,
                                0, NULL, 0);
}

static const void* describeScalar(void* catalogue) {
  void* tree = zetGetTreeVector();
  zetAddLeafNode(0, "x", "linear", 0, NULL, 0, "double", "m/s", "0.1", 0.1, 10.0, tree);
  return registerSignal(tree, catalogue, 3, "scalar", 1);
}

static const void* describeBus(void* catalogue) {
  void* tree = zetGetTreeVector();
  zetAddTopBusNode("bus", 2, tree);
  zetAddLeafNode(0, "a", "linear", 0, NULL, 0, "double", "", "0.1", 0.1, 10.0, tree);
  zetAddBusNode("inner", 1, tree);
  zetAddLeafNode(0, "b", "linear", 0, NULL, 0, "double", "", "0.1", 0.1, 10.0, tree);
  zetPopNVBusNode(tree);
  zetPopNVBusNode(tree);
  return registerSignal(tree, catalogue, 3, "bus", 2);
}

static const void* describeWheels(void* catalogue) {
  const unsigned dims[] = {4};
  const unsigned offsets[] = {offsetof(Wheel, speed), offsetof(Wheel, current)};
  void* tree = zetGetTreeVector();
  zetAddTopNVBusNode(30, "wheels", 2, dims, 1, sizeof(Wheel), offsets, "0.1", 0.1, 10.0, tree);
  zetAddLeafNode(0, "speed", "linear", 0, NULL, 0, "double", "rad/s", "0.1", 0.1, 10.0, tree);
  zetAddLeafNode(1, "current", "linear", 0, NULL, 0, "single", "A", "0.1", 0.1, 10.0, tree);
  zetPopNVBusNode(tree);
  return registerSignal(tree, catalogue, 3, "wheels", 1);
}

static const void* describeCharge(void* catalogue) {
  void* tree = zetGetTreeVector();
  zetAddFixedPointLeafNode(31, "charge", "zoh", 0, NULL, 0, "fixed-point", "C", true, 16, 1.25, -4, 0.5, "0.1", 0.1,
                           10.0, tree);
  return registerSignal(tree, catalogue, 2, "charge", 1);
}

static const void* describeMode(void* catalogue) {
  const unsigned values[] = {0, 1};
  const char* labels[] = {"Idle", "Slew"};
  void* tree = zetGetTreeVector();
  zetAddEnumLeafNode(32, "mode", "zoh", NULL, 0, "Mode", "", "int32", "0.1", 0.1, 10.0, values, labels, 2, tree);
  return registerSignal(tree, catalogue, 1, "mode", 1);
}

static void step(void** accessors[kSignals], void* modeAccessor, double time) {
  const double scalar = 2.0 * time;
  const double leaves[2] = {time, -time};
  const short charge = (short)(10.0 * time);
  const int mode = (int)time % 2;
  Wheel wheels[4];
  for (int i = 0; i < 4; ++i) {
    wheels[i].speed = time + i;
    wheels[i].current = (float)i;
  }
  zetVtioUpdateAccessor(accessors[kScalar], 0, time, &scalar);
  zetVtioUpdateAccessor(accessors[kBus], 0, time, &leaves[0]);
  callVariable(rt_VtioAccessorUpdate, 4, zetGetPointerFromUniquePtr(accessors[kBus]), time, (const void*)&leaves[1], 1);
  zetVtioUpdateAccessor(accessors[kWheels], 0, time, wheels);
  zetVtioUpdateAccessor(accessors[kCharge], 0, time, &charge);
  callVariable(rt_VtioAccessorUpdate, 3, modeAccessor, time, (const void*)&mode);
}

RunReport runTarget(const char* configuration, const char* results, unsigned steps, const Environment* environment) {
  RunReport report = {0, 1, 1, 0, 0};
  void* handle = zetGetNewVtioCatalogue(configuration);
  if (handle == NULL) {
    return report;
  }
  report.gotCatalogue = 1;
  void* catalogue = zetGetPointerFromUniquePtr(handle);
  report.logsRootOutports = zetLogRootOutport(catalogue);

  const void* (*const describe[kSignals])(void*) = {describeScalar, describeBus, describeWheels, describeCharge,
                                                    describeMode};
  void** accessors[kSignals];
  for (int i = 0; i < kSignals; ++i) {
    const void* descriptor = describe[i](catalogue);
    report.gotDescriptors = report.gotDescriptors && descriptor != NULL;
    zetLoggingOverride(descriptor, catalogue);
    accessors[i] = zetGetAccessor(descriptor, environment->loggingInterval(environment->context, catalogue));
    report.gotAccessors = report.gotAccessors && accessors[i] != NULL;
    environment->subscribe(environment->context, catalogue, descriptor, zetGetPointerFromUniquePtr(accessors[i]));
  }
  /* One accessor is held raw, to be released by the other function. */
  void* modeAccessor = *accessors[kMode];
  *accessors[kMode] = NULL;
  for (unsigned i = 0; i < steps; ++i) {
    step(accessors, modeAccessor, (double)i);
  }
  for (int i = 0; i < kSignals; ++i) {
    zetDestructAccessorPointer(accessors[i]);
  }
  callVariable(rt_VtioAccessorRelease, 1, modeAccessor);
  zetSaveDatasetsToQatFile(catalogue, results);
  zetTerminateVtioCatalogue(&handle);
  report.catalogueGone = handle == NULL;
  return report;
}
