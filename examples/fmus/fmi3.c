// Makes an FMU of FMI 3 of a model: Co-Simulation, with event mode where the model has events.
#include "runner/fmi/fmi3.h"

#include <stdlib.h>
#include <string.h>

#include "examples/fmus/model.h"

#define FMU_FUNCTION __attribute__((visibility("default")))

struct Instance {
  void* environment;
  Fmi3LogMessage* log;
  double time;
  bool eventMode;
  bool eventPending;
  void* data;
};

FMU_FUNCTION const char* fmi3GetVersion(void) { return "3.0"; }
FMU_FUNCTION Fmi3InstantiateCoSimulation fmi3InstantiateCoSimulation;
FMU_FUNCTION Fmi3FreeInstance fmi3FreeInstance;
FMU_FUNCTION Fmi3SetDebugLogging fmi3SetDebugLogging;
FMU_FUNCTION Fmi3EnterInitializationMode fmi3EnterInitializationMode;
FMU_FUNCTION Fmi3ExitInitializationMode fmi3ExitInitializationMode;
FMU_FUNCTION Fmi3EnterConfigurationMode fmi3EnterConfigurationMode;
FMU_FUNCTION Fmi3ExitConfigurationMode fmi3ExitConfigurationMode;
FMU_FUNCTION Fmi3EnterEventMode fmi3EnterEventMode;
FMU_FUNCTION Fmi3EnterStepMode fmi3EnterStepMode;
FMU_FUNCTION Fmi3Terminate fmi3Terminate;
FMU_FUNCTION Fmi3Reset fmi3Reset;
FMU_FUNCTION Fmi3UpdateDiscreteStates fmi3UpdateDiscreteStates;
FMU_FUNCTION Fmi3GetState fmi3GetFMUState;
FMU_FUNCTION Fmi3SetState fmi3SetFMUState;
FMU_FUNCTION Fmi3FreeState fmi3FreeFMUState;
FMU_FUNCTION Fmi3DoStep fmi3DoStep;

// For fmi3_values.c.
void* fmu_data(void* opaque);
void* fmu_data(void* opaque) { return ((struct Instance*)opaque)->data; }

static int say(struct Instance* instance, int status, const char* text) {
  if (instance->log != NULL) {
    instance->log(instance->environment, status, status == FMI3_FATAL ? "logStatusFatal" : "logStatusError", text);
  }
  return status;
}

void* fmi3InstantiateCoSimulation(const char* name, const char* token, const char* resources, bool visible,
                                  bool loggingOn, bool eventModeUsed, bool earlyReturnAllowed,
                                  const uint32_t intermediateVariables[], size_t intermediateCount, void* environment,
                                  Fmi3LogMessage* log, Fmi3IntermediateUpdate* intermediateUpdate) {
  (void)name;
  (void)resources;
  (void)visible;
  (void)loggingOn;
  (void)earlyReturnAllowed;
  (void)intermediateVariables;
  (void)intermediateCount;
  (void)intermediateUpdate;
  if (strcmp(token, FMU_TOKEN) != 0) return NULL;
  struct Instance* instance = calloc(1, sizeof *instance);
  if (instance == NULL) return NULL;
  instance->environment = environment;
  instance->log = log;
  instance->eventMode = eventModeUsed && model.event != NULL;
  instance->data = calloc(1, model.bytes);
  if (instance->data == NULL) {
    free(instance);
    return NULL;
  }
  model.start(instance->data);
  return instance;
}

void fmi3FreeInstance(void* opaque) {
  struct Instance* instance = opaque;
  if (instance != NULL) free(instance->data);
  free(instance);
}

int fmi3SetDebugLogging(void* opaque, bool loggingOn, size_t count, const char* const categories[]) {
  (void)opaque;
  (void)loggingOn;
  (void)count;
  (void)categories;
  return FMI3_OK;
}

int fmi3EnterInitializationMode(void* opaque, bool toleranceDefined, double tolerance, double start, bool stopDefined,
                                double stop) {
  (void)toleranceDefined;
  (void)tolerance;
  (void)stopDefined;
  (void)stop;
  ((struct Instance*)opaque)->time = start;
  return FMI3_OK;
}

int fmi3ExitInitializationMode(void* opaque) {
  struct Instance* instance = opaque;
  model.initialize(instance->data, instance->time);
  return FMI3_OK;
}

int fmi3EnterConfigurationMode(void* opaque) {
  (void)opaque;
  return FMI3_OK;
}

int fmi3ExitConfigurationMode(void* opaque) {
  (void)opaque;
  return FMI3_OK;
}

int fmi3EnterEventMode(void* opaque) {
  (void)opaque;
  return FMI3_OK;
}

int fmi3EnterStepMode(void* opaque) {
  (void)opaque;
  return FMI3_OK;
}

int fmi3Terminate(void* opaque) {
  (void)opaque;
  return FMI3_OK;
}

int fmi3Reset(void* opaque) {
  struct Instance* instance = opaque;
  memset(instance->data, 0, model.bytes);
  model.start(instance->data);
  return FMI3_OK;
}

int fmi3UpdateDiscreteStates(void* opaque, bool* needUpdate, bool* terminateSimulation, bool* nominalsChanged,
                             bool* valuesChanged, bool* nextEventTimeDefined, double* nextEventTime) {
  struct Instance* instance = opaque;
  *needUpdate = false;
  *terminateSimulation = false;
  *nominalsChanged = false;
  *valuesChanged = instance->eventPending;
  *nextEventTimeDefined = false;
  *nextEventTime = 0.0;
  if (instance->eventPending && model.event != NULL) model.event(instance->data, instance->time);
  instance->eventPending = false;
  return FMI3_OK;
}

int fmi3GetFMUState(void* opaque, void** state) {
  const struct Instance* instance = opaque;
  if (*state == NULL) *state = malloc(model.bytes);
  if (*state == NULL) return FMI3_ERROR;
  memcpy(*state, instance->data, model.bytes);
  return FMI3_OK;
}

int fmi3SetFMUState(void* opaque, void* state) {
  memcpy(((struct Instance*)opaque)->data, state, model.bytes);
  return FMI3_OK;
}

int fmi3FreeFMUState(void* opaque, void** state) {
  (void)opaque;
  free(*state);
  *state = NULL;
  return FMI3_OK;
}

int fmi3DoStep(void* opaque, double time, double step, bool noSetStatePriorToTime, bool* eventNeeded,
               bool* terminateSimulation, bool* earlyReturn, double* lastTime) {
  (void)noSetStatePriorToTime;
  struct Instance* instance = opaque;
  const double end = time + step;
  instance->time = end;
  const enum StepEnd how = model.step(instance->data, time, end, instance->eventMode, &instance->time);
  *eventNeeded = how == STEP_EVENT;
  *terminateSimulation = how == STEP_TERMINATE;
  *earlyReturn = instance->time < end;
  *lastTime = instance->time;
  instance->eventPending = how == STEP_EVENT;
  switch (how) {
    case STEP_DISCARD:
      return FMI3_DISCARD;
    case STEP_ERROR:
      return say(instance, FMI3_ERROR, "the model cannot go on");
    case STEP_FATAL:
      return say(instance, FMI3_FATAL, "the model is broken");
    default:
      return FMI3_OK;
  }
}
