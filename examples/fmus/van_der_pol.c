// The van der Pol oscillator: x'' = mu (1 - x^2) x' - x, by Runge and Kutta's method in small steps.
#include <math.h>

#include "examples/fmus/model.h"

struct Oscillator {
  double x[2];  // position and velocity
  double der[2];
  double mu;
};

static void derivatives(const struct Oscillator* oscillator, const double* x, double* der) {
  der[0] = x[1];
  der[1] = oscillator->mu * (1.0 - x[0] * x[0]) * x[1] - x[0];
}

static void start(void* data) {
  struct Oscillator* oscillator = data;
  oscillator->x[0] = 2.0;
  oscillator->mu = 1.0;
}

static enum StepEnd update(void* data, double time) {
  struct Oscillator* oscillator = data;
  (void)time;
  derivatives(oscillator, oscillator->x, oscillator->der);
  return STEP_DONE;
}

static void initialize(void* data, double time) { (void)update(data, time); }

static double* stateValues(void* data) { return ((struct Oscillator*)data)->x; }
static double* derivativeValues(void* data) { return ((struct Oscillator*)data)->der; }

static void jacobianColumn(const void* data, size_t state, double* column) {
  const struct Oscillator* oscillator = data;
  const double* x = oscillator->x;
  column[0] = state == 0 ? 0.0 : 1.0;
  column[1] = state == 0 ? -2.0 * oscillator->mu * x[0] * x[1] - 1.0 : oscillator->mu * (1.0 - x[0] * x[0]);
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Oscillator* oscillator = data;
  *count = 1;
  if (type != VALUE_FLOAT64) return NULL;
  switch (reference) {
    case 1:
    case 2:
      return &oscillator->x[reference - 1];
    case 3:
    case 4:
      return &oscillator->der[reference - 3];
    case 5:
      return &oscillator->mu;
    default:
      return NULL;
  }
}

static void add(const double* x, double factor, const double* der, double* sum) {
  for (int i = 0; i < 2; ++i) sum[i] = x[i] + factor * der[i];
}

static void advance(struct Oscillator* oscillator, double h) {
  double k1[2], k2[2], k3[2], k4[2], x[2];
  derivatives(oscillator, oscillator->x, k1);
  add(oscillator->x, 0.5 * h, k1, x);
  derivatives(oscillator, x, k2);
  add(oscillator->x, 0.5 * h, k2, x);
  derivatives(oscillator, x, k3);
  add(oscillator->x, h, k3, x);
  derivatives(oscillator, x, k4);
  for (int i = 0; i < 2; ++i) oscillator->x[i] += h / 6.0 * (k1[i] + 2.0 * k2[i] + 2.0 * k3[i] + k4[i]);
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Oscillator* oscillator = data;
  const int parts = (int)ceil((end - time) / 1e-3 - 1e-9);
  (void)mayStop;
  (void)reached;
  for (int i = 0; i < parts; ++i) advance(oscillator, (end - time) / parts);
  derivatives(oscillator, oscillator->x, oscillator->der);
  return STEP_DONE;
}

const struct Model model = {.bytes = sizeof(struct Oscillator),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .states = 2,
                            .stateValues = stateValues,
                            .derivativeValues = derivativeValues,
                            .update = update,
                            .jacobianColumn = jacobianColumn};
