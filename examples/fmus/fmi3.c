// Makes an FMU of FMI 3 of a model: Co-Simulation, with event mode where the model has events, and Model Exchange where
// the model has what that needs.
#include "runner/fmi/fmi3.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "examples/fmus/model.h"

#define FMU_FUNCTION __attribute__((visibility("default")))

struct Instance {
  void* environment;
  Fmi3LogMessage* log;
  Fmi3IntermediateUpdate* intermediateUpdate;
  double time;
  bool isModelExchange;
  bool eventMode;
  bool running;  // initialised
  bool inEvent;
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
FMU_FUNCTION Fmi3InstantiateModelExchange fmi3InstantiateModelExchange;
FMU_FUNCTION Fmi3EnterContinuousTimeMode fmi3EnterContinuousTimeMode;
FMU_FUNCTION Fmi3CompletedIntegratorStep fmi3CompletedIntegratorStep;
FMU_FUNCTION Fmi3SetTime fmi3SetTime;
FMU_FUNCTION Fmi3SetContinuousStates fmi3SetContinuousStates;
FMU_FUNCTION Fmi3GetContinuousStates fmi3GetContinuousStates;
FMU_FUNCTION Fmi3GetDerivatives fmi3GetContinuousStateDerivatives;
FMU_FUNCTION Fmi3GetEventIndicators fmi3GetEventIndicators;
FMU_FUNCTION Fmi3GetNominals fmi3GetNominalsOfContinuousStates;
FMU_FUNCTION Fmi3GetNumberOfContinuousStates fmi3GetNumberOfContinuousStates;
FMU_FUNCTION Fmi3GetNumberOfEventIndicators fmi3GetNumberOfEventIndicators;
FMU_FUNCTION Fmi3GetDirectionalDerivative fmi3GetDirectionalDerivative;

// In Model Exchange values follow from states that were set.
static enum StepEnd refresh(struct Instance* instance) {
  return instance->isModelExchange ? model.update(instance->data, instance->time) : STEP_DONE;
}

// Values that are read in an event are those of the event.
static void settle(struct Instance* instance) {
  if (!instance->eventPending) return;
  instance->eventPending = false;
  if (model.event != NULL) model.event(instance->data, instance->time);
}

// For fmi3_values.c.
void* fmu_data(void* opaque);
void* fmu_values(void* opaque);
void fmu_ticks(void* opaque);
bool fmu_may_jump(const void* opaque);

void* fmu_data(void* opaque) {
  struct Instance* instance = opaque;
  (void)refresh(instance);
  return instance->data;
}

bool fmu_may_jump(const void* opaque) {
  const struct Instance* instance = opaque;
  return !instance->running || instance->inEvent || !(instance->isModelExchange || instance->eventMode);
}

void fmu_ticks(void* opaque) { ((struct Instance*)opaque)->eventPending = true; }

void* fmu_values(void* opaque) {
  struct Instance* instance = opaque;
  if (instance->inEvent) settle(instance);
  return fmu_data(opaque);
}

static _Thread_local struct Instance* stepping;  // while it makes a step

// It cannot return early: that is for events.
void fmu_intermediate(double time) {
  if (stepping == NULL || stepping->intermediateUpdate == NULL) return;
  bool earlyReturn = false;
  double earlyTime = time;
  stepping->intermediateUpdate(stepping->environment, time, false, true, true, false, &earlyReturn, &earlyTime);
}

static int say(struct Instance* instance, int status, const char* text) {
  if (instance->log != NULL) {
    instance->log(instance->environment, status, status == FMI3_FATAL ? "logStatusFatal" : "logStatusError", text);
  }
  return status;
}

static int statusOf(struct Instance* instance, enum StepEnd how) {
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

static struct Instance* make(const char* token, void* environment, Fmi3LogMessage* log) {
  if (strcmp(token, FMU_TOKEN) != 0) return NULL;
  struct Instance* instance = calloc(1, sizeof *instance);
  if (instance == NULL) return NULL;
  instance->environment = environment;
  instance->log = log;
  instance->data = calloc(1, model.bytes);
  if (instance->data == NULL) {
    free(instance);
    return NULL;
  }
  model.start(instance->data);
  return instance;
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
  struct Instance* instance = make(token, environment, log);
  if (instance == NULL) return NULL;
  instance->eventMode = eventModeUsed && model.event != NULL;
  instance->intermediateUpdate = intermediateUpdate;
  return instance;
}

void* fmi3InstantiateModelExchange(const char* name, const char* token, const char* resources, bool visible,
                                   bool loggingOn, void* environment, Fmi3LogMessage* log) {
  (void)name;
  (void)resources;
  (void)visible;
  (void)loggingOn;
  struct Instance* instance = model.update != NULL ? make(token, environment, log) : NULL;
  if (instance != NULL) instance->isModelExchange = true;
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
  instance->running = true;
  instance->inEvent = instance->isModelExchange || instance->eventMode;
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
  struct Instance* instance = opaque;
  instance->inEvent = true;
  instance->eventPending = true;
  return FMI3_OK;
}

int fmi3EnterStepMode(void* opaque) {
  ((struct Instance*)opaque)->inEvent = false;
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
  instance->running = false;
  return FMI3_OK;
}

int fmi3UpdateDiscreteStates(void* opaque, bool* needUpdate, bool* terminateSimulation, bool* nominalsChanged,
                             bool* valuesChanged, bool* nextEventTimeDefined, double* nextEventTime) {
  struct Instance* instance = opaque;
  *needUpdate = false;
  *terminateSimulation = false;
  *nominalsChanged = false;
  *valuesChanged = true;
  settle(instance);
  if (model.endEvent != NULL) model.endEvent(instance->data);
  const double next =
      instance->isModelExchange && model.nextTime != NULL ? model.nextTime(instance->data, instance->time) : INFINITY;
  *nextEventTimeDefined = isfinite(next);
  *nextEventTime = next;
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
  stepping = instance;
  const enum StepEnd how = model.step(instance->data, time, end, instance->eventMode, &instance->time);
  stepping = NULL;
  *eventNeeded = how == STEP_EVENT;
  *terminateSimulation = how == STEP_TERMINATE;
  *earlyReturn = instance->time < end;
  *lastTime = instance->time;
  return statusOf(instance, how);
}

int fmi3EnterContinuousTimeMode(void* opaque) {
  ((struct Instance*)opaque)->inEvent = false;
  return FMI3_OK;
}

int fmi3CompletedIntegratorStep(void* opaque, bool noSetStatePriorToTime, bool* enterEventMode,
                                bool* terminateSimulation) {
  struct Instance* instance = opaque;
  (void)noSetStatePriorToTime;
  const enum StepEnd how = model.completeStep != NULL ? model.completeStep(instance->data, instance->time) : STEP_DONE;
  *enterEventMode = how == STEP_EVENT;
  *terminateSimulation = how == STEP_TERMINATE;
  return FMI3_OK;
}

int fmi3SetTime(void* opaque, double time) {
  ((struct Instance*)opaque)->time = time;
  return FMI3_OK;
}

int fmi3SetContinuousStates(void* opaque, const double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_states(instance->data)) return FMI3_ERROR;
  memcpy(model.stateValues(instance->data), values, count * sizeof *values);
  return FMI3_OK;
}

int fmi3GetContinuousStates(void* opaque, double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_states(instance->data)) return FMI3_ERROR;
  memcpy(values, model.stateValues(instance->data), count * sizeof *values);
  return FMI3_OK;
}

int fmi3GetContinuousStateDerivatives(void* opaque, double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_states(instance->data)) return FMI3_ERROR;
  const int status = statusOf(instance, refresh(instance));
  memcpy(values, model.derivativeValues(instance->data), count * sizeof *values);
  return status;
}

int fmi3GetEventIndicators(void* opaque, double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_indicators(instance->data)) return FMI3_ERROR;
  if (count == 0) return FMI3_OK;
  const int status = statusOf(instance, refresh(instance));
  model.getIndicators(instance->data, instance->time, values);
  return status;
}

int fmi3GetNominalsOfContinuousStates(void* opaque, double values[], size_t count) {
  (void)opaque;
  for (size_t i = 0; i < count; ++i) values[i] = 1.0;
  return FMI3_OK;
}

int fmi3GetNumberOfContinuousStates(void* opaque, size_t* count) {
  *count = model_states(((struct Instance*)opaque)->data);
  return FMI3_OK;
}

int fmi3GetNumberOfEventIndicators(void* opaque, size_t* count) {
  *count = model_indicators(((struct Instance*)opaque)->data);
  return FMI3_OK;
}

// Of the derivatives of all states, in their order, by one state: the seed is one number.
int fmi3GetDirectionalDerivative(void* opaque, const uint32_t unknowns[], size_t unknownCount, const uint32_t knowns[],
                                 size_t knownCount, const double seed[], size_t seedCount, double sensitivity[],
                                 size_t sensitivityCount) {
  const struct Instance* instance = opaque;
  const double* states = model.stateValues != NULL ? model.stateValues(instance->data) : NULL;
  size_t count = 0;
  const double* known = model.address(instance->data, VALUE_FLOAT64, knowns[0], &count);
  (void)unknowns;
  (void)unknownCount;
  if (model.jacobianColumn == NULL || sensitivityCount != model_states(instance->data)) return FMI3_ERROR;
  if (knownCount != 1 || seedCount != 1 || known < states || known >= states + model_states(instance->data))
    return FMI3_ERROR;
  model.jacobianColumn(instance->data, (size_t)(known - states), sensitivity);
  for (size_t i = 0; i < sensitivityCount; ++i) sensitivity[i] *= seed[0];
  return FMI3_OK;
}
