/// @file
/// The functions of FMI 2.0 that the runner calls and the example FMUs define, as C function types: `Fmi2DoStep` is the
/// type of `fmi2DoStep`. An FMU declares `Fmi2DoStep fmi2DoStep;` and defines it.
#ifndef VTIO_RUNNER_FMI_FMI2_H
#define VTIO_RUNNER_FMI_FMI2_H

// NOLINTBEGIN(modernize-use-using,modernize-deprecated-headers): read by C
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { FMI2_OK = 0, FMI2_WARNING = 1, FMI2_DISCARD = 2, FMI2_ERROR = 3, FMI2_FATAL = 4, FMI2_PENDING = 5 };
enum { FMI2_MODEL_EXCHANGE = 0, FMI2_CO_SIMULATION = 1 };
enum { FMI2_STATUS_DO_STEP = 0, FMI2_STATUS_PENDING = 1, FMI2_STATUS_LAST_TIME = 2, FMI2_STATUS_TERMINATED = 3 };

typedef struct Fmi2Callbacks {
  void (*logger)(void* environment, const char* instance, int status, const char* category, const char* message, ...);
  void* (*allocateMemory)(size_t count, size_t bytes);
  void (*freeMemory)(void* memory);
  void (*stepFinished)(void* environment, int status);
  void* environment;
} Fmi2Callbacks;

typedef struct Fmi2EventInfo {
  int newDiscreteStatesNeeded;
  int terminateSimulation;
  int nominalsChanged;
  int valuesChanged;
  int nextEventTimeDefined;
  double nextEventTime;
} Fmi2EventInfo;

typedef void* Fmi2Instantiate(const char* name, int kind, const char* guid, const char* resources,
                              const Fmi2Callbacks* callbacks, int visible, int loggingOn);
typedef void Fmi2FreeInstance(void* instance);
typedef int Fmi2SetDebugLogging(void* instance, int loggingOn, size_t count, const char* const categories[]);
typedef int Fmi2SetupExperiment(void* instance, int toleranceDefined, double tolerance, double start, int stopDefined,
                                double stop);
typedef int Fmi2EnterInitializationMode(void* instance);
typedef int Fmi2ExitInitializationMode(void* instance);
typedef int Fmi2Terminate(void* instance);
typedef int Fmi2Reset(void* instance);

typedef int Fmi2GetReal(void* instance, const unsigned references[], size_t count, double values[]);
typedef int Fmi2GetInteger(void* instance, const unsigned references[], size_t count, int values[]);
typedef int Fmi2GetBoolean(void* instance, const unsigned references[], size_t count, int values[]);
typedef int Fmi2GetString(void* instance, const unsigned references[], size_t count, const char* values[]);
typedef int Fmi2SetReal(void* instance, const unsigned references[], size_t count, const double values[]);
typedef int Fmi2SetInteger(void* instance, const unsigned references[], size_t count, const int values[]);
typedef int Fmi2SetBoolean(void* instance, const unsigned references[], size_t count, const int values[]);
typedef int Fmi2SetString(void* instance, const unsigned references[], size_t count, const char* const values[]);

typedef int Fmi2GetState(void* instance, void** state);
typedef int Fmi2SetState(void* instance, void* state);
typedef int Fmi2FreeState(void* instance, void** state);

typedef int Fmi2DoStep(void* instance, double time, double step, int noSetStatePriorToTime);
typedef int Fmi2GetRealStatus(void* instance, int kind, double* value);
typedef int Fmi2GetBooleanStatus(void* instance, int kind, int* value);

typedef int Fmi2EnterEventMode(void* instance);
typedef int Fmi2NewDiscreteStates(void* instance, Fmi2EventInfo* info);
typedef int Fmi2EnterContinuousTimeMode(void* instance);
typedef int Fmi2CompletedIntegratorStep(void* instance, int noSetStatePriorToTime, int* enterEventMode,
                                        int* terminateSimulation);
typedef int Fmi2SetTime(void* instance, double time);
typedef int Fmi2SetContinuousStates(void* instance, const double values[], size_t count);
typedef int Fmi2GetContinuousStates(void* instance, double values[], size_t count);
typedef int Fmi2GetDerivatives(void* instance, double values[], size_t count);
typedef int Fmi2GetEventIndicators(void* instance, double values[], size_t count);
typedef int Fmi2GetNominals(void* instance, double values[], size_t count);
typedef int Fmi2GetDirectionalDerivative(void* instance, const unsigned unknowns[], size_t unknownCount,
                                         const unsigned knowns[], size_t knownCount, const double seed[],
                                         double sensitivity[]);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using,modernize-deprecated-headers)

#endif
