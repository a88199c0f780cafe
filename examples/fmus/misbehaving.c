// A clock that misbehaves on request from a given time on.
#include <math.h>
#include <signal.h>
#include <stdlib.h>

#include "examples/fmus/model.h"

enum Way {
  WAY_NONE,
  WAY_ERROR,
  WAY_FATAL,
  WAY_DISCARD,
  WAY_NAN,
  WAY_CRASH,
  WAY_ENDLESS,
  WAY_TERMINATE,
  WAY_STANDSTILL,
  WAY_SMALL_STEPS,
  WAY_EXIT,
  WAY_CHATTER,
  WAY_STEP_EVENTS
};

struct Clock {
  double y;      // the time in s
  double der;    // of y
  double when;   // to misbehave
  double begin;  // of the step of the solver
  double part;   // of a step, after which the time may be read, in s
  int64_t way;
};

static void start(void* data) {
  struct Clock* clock = data;
  clock->when = 0.5;
}

static void initialize(void* data, double time) {
  struct Clock* clock = data;
  clock->y = time;
  clock->begin = time;
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Clock* clock = data;
  *count = 1;
  if (type == VALUE_FLOAT64 && reference == 1) return &clock->y;
  if (type == VALUE_FLOAT64 && reference == 2) return &clock->when;
  if (type == VALUE_FLOAT64 && reference == 4) return &clock->der;
  if (type == VALUE_FLOAT64 && reference == 5) return &clock->part;
  if (type == VALUE_ENUMERATION && reference == 3) return &clock->way;
  return NULL;
}

static enum StepEnd misbehave(struct Clock* clock, double time, double end, double* reached) {
  switch (clock->way) {
    case WAY_ERROR:
      return STEP_ERROR;
    case WAY_FATAL:
      return STEP_FATAL;
    case WAY_DISCARD:
      return STEP_DISCARD;
    case WAY_NAN:
      clock->y = NAN;
      return STEP_DONE;
    case WAY_CRASH:
      raise(SIGSEGV);
      return STEP_DONE;
    case WAY_ENDLESS:
      for (volatile int i = 0;; i = 1 - i) {
      }
    case WAY_TERMINATE:
      *reached = time;
      return STEP_TERMINATE;
    case WAY_STANDSTILL:
      *reached = time;
      return STEP_DONE;
    case WAY_SMALL_STEPS:  // the time is wrong now, unless the state is set back
      return end - time > 0.03 ? STEP_DISCARD : STEP_DONE;
    case WAY_EXIT:
      _Exit(3);
    default:
      return STEP_DONE;
  }
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Clock* clock = data;
  const double before = clock->y;
  (void)mayStop;
  for (int i = 1; clock->part > 0.0 && time + i * clock->part < end; ++i) {
    clock->y = before + i * clock->part;
    fmu_intermediate(time + i * clock->part);
  }
  clock->y = before + (end - time);
  return end > clock->when ? misbehave(clock, time, end, reached) : STEP_DONE;
}

static enum StepEnd update(void* data, double time) {
  struct Clock* clock = data;
  double reached = time;
  clock->der = 1.0;
  if (time <= clock->when) return STEP_DONE;
  if (clock->way == WAY_NAN) clock->der = NAN;
  if (clock->way == WAY_NAN || clock->way == WAY_TERMINATE) return STEP_DONE;
  return misbehave(clock, clock->begin, time, &reached);
}

static double* stateValues(void* data) { return &((struct Clock*)data)->y; }
static double* derivativeValues(void* data) { return &((struct Clock*)data)->der; }

// Events that come again and again at the same time, or are 1e-5 s apart.
static double nextTime(const void* data, double time) {
  const struct Clock* clock = data;
  if (clock->way == WAY_STANDSTILL) return fmax(time, clock->when);
  if (clock->way == WAY_CHATTER) return fmax(time + 1e-5, clock->when);
  return INFINITY;
}

static void event(void* data, double time) {
  (void)data;
  (void)time;
}

static enum StepEnd completeStep(void* data, double time) {
  struct Clock* clock = data;
  clock->begin = time;
  if (time <= clock->when) return STEP_DONE;
  if (clock->way == WAY_TERMINATE) return STEP_TERMINATE;
  return clock->way == WAY_STEP_EVENTS ? STEP_EVENT : STEP_DONE;
}

const struct Model model = {.bytes = sizeof(struct Clock),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .event = event,
                            .states = 1,
                            .stateValues = stateValues,
                            .derivativeValues = derivativeValues,
                            .update = update,
                            .nextTime = nextTime,
                            .completeStep = completeStep};
