// A mass on a moving belt, held by a spring: it sticks to the belt until the spring pulls harder than friction can
// hold, slips back, and sticks again. Solved exactly within each mode.
#include <math.h>

#include "examples/fmus/model.h"

enum Mode { MODE_STICK = 1, MODE_SLIP = 2 };

struct Mass {
  double x[2];  // position in m, velocity in m/s
  double der[2];
  double friction;  // force on the mass in N
  double m, k, belt, sticking,
      sliding;  // mass in kg, spring in N/m, belt in m/s, most friction at rest and in motion in N
  int64_t mode;
};

static enum StepEnd update(void* data, double time) {
  struct Mass* mass = data;
  (void)time;
  mass->friction = mass->mode == MODE_STICK ? mass->k * mass->x[0] : mass->sliding;
  mass->der[0] = mass->x[1];
  mass->der[1] = mass->mode == MODE_STICK ? 0.0 : (mass->friction - mass->k * mass->x[0]) / mass->m;
  return STEP_DONE;
}

static void start(void* data) {
  struct Mass* mass = data;
  mass->m = 1.0;
  mass->k = 100.0;
  mass->belt = 0.1;
  mass->sticking = 5.0;
  mass->sliding = 2.0;
  mass->mode = MODE_STICK;
}

// It is put on the belt at rest relative to it.
static void initialize(void* data, double time) {
  struct Mass* mass = data;
  mass->x[1] = mass->belt;
  (void)update(data, time);
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Mass* mass = data;
  double* const doubles[] = {&mass->x[0], &mass->x[1], &mass->der[0], &mass->der[1],   &mass->friction,
                             &mass->m,    &mass->k,    &mass->belt,   &mass->sticking, &mass->sliding};
  *count = 1;
  if (type == VALUE_FLOAT64 && reference >= 1 && reference <= 10) return doubles[reference - 1];
  return type == VALUE_ENUMERATION && reference == 11 ? &mass->mode : NULL;
}

// Seconds until the mode changes.
static double timeToChange(const struct Mass* mass) {
  if (mass->mode == MODE_STICK) return fmax((mass->sticking / mass->k - mass->x[0]) / mass->belt, 0.0);
  // Until it is as fast as the belt again, from behind: x - center = a cos(w t) + b sin(w t).
  const double w = sqrt(mass->k / mass->m);
  const double a = mass->x[0] - mass->sliding / mass->k;
  const double b = mass->x[1] / w;
  const double reach = sqrt(a * a + b * b) * w;
  const double phase = atan2(a, b);  // the velocity is reach * cos(w t + phase)
  const double turn = 2.0 * acos(-1.0);
  double angle = -acos(fmin(mass->belt / reach, 1.0)) - phase;  // the branch on which it grows
  while (angle <= 1e-9) angle += turn;
  return angle / w;
}

static void move(struct Mass* mass, double seconds) {
  if (mass->mode == MODE_STICK) {
    mass->x[0] += mass->belt * seconds;
    return;
  }
  const double w = sqrt(mass->k / mass->m);
  const double center = mass->sliding / mass->k;
  const double a = mass->x[0] - center;
  const double b = mass->x[1] / w;
  mass->x[0] = center + a * cos(w * seconds) + b * sin(w * seconds);
  mass->x[1] = w * (b * cos(w * seconds) - a * sin(w * seconds));
}

static void change(void* data, double time) {
  struct Mass* mass = data;
  if (mass->mode == MODE_STICK && mass->k * mass->x[0] >= mass->sticking * (1.0 - 1e-12)) {
    mass->mode = MODE_SLIP;
  } else if (mass->mode == MODE_SLIP && mass->x[1] >= mass->belt * (1.0 - 1e-12) &&
             mass->k * mass->x[0] < mass->sliding) {
    mass->mode = MODE_STICK;
    mass->x[1] = mass->belt;
  }
  (void)update(data, time);
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Mass* mass = data;
  while (time + timeToChange(mass) <= end) {
    const double rest = timeToChange(mass);
    move(mass, rest);
    time += rest;
    if (mayStop) {
      *reached = time;
      (void)update(data, time);
      return STEP_EVENT;
    }
    change(data, time);
  }
  move(mass, end - time);
  (void)update(data, end);
  return STEP_DONE;
}

static double* stateValues(void* data) { return ((struct Mass*)data)->x; }
static double* derivativeValues(void* data) { return ((struct Mass*)data)->der; }

static void getIndicators(const void* data, double time, double* values) {
  const struct Mass* mass = data;
  (void)time;
  values[0] = mass->mode == MODE_STICK ? mass->sticking - mass->k * mass->x[0] : mass->belt - mass->x[1];
}

const struct Model model = {.bytes = sizeof(struct Mass),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .event = change,
                            .states = 2,
                            .indicators = 1,
                            .stateValues = stateValues,
                            .derivativeValues = derivativeValues,
                            .update = update,
                            .getIndicators = getIndicators};
