// Counts the ticks of clocks of every kind, and reports every other tick of the first by a clock of its own, a text and
// a binary.
#include <stdio.h>
#include <string.h>

#include "examples/fmus/model.h"

// Clocks by value reference: their number of ticks has the reference 10 more.
enum { CONSTANT = 1, FIXED, CHANGING, COUNTDOWN, CLOCKS = 4, REPORT = 5 };

struct Sampled {
  double y;       // the time in s
  double period;  // of the fixed clock in s
  uint8_t ticks[CLOCKS];
  uint8_t report;
  int32_t counts[CLOCKS];
  int32_t known[CLOCKS];  // the count for which the interval was given last, plus 1
  int32_t reports;
  struct Text text;
  struct Binary frame;
};

static void start(void* data) {
  struct Sampled* sampled = data;
  sampled->period = 0.2;
}

static enum StepEnd update(void* data, double time) {
  struct Sampled* sampled = data;
  sampled->y = time;
  return STEP_DONE;
}

static void initialize(void* data, double time) { (void)update(data, time); }

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Sampled* sampled = data;
  *count = 1;
  if (type == VALUE_CLOCK && reference >= 1 && reference <= CLOCKS) return &sampled->ticks[reference - 1];
  if (type == VALUE_CLOCK && reference == REPORT) return &sampled->report;
  if (type == VALUE_INT32 && reference >= 11 && reference <= 10 + CLOCKS) return &sampled->counts[reference - 11];
  if (type == VALUE_FLOAT64 && reference == 20) return &sampled->y;
  if (type == VALUE_FLOAT64 && reference == 21) return &sampled->period;
  if (type == VALUE_TEXT && reference == 30) return &sampled->text;
  if (type == VALUE_BINARY && reference == 31) return &sampled->frame;
  return NULL;
}

static void event(void* data, double time) {
  struct Sampled* sampled = data;
  for (int i = 0; i < CLOCKS; ++i) sampled->counts[i] += sampled->ticks[i];
  if (!sampled->ticks[CONSTANT - 1] || sampled->counts[CONSTANT - 1] % 2 != 0) return;
  sampled->report = 1;
  ++sampled->reports;
  snprintf(sampled->text.characters, sizeof sampled->text.characters, "%d ticks at %.2f s",
           (int)sampled->counts[CONSTANT - 1], time);
  sampled->frame.size = (size_t)(sampled->reports % 4);
  memset(sampled->frame.bytes, sampled->reports, sampled->frame.size);
}

static void endEvent(void* data) {
  struct Sampled* sampled = data;
  memset(sampled->ticks, 0, sizeof sampled->ticks);
  sampled->report = 0;
}

// The changing clock takes 0.1 s more after each tick; the countdown runs for 0.025 s from each report on.
static int interval(void* data, unsigned clock, double* seconds) {
  struct Sampled* sampled = data;
  if (clock < 1 || clock > CLOCKS) return 0;
  const int32_t count = clock == COUNTDOWN  ? sampled->reports
                        : clock == CHANGING ? sampled->counts[CHANGING - 1] + 1
                                            : 1;
  *seconds = clock == FIXED ? sampled->period : clock == CHANGING ? 0.1 * count : clock == COUNTDOWN ? 0.025 : 0.1;
  const int isNew = sampled->known[clock - 1] != count;
  sampled->known[clock - 1] = count;
  return isNew;
}

static double shift(const void* data, unsigned clock) {
  (void)data;
  return clock == FIXED ? 0.1 : 0.0;
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  (void)time;
  (void)mayStop;
  (void)reached;
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
