// Makes an FMU of FMI 2 of a model: Co-Simulation.
#include "runner/fmi/fmi2.h"

#include <stdlib.h>
#include <string.h>

#include "examples/fmus/model.h"

#define FMU_FUNCTION __attribute__((visibility("default")))

struct Instance {
  const Fmi2Callbacks* callbacks;
  char name[64];
  double time;
  int terminated;
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

static void say(struct Instance* instance, int status, const char* category, const char* text) {
  instance->callbacks->logger(instance->callbacks->environment, instance->name, status, category, "%s", text);
}

void* fmi2Instantiate(const char* name, int kind, const char* guid, const char* resources,
                      const Fmi2Callbacks* callbacks, int visible, int loggingOn) {
  (void)resources;
  (void)visible;
  (void)loggingOn;
  if (kind != FMI2_CO_SIMULATION || strcmp(guid, FMU_TOKEN) != 0) return NULL;
  struct Instance* instance = calloc(1, sizeof *instance);
  if (instance == NULL) return NULL;
  instance->callbacks = callbacks;
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
  void* place = model.address(instance->data, type, reference, &count);
  if (place == NULL || count != 1) {
    say(instance, FMI2_ERROR, "logStatusError", "there is no variable of this type and value reference");
    return NULL;
  }
  return place;
}

int fmi2GetReal(void* opaque, const unsigned references[], size_t count, double values[]) {
  for (size_t i = 0; i < count; ++i) {
    const double* place = scalar(opaque, VALUE_FLOAT64, references[i]);
    if (place == NULL) return FMI2_ERROR;
    values[i] = *place;
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
  switch (model.step(instance->data, time, time + step, 0, &instance->time)) {
    case STEP_TERMINATE:
      instance->terminated = 1;
      return FMI2_DISCARD;
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
