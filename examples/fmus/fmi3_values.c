// The functions of FMI 3 that get and set values of a model.
#include <string.h>

#include "examples/fmus/model.h"
#include "runner/fmi/fmi3.h"

#define FMU_FUNCTION __attribute__((visibility("default")))

// The instance begins with fields of its own; the data's place is asked for there, to be written or to be read.
void* fmu_data(void* instance);
void* fmu_values(void* instance);

// Clocks tick: there is an event to be handled.
void fmu_ticks(void* instance);

// Discrete variables may be set before the model runs and in events; without an event mode whenever it stands still.
bool fmu_may_jump(const void* instance);

// Copies the values of each variable, one after the other.
static int copy(void* instance, enum ValueType type, size_t bytes, const uint32_t references[], size_t count,
                void* values, size_t valueCount, bool toModel) {
  const bool isContinuous = type == VALUE_FLOAT64 || type == VALUE_FLOAT32;
  if (toModel && !isContinuous && !fmu_may_jump(instance)) return FMI3_ERROR;
  unsigned char* at = values;
  size_t left = valueCount;
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    void* data = toModel ? fmu_data(instance) : fmu_values(instance);
    void* place = model.address(data, type, references[i], &elements);
    if (place == NULL || elements > left) return FMI3_ERROR;
    if (toModel) {
      memcpy(place, at, elements * bytes);
    } else {
      memcpy(at, place, elements * bytes);
    }
    at += elements * bytes;
    left -= elements;
  }
  return left == 0 ? FMI3_OK : FMI3_ERROR;
}

#define NUMERIC(NAME, TYPE, VALUE)                                                                                 \
  FMU_FUNCTION Fmi3Get##NAME fmi3Get##NAME;                                                                        \
  FMU_FUNCTION Fmi3Set##NAME fmi3Set##NAME;                                                                        \
  int fmi3Get##NAME(void* instance, const uint32_t references[], size_t count, TYPE values[], size_t size) {       \
    return copy(instance, VALUE, sizeof(TYPE), references, count, values, size, false);                            \
  }                                                                                                                \
  int fmi3Set##NAME(void* instance, const uint32_t references[], size_t count, const TYPE values[], size_t size) { \
    return copy(instance, VALUE, sizeof(TYPE), references, count, (void*)values, size, true);                      \
  }

NUMERIC(Float64, double, VALUE_FLOAT64)
NUMERIC(Float32, float, VALUE_FLOAT32)
NUMERIC(Int8, int8_t, VALUE_INT8)
NUMERIC(UInt8, uint8_t, VALUE_UINT8)
NUMERIC(Int16, int16_t, VALUE_INT16)
NUMERIC(UInt16, uint16_t, VALUE_UINT16)
NUMERIC(Int32, int32_t, VALUE_INT32)
NUMERIC(UInt32, uint32_t, VALUE_UINT32)
NUMERIC(UInt64, uint64_t, VALUE_UINT64)
NUMERIC(Boolean, bool, VALUE_BOOLEAN)

FMU_FUNCTION Fmi3GetInt64 fmi3GetInt64;
FMU_FUNCTION Fmi3SetInt64 fmi3SetInt64;
FMU_FUNCTION Fmi3GetString fmi3GetString;
FMU_FUNCTION Fmi3SetString fmi3SetString;
FMU_FUNCTION Fmi3GetBinary fmi3GetBinary;
FMU_FUNCTION Fmi3SetBinary fmi3SetBinary;
FMU_FUNCTION Fmi3GetClock fmi3GetClock;
FMU_FUNCTION Fmi3SetClock fmi3SetClock;
FMU_FUNCTION Fmi3GetIntervalDecimal fmi3GetIntervalDecimal;
FMU_FUNCTION Fmi3GetIntervalFraction fmi3GetIntervalFraction;
FMU_FUNCTION Fmi3GetShiftDecimal fmi3GetShiftDecimal;
FMU_FUNCTION Fmi3GetShiftFraction fmi3GetShiftFraction;

// Enumerations are Int64 values, too.
static int copyInt64(void* instance, const uint32_t references[], size_t count, int64_t values[], size_t size,
                     bool toModel) {
  size_t elements = 0;
  size_t at = 0;
  for (size_t i = 0; i < count; ++i) {
    const bool isEnumeration = model.address(fmu_data(instance), VALUE_ENUMERATION, references[i], &elements) != NULL;
    const enum ValueType type = isEnumeration ? VALUE_ENUMERATION : VALUE_INT64;
    if (model.address(fmu_data(instance), type, references[i], &elements) == NULL || elements > size - at) {
      return FMI3_ERROR;
    }
    const int status = copy(instance, type, sizeof(int64_t), &references[i], 1, values + at, elements, toModel);
    if (status != FMI3_OK) return status;
    at += elements;
  }
  return at == size ? FMI3_OK : FMI3_ERROR;
}

int fmi3GetInt64(void* instance, const uint32_t references[], size_t count, int64_t values[], size_t size) {
  return copyInt64(instance, references, count, values, size, false);
}

int fmi3SetInt64(void* instance, const uint32_t references[], size_t count, const int64_t values[], size_t size) {
  return copyInt64(instance, references, count, (int64_t*)values, size, true);
}

int fmi3GetString(void* instance, const uint32_t references[], size_t count, const char* values[], size_t size) {
  size_t at = 0;
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    const struct Text* texts = model.address(fmu_values(instance), VALUE_TEXT, references[i], &elements);
    if (texts == NULL || elements > size - at) return FMI3_ERROR;
    for (size_t k = 0; k < elements; ++k) values[at++] = texts[k].characters;
  }
  return at == size ? FMI3_OK : FMI3_ERROR;
}

int fmi3SetString(void* instance, const uint32_t references[], size_t count, const char* const values[], size_t size) {
  size_t at = 0;
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    struct Text* texts = model.address(fmu_data(instance), VALUE_TEXT, references[i], &elements);
    if (texts == NULL || elements > size - at) return FMI3_ERROR;
    for (size_t k = 0; k < elements; ++k) {
      memset(&texts[k], 0, sizeof texts[k]);
      strncpy(texts[k].characters, values[at++], sizeof texts[k].characters - 1);
    }
  }
  return at == size ? FMI3_OK : FMI3_ERROR;
}

int fmi3GetBinary(void* instance, const uint32_t references[], size_t count, size_t sizes[], const uint8_t* values[],
                  size_t size) {
  size_t at = 0;
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    const struct Binary* binaries = model.address(fmu_values(instance), VALUE_BINARY, references[i], &elements);
    if (binaries == NULL || elements > size - at) return FMI3_ERROR;
    for (size_t k = 0; k < elements; ++k, ++at) {
      sizes[at] = binaries[k].size;
      values[at] = binaries[k].bytes;
    }
  }
  return at == size ? FMI3_OK : FMI3_ERROR;
}

int fmi3SetBinary(void* instance, const uint32_t references[], size_t count, const size_t sizes[],
                  const uint8_t* const values[], size_t size) {
  size_t at = 0;
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    struct Binary* binaries = model.address(fmu_data(instance), VALUE_BINARY, references[i], &elements);
    if (binaries == NULL || elements > size - at) return FMI3_ERROR;
    for (size_t k = 0; k < elements; ++k, ++at) {
      if (sizes[at] > sizeof binaries[k].bytes) return FMI3_ERROR;
      binaries[k].size = sizes[at];
      memcpy(binaries[k].bytes, values[at], sizes[at]);
    }
  }
  return at == size ? FMI3_OK : FMI3_ERROR;
}

int fmi3GetClock(void* instance, const uint32_t references[], size_t count, bool values[]) {
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    const uint8_t* clock = model.address(fmu_values(instance), VALUE_CLOCK, references[i], &elements);
    if (clock == NULL) return FMI3_ERROR;
    values[i] = *clock != 0;
  }
  return FMI3_OK;
}

int fmi3SetClock(void* instance, const uint32_t references[], size_t count, const bool values[]) {
  for (size_t i = 0; i < count; ++i) {
    size_t elements = 0;
    uint8_t* clock = model.address(fmu_data(instance), VALUE_CLOCK, references[i], &elements);
    if (clock == NULL || model.endEvent == NULL) return FMI3_ERROR;
    *clock = values[i];
  }
  fmu_ticks(instance);
  return FMI3_OK;
}

static int askInterval(void* instance, uint32_t clock, double* interval, int* qualifier) {
  if (model.interval == NULL) return FMI3_ERROR;
  *qualifier = model.interval(fmu_values(instance), clock, interval) ? FMI3_INTERVAL_CHANGED : FMI3_INTERVAL_UNCHANGED;
  return FMI3_OK;
}

int fmi3GetIntervalDecimal(void* instance, const uint32_t references[], size_t count, double intervals[],
                           int qualifiers[]) {
  int status = FMI3_OK;
  for (size_t i = 0; i < count && status == FMI3_OK; ++i) {
    status = askInterval(instance, references[i], &intervals[i], &qualifiers[i]);
  }
  return status;
}

// Fractions are of milliseconds.
int fmi3GetIntervalFraction(void* instance, const uint32_t references[], size_t count, uint64_t counters[],
                            uint64_t resolutions[], int qualifiers[]) {
  int status = FMI3_OK;
  for (size_t i = 0; i < count && status == FMI3_OK; ++i) {
    double interval = 0.0;
    status = askInterval(instance, references[i], &interval, &qualifiers[i]);
    counters[i] = (uint64_t)(1000.0 * interval + 0.5);
    resolutions[i] = 1000;
  }
  return status;
}

int fmi3GetShiftDecimal(void* instance, const uint32_t references[], size_t count, double shifts[]) {
  if (model.shift == NULL) return FMI3_ERROR;
  for (size_t i = 0; i < count; ++i) shifts[i] = model.shift(fmu_values(instance), references[i]);
  return FMI3_OK;
}

int fmi3GetShiftFraction(void* instance, const uint32_t references[], size_t count, uint64_t counters[],
                         uint64_t resolutions[]) {
  if (model.shift == NULL) return FMI3_ERROR;
  for (size_t i = 0; i < count; ++i) {
    counters[i] = (uint64_t)(1000.0 * model.shift(fmu_values(instance), references[i]) + 0.5);
    resolutions[i] = 1000;
  }
  return FMI3_OK;
}
