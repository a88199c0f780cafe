// A ball that falls and bounces, solved exactly between its bounces. It comes to rest when it hardly rises any more.
#include <math.h>

#include "examples/fmus/model.h"

struct Ball {
  double h, v;        // height in m, velocity in m/s
  double der[2];      // of these two
  double g, e, vmin;  // gravity in m/s2, coefficient of restitution, velocity in m/s below which the ball stays down
  int32_t bounces;
  uint8_t resting;
};

static void start(void* data) {
  struct Ball* ball = data;
  ball->h = 1.0;
  ball->g = -9.81;
  ball->e = 0.7;
  ball->vmin = 0.1;
}

static enum StepEnd update(void* data, double time) {
  struct Ball* ball = data;
  (void)time;
  ball->der[0] = ball->v;
  ball->der[1] = ball->resting ? 0.0 : ball->g;
  return STEP_DONE;
}

static void initialize(void* data, double time) { (void)update(data, time); }

static double* stateValues(void* data) { return &((struct Ball*)data)->h; }
static double* derivativeValues(void* data) { return ((struct Ball*)data)->der; }

static void getIndicators(const void* data, double time, double* values) {
  const struct Ball* ball = data;
  (void)time;
  values[0] = ball->resting ? 1.0 : ball->h;
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Ball* ball = data;
  *count = 1;
  if (type == VALUE_FLOAT64) {
    switch (reference) {
      case 1:
        return &ball->h;
      case 2:
        return &ball->v;
      case 3:
        return &ball->g;
      case 4:
        return &ball->e;
      case 5:
        return &ball->vmin;
      case 8:
      case 9:
        return &ball->der[reference - 8];
      default:
        return NULL;
    }
  }
  if (type == VALUE_INT32 && reference == 6) return &ball->bounces;
  if (type == VALUE_BOOLEAN && reference == 7) return &ball->resting;
  return NULL;
}

// Seconds until the ball touches the ground.
static double timeToGround(const struct Ball* ball) {
  return (-ball->v - sqrt(ball->v * ball->v - 2.0 * ball->g * ball->h)) / ball->g;
}

static void fall(struct Ball* ball, double seconds) {
  ball->h += (ball->v + 0.5 * ball->g * seconds) * seconds;
  ball->v += ball->g * seconds;
}

static void bounce(void* data, double time) {
  struct Ball* ball = data;
  (void)time;
  if (ball->h > 0.0 || ball->v >= 0.0) return;
  ball->h = 0.0;
  ball->v *= -ball->e;
  ++ball->bounces;
  if (ball->v < ball->vmin) {
    ball->v = 0.0;
    ball->resting = 1;
  }
}

static enum StepEnd advance(struct Ball* ball, double time, double end, int mayStop, double* reached) {
  while (!ball->resting) {
    const double ground = timeToGround(ball);
    if (time + ground > end) {
      fall(ball, end - time);
      return STEP_DONE;
    }
    fall(ball, ground);
    ball->h = 0.0;
    time += ground;
    if (mayStop) {
      *reached = time;
      return STEP_EVENT;
    }
    bounce(ball, time);
  }
  return STEP_DONE;
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  const enum StepEnd how = advance(data, time, end, mayStop, reached);
  (void)update(data, end);
  return how;
}

const struct Model model = {.bytes = sizeof(struct Ball),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .event = bounce,
                            .states = 2,
                            .indicators = 1,
                            .stateValues = stateValues,
                            .derivativeValues = derivativeValues,
                            .update = update,
                            .getIndicators = getIndicators};
