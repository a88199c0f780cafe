/// @file
/// The functions of FMI 3.0 that the runner calls and the example FMUs define, as C function types: `Fmi3DoStep` is the
/// type of `fmi3DoStep`. An FMU declares `Fmi3DoStep fmi3DoStep;` and defines it.
#ifndef VTIO_RUNNER_FMI_FMI3_H
#define VTIO_RUNNER_FMI_FMI3_H

// NOLINTBEGIN(modernize-use-using,modernize-deprecated-headers): read by C
#ifndef __cplusplus
#include <stdbool.h>
#endif
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { FMI3_OK = 0, FMI3_WARNING = 1, FMI3_DISCARD = 2, FMI3_ERROR = 3, FMI3_FATAL = 4 };

/// Of the interval of a clock.
enum { FMI3_INTERVAL_NOT_YET_KNOWN = 0, FMI3_INTERVAL_UNCHANGED = 1, FMI3_INTERVAL_CHANGED = 2 };

typedef void Fmi3LogMessage(void* environment, int status, const char* category, const char* message);
typedef void Fmi3IntermediateUpdate(void* environment, double time, bool setRequested, bool getAllowed,
                                    bool stepFinished, bool canReturnEarly, bool* earlyReturnRequested,
                                    double* earlyReturnTime);

typedef void* Fmi3InstantiateCoSimulation(const char* name, const char* token, const char* resources, bool visible,
                                          bool loggingOn, bool eventModeUsed, bool earlyReturnAllowed,
                                          const uint32_t intermediateVariables[], size_t intermediateCount,
                                          void* environment, Fmi3LogMessage* log,
                                          Fmi3IntermediateUpdate* intermediateUpdate);
typedef void* Fmi3InstantiateModelExchange(const char* name, const char* token, const char* resources, bool visible,
                                           bool loggingOn, void* environment, Fmi3LogMessage* log);
typedef void Fmi3FreeInstance(void* instance);
typedef int Fmi3SetDebugLogging(void* instance, bool loggingOn, size_t count, const char* const categories[]);
typedef int Fmi3EnterInitializationMode(void* instance, bool toleranceDefined, double tolerance, double start,
                                        bool stopDefined, double stop);
typedef int Fmi3ExitInitializationMode(void* instance);
typedef int Fmi3EnterConfigurationMode(void* instance);
typedef int Fmi3ExitConfigurationMode(void* instance);
typedef int Fmi3EnterEventMode(void* instance);
typedef int Fmi3EnterStepMode(void* instance);
typedef int Fmi3Terminate(void* instance);
typedef int Fmi3Reset(void* instance);

typedef int Fmi3GetFloat64(void*, const uint32_t references[], size_t count, double values[], size_t valueCount);
typedef int Fmi3GetFloat32(void*, const uint32_t references[], size_t count, float values[], size_t valueCount);
typedef int Fmi3GetInt8(void*, const uint32_t references[], size_t count, int8_t values[], size_t valueCount);
typedef int Fmi3GetUInt8(void*, const uint32_t references[], size_t count, uint8_t values[], size_t valueCount);
typedef int Fmi3GetInt16(void*, const uint32_t references[], size_t count, int16_t values[], size_t valueCount);
typedef int Fmi3GetUInt16(void*, const uint32_t references[], size_t count, uint16_t values[], size_t valueCount);
typedef int Fmi3GetInt32(void*, const uint32_t references[], size_t count, int32_t values[], size_t valueCount);
typedef int Fmi3GetUInt32(void*, const uint32_t references[], size_t count, uint32_t values[], size_t valueCount);
typedef int Fmi3GetInt64(void*, const uint32_t references[], size_t count, int64_t values[], size_t valueCount);
typedef int Fmi3GetUInt64(void*, const uint32_t references[], size_t count, uint64_t values[], size_t valueCount);
typedef int Fmi3GetBoolean(void*, const uint32_t references[], size_t count, bool values[], size_t valueCount);
typedef int Fmi3GetString(void*, const uint32_t references[], size_t count, const char* values[], size_t valueCount);
typedef int Fmi3GetBinary(void*, const uint32_t references[], size_t count, size_t sizes[], const uint8_t* values[],
                          size_t valueCount);
typedef int Fmi3GetClock(void*, const uint32_t references[], size_t count, bool values[]);

typedef int Fmi3SetFloat64(void*, const uint32_t references[], size_t count, const double values[], size_t valueCount);
typedef int Fmi3SetFloat32(void*, const uint32_t references[], size_t count, const float values[], size_t valueCount);
typedef int Fmi3SetInt8(void*, const uint32_t references[], size_t count, const int8_t values[], size_t valueCount);
typedef int Fmi3SetUInt8(void*, const uint32_t references[], size_t count, const uint8_t values[], size_t valueCount);
typedef int Fmi3SetInt16(void*, const uint32_t references[], size_t count, const int16_t values[], size_t valueCount);
typedef int Fmi3SetUInt16(void*, const uint32_t references[], size_t count, const uint16_t values[], size_t valueCount);
typedef int Fmi3SetInt32(void*, const uint32_t references[], size_t count, const int32_t values[], size_t valueCount);
typedef int Fmi3SetUInt32(void*, const uint32_t references[], size_t count, const uint32_t values[], size_t valueCount);
typedef int Fmi3SetInt64(void*, const uint32_t references[], size_t count, const int64_t values[], size_t valueCount);
typedef int Fmi3SetUInt64(void*, const uint32_t references[], size_t count, const uint64_t values[], size_t valueCount);
typedef int Fmi3SetBoolean(void*, const uint32_t references[], size_t count, const bool values[], size_t valueCount);
typedef int Fmi3SetString(void*, const uint32_t references[], size_t count, const char* const values[],
                          size_t valueCount);
typedef int Fmi3SetBinary(void*, const uint32_t references[], size_t count, const size_t sizes[],
                          const uint8_t* const values[], size_t valueCount);

typedef int Fmi3SetClock(void*, const uint32_t references[], size_t count, const bool values[]);
typedef int Fmi3GetIntervalDecimal(void*, const uint32_t references[], size_t count, double intervals[],
                                   int qualifiers[]);
typedef int Fmi3GetIntervalFraction(void*, const uint32_t references[], size_t count, uint64_t counters[],
                                    uint64_t resolutions[], int qualifiers[]);
typedef int Fmi3GetShiftDecimal(void*, const uint32_t references[], size_t count, double shifts[]);
typedef int Fmi3GetShiftFraction(void*, const uint32_t references[], size_t count, uint64_t counters[],
                                 uint64_t resolutions[]);

typedef int Fmi3GetState(void* instance, void** state);
typedef int Fmi3SetState(void* instance, void* state);
typedef int Fmi3FreeState(void* instance, void** state);

typedef int Fmi3UpdateDiscreteStates(void* instance, bool* needUpdate, bool* terminateSimulation, bool* nominalsChanged,
                                     bool* valuesChanged, bool* nextEventTimeDefined, double* nextEventTime);
typedef int Fmi3DoStep(void* instance, double time, double step, bool noSetStatePriorToTime, bool* eventNeeded,
                       bool* terminateSimulation, bool* earlyReturn, double* lastTime);

typedef int Fmi3EnterContinuousTimeMode(void* instance);
typedef int Fmi3CompletedIntegratorStep(void* instance, bool noSetStatePriorToTime, bool* enterEventMode,
                                        bool* terminateSimulation);
typedef int Fmi3SetTime(void* instance, double time);
typedef int Fmi3SetContinuousStates(void* instance, const double values[], size_t count);
typedef int Fmi3GetContinuousStates(void* instance, double values[], size_t count);
typedef int Fmi3GetDerivatives(void* instance, double values[], size_t count);
typedef int Fmi3GetEventIndicators(void* instance, double values[], size_t count);
typedef int Fmi3GetNominals(void* instance, double values[], size_t count);
typedef int Fmi3GetNumberOfContinuousStates(void* instance, size_t* count);
typedef int Fmi3GetNumberOfEventIndicators(void* instance, size_t* count);
typedef int Fmi3GetDirectionalDerivative(void* instance, const uint32_t unknowns[], size_t unknownCount,
                                         const uint32_t knowns[], size_t knownCount, const double seed[],
                                         size_t seedCount, double sensitivity[], size_t sensitivityCount);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using,modernize-deprecated-headers)

#endif
