// A model without physics: variables of every type, buses, arrays, a clock that ticks every half second.
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "examples/fmus/model.h"

enum { MOST_COLUMNS = 8 };

struct Wheel {
  double speed;
  int32_t teeth;
};

struct Kinds {
  double load;
  float gain;
  struct Wheel wheels[2];
  int8_t i8;
  uint8_t u8;
  int16_t i16;
  uint16_t u16;
  int32_t i32;
  uint32_t u32;
  int64_t i64;
  uint64_t u64;
  uint8_t flag;
  int64_t mode;
  struct Text label;
  struct Text names[2];
  struct Binary frame;
  uint8_t tick;
  int32_t ticks;
  uint64_t columns;
  double matrix[2 * MOST_COLUMNS];
  double u;
  int32_t gear;
  double y;
  struct Text word;
  struct Binary packet;
};

static enum StepEnd update(void* data, double time) {
  struct Kinds* kinds = data;
  kinds->load = time;
  kinds->gain = (float)(2.0 * time);
  for (int i = 0; i < 2; ++i) {
    kinds->wheels[i].speed = 10.0 * (i + 1) + time;
    kinds->wheels[i].teeth = 20 + i;
  }
  kinds->i8 = (int8_t)-kinds->ticks;
  kinds->u8 = (uint8_t)kinds->ticks;
  kinds->i16 = -300;
  kinds->u16 = 60000;
  kinds->i32 = -70000;
  kinds->u32 = 4000000000U;
  kinds->i64 = -5000000000;
  kinds->u64 = 10000000000000000000U;
  kinds->flag = kinds->ticks % 2 == 1;
  kinds->mode = kinds->ticks % 3 + 1;
  for (uint64_t i = 0; i < 2 * kinds->columns; ++i) kinds->matrix[i] = (double)i + time;
  kinds->y = kinds->u + kinds->gear;
  return STEP_DONE;
}

static void tellTicks(struct Kinds* kinds) {
  snprintf(kinds->label.characters, sizeof kinds->label.characters, "tick %d", (int)kinds->ticks);
  kinds->frame.size = (size_t)(kinds->ticks % 4);
  memset(kinds->frame.bytes, kinds->ticks, kinds->frame.size);
}

static void start(void* data) {
  struct Kinds* kinds = data;
  kinds->columns = 3;
  strcpy(kinds->names[0].characters, "left");
  strcpy(kinds->names[1].characters, "right");
  strcpy(kinds->word.characters, "word");
  kinds->packet.size = 1;
  kinds->packet.bytes[0] = 7;
}

static void initialize(void* data, double time) {
  tellTicks(data);
  (void)update(data, time);
}

static void* integers(struct Kinds* kinds, enum ValueType type) {
  switch (type) {
    case VALUE_INT8:
      return &kinds->i8;
    case VALUE_UINT8:
      return &kinds->u8;
    case VALUE_INT16:
      return &kinds->i16;
    case VALUE_UINT16:
      return &kinds->u16;
    case VALUE_UINT32:
      return &kinds->u32;
    case VALUE_INT64:
      return &kinds->i64;
    default:
      return NULL;
  }
}

static void* doubles(struct Kinds* kinds, unsigned reference, size_t* count) {
  switch (reference) {
    case 1:
      return &kinds->load;
    case 10:
      return &kinds->wheels[0].speed;
    case 11:
      return &kinds->wheels[1].speed;
    case 41:
      *count = 2 * (size_t)kinds->columns;
      return kinds->matrix;
    case 50:
      return &kinds->u;
    case 52:
      return &kinds->y;
    default:
      return NULL;
  }
}

static void* wholeNumbers(struct Kinds* kinds, unsigned reference) {
  switch (reference) {
    case 12:
      return &kinds->wheels[0].teeth;
    case 13:
      return &kinds->wheels[1].teeth;
    case 24:
      return &kinds->i32;
    case 36:
      return &kinds->ticks;
    case 51:
      return &kinds->gear;
    default:
      return NULL;
  }
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Kinds* kinds = data;
  *count = 1;
  if (type == VALUE_FLOAT64) return doubles(kinds, reference, count);
  if (type == VALUE_INT32) return wholeNumbers(kinds, reference);
  if (type == VALUE_FLOAT32 && reference == 2) return &kinds->gain;
  if (type == VALUE_UINT64 && reference == 27) return &kinds->u64;
  if (type == VALUE_UINT64 && reference == 40) return &kinds->columns;
  if (type == VALUE_BOOLEAN && reference == 30) return &kinds->flag;
  if (type == VALUE_ENUMERATION && reference == 31) return &kinds->mode;
  if (type == VALUE_TEXT && reference == 32) return &kinds->label;
  if (type == VALUE_BINARY && reference == 33) return &kinds->frame;
  if (type == VALUE_CLOCK && reference == 34) return &kinds->tick;
  if (type == VALUE_TEXT && reference == 60) return &kinds->word;
  if (type == VALUE_BINARY && reference == 61) return &kinds->packet;
  if (type == VALUE_TEXT && reference == 35) {
    *count = 2;
    return kinds->names;
  }
  return reference >= 20 && reference <= 26 ? integers(kinds, type) : NULL;
}

static double nextTick(const void* data, double time) {
  (void)time;
  return 0.5 * (((const struct Kinds*)data)->ticks + 1);
}

static void tick(void* data, double time) {
  struct Kinds* kinds = data;
  if (time < nextTick(data, time)) return;
  ++kinds->ticks;
  kinds->tick = 1;
  tellTicks(kinds);
  (void)update(kinds, time);
}

static void endEvent(void* data) { ((struct Kinds*)data)->tick = 0; }

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Kinds* kinds = data;
  (void)time;
  const double next = 0.5 * (kinds->ticks + 1);
  if (next > end) {
    (void)update(kinds, end);
    return STEP_DONE;
  }
  if (mayStop) {
    *reached = next;
    (void)update(kinds, next);
    return STEP_EVENT;
  }
  while (0.5 * (kinds->ticks + 1) <= end) tick(kinds, end);
  return STEP_DONE;
}

const struct Model model = {.bytes = sizeof(struct Kinds),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .event = tick,
                            .endEvent = endEvent,
                            .update = update,
                            .nextTime = nextTick};
