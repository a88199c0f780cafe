// Counts the ticks of clocks of every kind, and reports every other tick of the first by a clock of its own, a text and
// a binary. Where nobody can make its clocks tick, it does so itself.
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "examples/fmus/model.h"

// Clocks by value reference: their number of ticks has the reference 10 more. Those up to TIMED have an interval.
enum { CONSTANT = 1, FIXED, CHANGING, COUNTDOWN, PACED, TIMED = PACED, REPORT, PULSE, CLOCKS = PULSE };

struct Sampled {
  double y;       // the time in s
  double period;  // of the fixed clock in s
  double pace;    // of the paced clock in s
  uint8_t ticks[CLOCKS];
  int32_t counts[CLOCKS];
  struct Interval {
    int32_t count;  // for which it was given last
    double seconds;
  } told[TIMED];
  double next[TIMED];  // tick of each clock, in s, where they tick by themselves
  int32_t amount;      // added to the sum at each pulse
  int32_t sum;
  struct Text text;
  struct Binary frame;
};

static double shift(const void* data, unsigned clock) {
  (void)data;
  return clock == FIXED ? 0.1 : 0.0;
}

static void start(void* data) {
  struct Sampled* sampled = data;
  sampled->period = 0.2;
  sampled->pace = 0.25;
  sampled->amount = 1;
  for (int i = 0; i < TIMED; ++i) sampled->told[i].count = -1;
}

static enum StepEnd update(void* data, double time) {
  struct Sampled* sampled = data;
  sampled->y = time;
  return STEP_DONE;
}

static void initialize(void* data, double time) {
  struct Sampled* sampled = data;
  (void)update(data, time);
  for (unsigned i = 0; i < TIMED; ++i) sampled->next[i] = time + shift(data, i + 1);
  sampled->next[CONSTANT - 1] = time + 0.05;
  sampled->next[COUNTDOWN - 1] = INFINITY;
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Sampled* sampled = data;
  *count = 1;
  if (type == VALUE_CLOCK && reference >= 1 && reference <= CLOCKS) return &sampled->ticks[reference - 1];
  if (type == VALUE_INT32 && reference >= 11 && reference <= 10 + CLOCKS) return &sampled->counts[reference - 11];
  if (type == VALUE_INT32 && reference == 40) return &sampled->amount;
  if (type == VALUE_INT32 && reference == 41) return &sampled->sum;
  if (type == VALUE_FLOAT64 && reference == 20) return &sampled->y;
  if (type == VALUE_FLOAT64 && reference == 21) return &sampled->period;
  if (type == VALUE_FLOAT64 && reference == 22) return &sampled->pace;
  if (type == VALUE_TEXT && reference == 30) return &sampled->text;
  if (type == VALUE_BINARY && reference == 31) return &sampled->frame;
  return NULL;
}

static void event(void* data, double time) {
  struct Sampled* sampled = data;
  const int32_t reported = sampled->counts[CONSTANT - 1];
  sampled->ticks[REPORT - 1] = sampled->ticks[CONSTANT - 1] && (reported + 1) % 2 == 0;
  for (int i = 0; i < CLOCKS; ++i) sampled->counts[i] += sampled->ticks[i];
  if (sampled->ticks[PULSE - 1]) sampled->sum += sampled->amount;
  if (!sampled->ticks[REPORT - 1]) return;
  const int32_t reports = sampled->counts[REPORT - 1];
  snprintf(sampled->text.characters, sizeof sampled->text.characters, "%d ticks at %.2f s", (int)reported + 1, time);
  sampled->frame.size = (size_t)(reports % 4);
  memset(sampled->frame.bytes, reports, sampled->frame.size);
}

static void endEvent(void* data) {
  struct Sampled* sampled = data;
  memset(sampled->ticks, 0, sizeof sampled->ticks);
}

// The changing clock takes 0.1 s more after each tick; the countdown runs for 0.025 s from each report on.
static int interval(void* data, unsigned clock, double* seconds) {
  struct Sampled* sampled = data;
  if (clock < 1 || clock > TIMED) return 0;
  const double all[TIMED] = {0.1, sampled->period, 0.1 * (sampled->counts[CHANGING - 1] + 1), 0.025, sampled->pace};
  const int32_t count = clock == COUNTDOWN ? sampled->counts[REPORT - 1] : 0;
  struct Interval* told = &sampled->told[clock - 1];
  *seconds = all[clock - 1];
  // Before the first report there is no countdown.
  const int isNew =
      clock == COUNTDOWN ? told->count != count && count > 0 : told->count != 0 || told->seconds != *seconds;
  told->count = count;
  told->seconds = *seconds;
  return isNew;
}

// The first tick of its own that is not after a time in s; infinite if there is none.
static double nextTick(const struct Sampled* sampled, double end) {
  double next = INFINITY;
  for (int i = 0; i < TIMED; ++i) next = fmin(next, sampled->next[i]);
  return next <= end + 1e-9 ? next : INFINITY;
}

static void tickBySelf(struct Sampled* sampled, double time) {
  for (int i = 0; i < TIMED; ++i) sampled->ticks[i] = sampled->next[i] <= time + 1e-9;
  event(sampled, time);
  for (unsigned i = 0; i < TIMED; ++i) {
    double seconds = 0.0;
    const int isNew = interval(sampled, i + 1, &seconds);
    if (sampled->ticks[i]) sampled->next[i] += i + 1 == COUNTDOWN ? INFINITY : seconds;
    if (i + 1 == COUNTDOWN && isNew) sampled->next[i] = time + seconds;
  }
  endEvent(sampled);
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Sampled* sampled = data;
  (void)time;
  (void)reached;
  while (!mayStop && isfinite(nextTick(sampled, end))) tickBySelf(sampled, nextTick(sampled, end));
  return update(data, end);
}

const struct Model model = {.bytes = sizeof(struct Sampled),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .event = event,
                            .endEvent = endEvent,
                            .interval = interval,
                            .shift = shift,
                            .update = update};
