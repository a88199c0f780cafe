// Makes an FMU of FMI 2 of a model: Co-Simulation, and Model Exchange where the model has what that needs.
#include "runner/fmi/fmi2.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "examples/fmus/model.h"

#define FMU_FUNCTION __attribute__((visibility("default")))

struct Instance {
  const Fmi2Callbacks* callbacks;
  char name[64];
  int kind;
  double time;
  int terminated;
  int inEvent;
  void* data;
};

FMU_FUNCTION const char* fmi2GetVersion(void) { return "2.0"; }
FMU_FUNCTION const char* fmi2GetTypesPlatform(void) { return "default"; }
FMU_FUNCTION Fmi2Instantiate fmi2Instantiate;
FMU_FUNCTION Fmi2FreeInstance fmi2FreeInstance;
FMU_FUNCTION Fmi2SetDebugLogging fmi2SetDebugLogging;
FMU_FUNCTION Fmi2SetupExperiment fmi2SetupExperiment;
FMU_FUNCTION Fmi2EnterInitializationMode fmi2EnterInitializationMode;
FMU_FUNCTION Fmi2ExitInitializationMode fmi2ExitInitializationMode;
FMU_FUNCTION Fmi2Terminate fmi2Terminate;
FMU_FUNCTION Fmi2Reset fmi2Reset;
FMU_FUNCTION Fmi2GetReal fmi2GetReal;
FMU_FUNCTION Fmi2GetInteger fmi2GetInteger;
FMU_FUNCTION Fmi2GetBoolean fmi2GetBoolean;
FMU_FUNCTION Fmi2GetString fmi2GetString;
FMU_FUNCTION Fmi2SetReal fmi2SetReal;
FMU_FUNCTION Fmi2SetInteger fmi2SetInteger;
FMU_FUNCTION Fmi2SetBoolean fmi2SetBoolean;
FMU_FUNCTION Fmi2SetString fmi2SetString;
FMU_FUNCTION Fmi2GetState fmi2GetFMUstate;
FMU_FUNCTION Fmi2SetState fmi2SetFMUstate;
FMU_FUNCTION Fmi2FreeState fmi2FreeFMUstate;
FMU_FUNCTION Fmi2DoStep fmi2DoStep;
FMU_FUNCTION Fmi2GetRealStatus fmi2GetRealStatus;
FMU_FUNCTION Fmi2GetBooleanStatus fmi2GetBooleanStatus;
FMU_FUNCTION Fmi2EnterEventMode fmi2EnterEventMode;
FMU_FUNCTION Fmi2NewDiscreteStates fmi2NewDiscreteStates;
FMU_FUNCTION Fmi2EnterContinuousTimeMode fmi2EnterContinuousTimeMode;
FMU_FUNCTION Fmi2CompletedIntegratorStep fmi2CompletedIntegratorStep;
FMU_FUNCTION Fmi2SetTime fmi2SetTime;
FMU_FUNCTION Fmi2SetContinuousStates fmi2SetContinuousStates;
FMU_FUNCTION Fmi2GetContinuousStates fmi2GetContinuousStates;
FMU_FUNCTION Fmi2GetDerivatives fmi2GetDerivatives;
FMU_FUNCTION Fmi2GetEventIndicators fmi2GetEventIndicators;
FMU_FUNCTION Fmi2GetNominals fmi2GetNominalsOfContinuousStates;
FMU_FUNCTION Fmi2GetDirectionalDerivative fmi2GetDirectionalDerivative;

static void say(struct Instance* instance, int status, const char* category, const char* text) {
  instance->callbacks->logger(instance->callbacks->environment, instance->name, status, category, "%s", text);
}

void fmu_intermediate(double time) { (void)time; }

static int statusOf(struct Instance* instance, enum StepEnd how) {
  switch (how) {
    case STEP_DISCARD:
      return FMI2_DISCARD;
    case STEP_ERROR:
      say(instance, FMI2_ERROR, "logStatusError", "the model cannot go on");
      return FMI2_ERROR;
    case STEP_FATAL:
      say(instance, FMI2_FATAL, "logStatusFatal", "the model is broken");
      return FMI2_FATAL;
    default:
      return FMI2_OK;
  }
}

// In Model Exchange values follow from states that were set.
static enum StepEnd refresh(struct Instance* instance) {
  return instance->kind == FMI2_MODEL_EXCHANGE ? model.update(instance->data, instance->time) : STEP_DONE;
}

void* fmi2Instantiate(const char* name, int kind, const char* guid, const char* resources,
                      const Fmi2Callbacks* callbacks, int visible, int loggingOn) {
  (void)resources;
  (void)visible;
  (void)loggingOn;
  if (strcmp(guid, FMU_TOKEN) != 0) return NULL;
  if (kind == FMI2_MODEL_EXCHANGE && model.update == NULL) return NULL;
  struct Instance* instance = calloc(1, sizeof *instance);
  if (instance == NULL) return NULL;
  instance->callbacks = callbacks;
  instance->kind = kind;
  strncpy(instance->name, name, sizeof instance->name - 1);
  instance->data = calloc(1, model.bytes);
  if (instance->data == NULL) {
    free(instance);
    return NULL;
  }
  model.start(instance->data);
  return instance;
}

void fmi2FreeInstance(void* opaque) {
  struct Instance* instance = opaque;
  if (instance != NULL) free(instance->data);
  free(instance);
}

int fmi2SetDebugLogging(void* opaque, int loggingOn, size_t count, const char* const categories[]) {
  (void)opaque;
  (void)loggingOn;
  (void)count;
  (void)categories;
  return FMI2_OK;
}

int fmi2SetupExperiment(void* opaque, int toleranceDefined, double tolerance, double start, int stopDefined,
                        double stop) {
  (void)toleranceDefined;
  (void)tolerance;
  (void)stopDefined;
  (void)stop;
  ((struct Instance*)opaque)->time = start;
  return FMI2_OK;
}

int fmi2EnterInitializationMode(void* opaque) {
  (void)opaque;
  return FMI2_OK;
}

int fmi2ExitInitializationMode(void* opaque) {
  struct Instance* instance = opaque;
  model.initialize(instance->data, instance->time);
  return FMI2_OK;
}

int fmi2Terminate(void* opaque) {
  (void)opaque;
  return FMI2_OK;
}

int fmi2Reset(void* opaque) {
  struct Instance* instance = opaque;
  memset(instance->data, 0, model.bytes);
  model.start(instance->data);
  return FMI2_OK;
}

static void* scalar(struct Instance* instance, enum ValueType type, unsigned reference) {
  size_t count = 0;
  (void)refresh(instance);
  void* place = model.address(instance->data, type, reference, &count);
  if (place == NULL || count != 1) {
    say(instance, FMI2_ERROR, "logStatusError", "there is no variable of this type and value reference");
    return NULL;
  }
  return place;
}

// FMI 2 has one type of real numbers.
int fmi2GetReal(void* opaque, const unsigned references[], size_t count, double values[]) {
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    const float* narrow = model.address(((struct Instance*)opaque)->data, VALUE_FLOAT32, references[i], &elements);
    const double* place = narrow != NULL ? NULL : scalar(opaque, VALUE_FLOAT64, references[i]);
    if (narrow == NULL && place == NULL) return FMI2_ERROR;
    values[i] = narrow != NULL ? (double)*narrow : *place;
  }
  return FMI2_OK;
}

// Integers and enumerations have value references of one kind.
static int* integer(struct Instance* instance, unsigned reference, int64_t** enumeration) {
  size_t count = 0;
  *enumeration = model.address(instance->data, VALUE_ENUMERATION, reference, &count);
  return *enumeration != NULL ? NULL : scalar(instance, VALUE_INT32, reference);
}

int fmi2GetInteger(void* opaque, const unsigned references[], size_t count, int values[]) {
  for (size_t i = 0; i < count; ++i) {
    int64_t* enumeration = NULL;
    const int* place = integer(opaque, references[i], &enumeration);
    if (place == NULL && enumeration == NULL) return FMI2_ERROR;
    values[i] = enumeration != NULL ? (int)*enumeration : *place;
  }
  return FMI2_OK;
}

int fmi2GetBoolean(void* opaque, const unsigned references[], size_t count, int values[]) {
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* place = scalar(opaque, VALUE_BOOLEAN, references[i]);
    if (place == NULL) return FMI2_ERROR;
    values[i] = *place;
  }
  return FMI2_OK;
}

int fmi2GetString(void* opaque, const unsigned references[], size_t count, const char* values[]) {
  for (size_t i = 0; i < count; ++i) {
    const struct Text* place = scalar(opaque, VALUE_TEXT, references[i]);
    if (place == NULL) return FMI2_ERROR;
    values[i] = place->characters;
  }
  return FMI2_OK;
}

int fmi2SetReal(void* opaque, const unsigned references[], size_t count, const double values[]) {
  for (size_t i = 0; i < count; ++i) {
    double* place = scalar(opaque, VALUE_FLOAT64, references[i]);
    if (place == NULL) return FMI2_ERROR;
    *place = values[i];
  }
  return FMI2_OK;
}

int fmi2SetInteger(void* opaque, const unsigned references[], size_t count, const int values[]) {
  for (size_t i = 0; i < count; ++i) {
    int64_t* enumeration = NULL;
    int* place = integer(opaque, references[i], &enumeration);
    if (place == NULL && enumeration == NULL) return FMI2_ERROR;
    if (enumeration != NULL) {
      *enumeration = values[i];
    } else {
      *place = values[i];
    }
  }
  return FMI2_OK;
}

int fmi2SetBoolean(void* opaque, const unsigned references[], size_t count, const int values[]) {
  for (size_t i = 0; i < count; ++i) {
    uint8_t* place = scalar(opaque, VALUE_BOOLEAN, references[i]);
    if (place == NULL) return FMI2_ERROR;
    *place = values[i] != 0;
  }
  return FMI2_OK;
}

int fmi2SetString(void* opaque, const unsigned references[], size_t count, const char* const values[]) {
  for (size_t i = 0; i < count; ++i) {
    struct Text* place = scalar(opaque, VALUE_TEXT, references[i]);
    if (place == NULL) return FMI2_ERROR;
    memset(place, 0, sizeof *place);
    strncpy(place->characters, values[i], sizeof place->characters - 1);
  }
  return FMI2_OK;
}

int fmi2GetFMUstate(void* opaque, void** state) {
  const struct Instance* instance = opaque;
  if (*state == NULL) *state = malloc(model.bytes);
  if (*state == NULL) return FMI2_ERROR;
  memcpy(*state, instance->data, model.bytes);
  return FMI2_OK;
}

int fmi2SetFMUstate(void* opaque, void* state) {
  memcpy(((struct Instance*)opaque)->data, state, model.bytes);
  return FMI2_OK;
}

int fmi2FreeFMUstate(void* opaque, void** state) {
  (void)opaque;
  free(*state);
  *state = NULL;
  return FMI2_OK;
}

int fmi2DoStep(void* opaque, double time, double step, int noSetStatePriorToTime) {
  (void)noSetStatePriorToTime;
  struct Instance* instance = opaque;
  instance->time = time + step;
  const enum StepEnd how = model.step(instance->data, time, time + step, 0, &instance->time);
  instance->terminated = how == STEP_TERMINATE;
  return how == STEP_TERMINATE ? FMI2_DISCARD : statusOf(instance, how);
}

int fmi2GetRealStatus(void* opaque, int kind, double* value) {
  if (kind != FMI2_STATUS_LAST_TIME) return FMI2_DISCARD;
  *value = ((struct Instance*)opaque)->time;
  return FMI2_OK;
}

int fmi2GetBooleanStatus(void* opaque, int kind, int* value) {
  if (kind != FMI2_STATUS_TERMINATED) return FMI2_DISCARD;
  *value = ((struct Instance*)opaque)->terminated;
  return FMI2_OK;
}

int fmi2EnterEventMode(void* opaque) {
  ((struct Instance*)opaque)->inEvent = 1;
  return FMI2_OK;
}

// The initialisation ends in the event mode, too, but without an event.
int fmi2NewDiscreteStates(void* opaque, Fmi2EventInfo* info) {
  struct Instance* instance = opaque;
  memset(info, 0, sizeof *info);
  if (instance->inEvent && model.event != NULL) {
    model.event(instance->data, instance->time);
    info->valuesChanged = 1;
  }
  instance->inEvent = 0;
  const double next = model.nextTime != NULL ? model.nextTime(instance->data, instance->time) : INFINITY;
  info->nextEventTimeDefined = isfinite(next);
  info->nextEventTime = next;
  return FMI2_OK;
}

int fmi2EnterContinuousTimeMode(void* opaque) {
  (void)opaque;
  return FMI2_OK;
}

int fmi2CompletedIntegratorStep(void* opaque, int noSetStatePriorToTime, int* enterEventMode,
                                int* terminateSimulation) {
  struct Instance* instance = opaque;
  (void)noSetStatePriorToTime;
  const enum StepEnd how = model.completeStep != NULL ? model.completeStep(instance->data, instance->time) : STEP_DONE;
  *enterEventMode = how == STEP_EVENT;
  *terminateSimulation = how == STEP_TERMINATE;
  return FMI2_OK;
}

int fmi2SetTime(void* opaque, double time) {
  ((struct Instance*)opaque)->time = time;
  return FMI2_OK;
}

int fmi2SetContinuousStates(void* opaque, const double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_states(instance->data)) return FMI2_ERROR;
  memcpy(model.stateValues(instance->data), values, count * sizeof *values);
  return FMI2_OK;
}

int fmi2GetContinuousStates(void* opaque, double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_states(instance->data)) return FMI2_ERROR;
  memcpy(values, model.stateValues(instance->data), count * sizeof *values);
  return FMI2_OK;
}

int fmi2GetDerivatives(void* opaque, double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_states(instance->data)) return FMI2_ERROR;
  const int status = statusOf(instance, refresh(instance));
  memcpy(values, model.derivativeValues(instance->data), count * sizeof *values);
  return status;
}

int fmi2GetEventIndicators(void* opaque, double values[], size_t count) {
  struct Instance* instance = opaque;
  if (count != model_indicators(instance->data)) return FMI2_ERROR;
  if (count == 0) return FMI2_OK;
  const int status = statusOf(instance, refresh(instance));
  model.getIndicators(instance->data, instance->time, values);
  return status;
}

int fmi2GetNominalsOfContinuousStates(void* opaque, double values[], size_t count) {
  (void)opaque;
  for (size_t i = 0; i < count; ++i) values[i] = 1.0;
  return FMI2_OK;
}

// Of the derivatives of all states, in their order, by one state: the seed is one number.
int fmi2GetDirectionalDerivative(void* opaque, const unsigned unknowns[], size_t unknownCount, const unsigned knowns[],
                                 size_t knownCount, const double seed[], double sensitivity[]) {
  struct Instance* instance = opaque;
  const double* states = model.stateValues != NULL ? model.stateValues(instance->data) : NULL;
  size_t count = 0;
  const double* known = model.address(instance->data, VALUE_FLOAT64, knowns[0], &count);
  (void)unknowns;
  if (model.jacobianColumn == NULL || unknownCount != model_states(instance->data) || knownCount != 1)
    return FMI2_ERROR;
  if (known < states || known >= states + model_states(instance->data)) return FMI2_ERROR;
  model.jacobianColumn(instance->data, (size_t)(known - states), sensitivity);
  for (size_t i = 0; i < unknownCount; ++i) sensitivity[i] *= seed[0];
  return FMI2_OK;
}
