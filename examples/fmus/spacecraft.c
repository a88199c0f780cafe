// The spacecraft of examples/spacecraft, which turns to one attitude after another, in steps of 10 ms.
#include "examples/spacecraft/simulation.h"

#include <math.h>
#include <string.h>

#include "examples/fmus/model.h"

struct Flight {
  Simulation simulation;
  int64_t mode;
  uint8_t valveOpen[kThrusterCount];
  double wheelSpeed[kWheelCount];
};

static void start(void* data) { ((struct Flight*)data)->simulation = simulationStart(0.01); }

static void output(struct Flight* flight) {
  simulationOutputs(&flight->simulation);
  const Outputs* outputs = &flight->simulation.outputs;
  flight->mode = outputs->mode;
  for (int i = 0; i < kThrusterCount; ++i) flight->valveOpen[i] = outputs->valveOpen[i];
  for (int i = 0; i < kWheelCount; ++i) flight->wheelSpeed[i] = outputs->wheels[i].speed;
}

static void initialize(void* data, double time) {
  (void)time;
  output(data);
}

static void* doubles(struct Flight* flight, unsigned reference, size_t* count) {
  Outputs* outputs = &flight->simulation.outputs;
  struct {
    double* values;
    size_t count;
  } const places[] = {{outputs->position, 3},     {outputs->velocity, 3},       {outputs->quaternion, 4},
                      {outputs->bodyRate, 3},     {&outputs->pointingError, 1}, {flight->wheelSpeed, kWheelCount},
                      {outputs->wheelCommand, 3}, {&outputs->busVoltage, 1}};
  if (reference < 1 || reference > sizeof places / sizeof *places) return NULL;
  *count = places[reference - 1].count;
  return places[reference - 1].values;
}

// An array has a value reference of its own, its elements those from a hundred times that and one on.
static void* element(void* data, enum ValueType type, unsigned reference, size_t* count);

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Flight* flight = data;
  *count = 1;
  if (reference > 100) return element(data, type, reference, count);
  if (type == VALUE_FLOAT64) return doubles(flight, reference, count);
  if (type == VALUE_FLOAT32 && reference == 20) return &flight->simulation.outputs.altitude;
  if (type == VALUE_ENUMERATION && reference == 21) return &flight->mode;
  if (type == VALUE_BOOLEAN && reference == 22) {
    *count = kThrusterCount;
    return flight->valveOpen;
  }
  return NULL;
}

static void* element(void* data, enum ValueType type, unsigned reference, size_t* count) {
  char* first = address(data, type, reference / 100, count);
  const size_t bytes = type == VALUE_BOOLEAN ? sizeof(uint8_t) : sizeof(double);
  const size_t index = reference % 100;
  if (first == NULL || index < 1 || index > *count) return NULL;
  *count = 1;
  return first + (index - 1) * bytes;
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Flight* flight = data;
  Simulation* simulation = &flight->simulation;
  (void)time;
  (void)mayStop;
  (void)reached;
  while (simulationTime(simulation) < end - 0.5 * simulation->step) {
    simulationAdvance(simulation);
    output(flight);
  }
  return STEP_DONE;
}

const struct Model model = {
    .bytes = sizeof(struct Flight), .start = start, .initialize = initialize, .address = address, .step = step};
