// Rooms in a row, each with a heater that a thermostat of its own switches on and off. Heat goes to the neighbours and
// outside. The number of rooms sets the sizes of all arrays.
#include <math.h>
#include <string.h>

#include "examples/fmus/model.h"

enum { MOST_ROOMS = 64 };
enum Mode { MODE_OFF = 1, MODE_HEAT = 2 };

// Value references: of an array a multiple of 100, of one room of it its number more, from 1.
enum { TEMPERATURE = 100, DERIVATIVE = 200, MODE = 300, POWER = 400, SETPOINT = 500, FLOW = 600 };

struct Network {
  uint64_t rooms;
  double temperature[MOST_ROOMS];        // in K
  double der[MOST_ROOMS];                // in K/s
  double setpoint[MOST_ROOMS];           // in K
  double power[MOST_ROOMS];              // of the heater in W
  double flow[MOST_ROOMS * MOST_ROOMS];  // from one room into another in W, row-major
  int64_t mode[MOST_ROOMS];
  double outside;     // temperature in K
  double totalPower;  // in W
  double capacity;    // of a room in J/K
  double loss;        // to the outside in W/K
  double exchange;    // between neighbours in W/K
  double heater;      // power in W
  double band;        // around the setpoint in K
};

static size_t roomsOf(const struct Network* network) {
  return network->rooms < MOST_ROOMS ? (size_t)network->rooms : MOST_ROOMS;
}

static void derivatives(const struct Network* network, const double* temperature, double* der) {
  const size_t rooms = roomsOf(network);
  for (size_t i = 0; i < rooms; ++i) {
    double power = network->mode[i] == MODE_HEAT ? network->heater : 0.0;
    power += network->loss * (network->outside - temperature[i]);
    if (i > 0) power += network->exchange * (temperature[i - 1] - temperature[i]);
    if (i + 1 < rooms) power += network->exchange * (temperature[i + 1] - temperature[i]);
    der[i] = power / network->capacity;
  }
}

static void start(void* data) {
  struct Network* network = data;
  network->rooms = 3;
  for (int i = 0; i < MOST_ROOMS; ++i) {
    network->temperature[i] = 288.15;
    network->setpoint[i] = 293.15 + i % 3;
    network->mode[i] = MODE_OFF;
  }
  network->outside = 273.15;
  network->capacity = 1e6;
  network->loss = 50.0;
  network->exchange = 100.0;
  network->heater = 2000.0;
  network->band = 0.5;
}

static enum StepEnd update(void* data, double time) {
  struct Network* network = data;
  const size_t rooms = roomsOf(network);
  (void)time;
  derivatives(network, network->temperature, network->der);
  memset(network->flow, 0, sizeof network->flow);
  network->totalPower = 0.0;
  for (size_t i = 0; i < rooms; ++i) {
    network->power[i] = network->mode[i] == MODE_HEAT ? network->heater : 0.0;
    network->totalPower += network->power[i];
    if (i + 1 == rooms) continue;
    const double flow = network->exchange * (network->temperature[i] - network->temperature[i + 1]);
    network->flow[i * rooms + i + 1] = flow;
    network->flow[(i + 1) * rooms + i] = -flow;
  }
  return STEP_DONE;
}

// Kelvins until the thermostat of a room switches.
static double distance(const struct Network* network, const double* temperature, size_t room) {
  const double over = temperature[room] - network->setpoint[room];
  return network->mode[room] == MODE_HEAT ? network->band - over : over + network->band;
}

static int isDue(const struct Network* network, const double* temperature) {
  for (size_t i = 0; i < roomsOf(network); ++i) {
    if (distance(network, temperature, i) <= 0.0) return 1;
  }
  return 0;
}

static void change(void* data, double time) {
  struct Network* network = data;
  for (size_t i = 0; i < roomsOf(network); ++i) {
    if (distance(network, network->temperature, i) > 1e-9 * network->band) continue;
    network->mode[i] = network->mode[i] == MODE_HEAT ? MODE_OFF : MODE_HEAT;
  }
  (void)update(data, time);
}

static void initialize(void* data, double time) { change(data, time); }

static void* elements(double* first, size_t rooms, unsigned room, size_t* count) {
  if (room > rooms) return NULL;
  *count = room == 0 ? rooms : 1;
  return room == 0 ? first : first + room - 1;
}

static void* doubles(struct Network* network, unsigned reference, size_t* count) {
  double* const scalars[] = {&network->outside,  &network->totalPower, &network->capacity, &network->loss,
                             &network->exchange, &network->heater,     &network->band};
  const size_t rooms = roomsOf(network);
  if (reference >= 1 && reference <= sizeof scalars / sizeof *scalars) return scalars[reference - 1];
  switch (reference / 100 * 100) {
    case TEMPERATURE:
      return elements(network->temperature, rooms, reference - TEMPERATURE, count);
    case DERIVATIVE:
      return elements(network->der, rooms, reference - DERIVATIVE, count);
    case POWER:
      return elements(network->power, rooms, reference - POWER, count);
    case SETPOINT:
      return elements(network->setpoint, rooms, reference - SETPOINT, count);
    default:
      *count = rooms * rooms;
      return reference == FLOW ? network->flow : NULL;
  }
}

static void* address(void* data, enum ValueType type, unsigned reference, size_t* count) {
  struct Network* network = data;
  *count = 1;
  if (type == VALUE_FLOAT64) return doubles(network, reference, count);
  if (type == VALUE_UINT64 && reference == 10) return &network->rooms;
  if (type != VALUE_ENUMERATION || reference < MODE || reference > MODE + roomsOf(network)) return NULL;
  if (reference == MODE) *count = roomsOf(network);
  return &network->mode[reference == MODE ? 0 : reference - MODE - 1];
}

// One step of the method of Runge and Kutta of order 4.
static void advance(const struct Network* network, double seconds, double* to) {
  const double* from = network->temperature;
  const size_t rooms = roomsOf(network);
  double slope[4][MOST_ROOMS];
  double at[MOST_ROOMS];
  derivatives(network, from, slope[0]);
  for (int k = 1; k < 4; ++k) {
    const double part = k < 3 ? 0.5 * seconds : seconds;
    for (size_t i = 0; i < rooms; ++i) at[i] = from[i] + part * slope[k - 1][i];
    derivatives(network, at, slope[k]);
  }
  for (size_t i = 0; i < rooms; ++i) {
    to[i] = from[i] + seconds / 6.0 * (slope[0][i] + 2.0 * (slope[1][i] + slope[2][i]) + slope[3][i]);
  }
}

// Goes on by up to so many seconds, to the first moment at which a thermostat switches.
static double move(struct Network* network, double seconds) {
  double to[MOST_ROOMS];
  advance(network, seconds, to);
  if (isDue(network, to)) {
    double before = 0.0;
    for (int i = 0; i < 60; ++i) {
      const double middle = 0.5 * (before + seconds);
      advance(network, middle, to);
      if (isDue(network, to)) {
        seconds = middle;
      } else {
        before = middle;
      }
    }
    advance(network, seconds, to);
  }
  memcpy(network->temperature, to, roomsOf(network) * sizeof *to);
  return seconds;
}

static enum StepEnd step(void* data, double time, double end, int mayStop, double* reached) {
  struct Network* network = data;
  while (time < end) {
    const double rest = fmin(10.0, end - time);
    const double done = move(network, rest);
    time = done == end - time ? end : time + done;
    if (!isDue(network, network->temperature)) {
      if (time == end) break;
      (void)update(data, time);
      fmu_intermediate(time);
      continue;
    }
    if (mayStop) {
      *reached = time;
      (void)update(data, time);
      return STEP_EVENT;
    }
    change(data, time);
  }
  (void)update(data, end);
  return STEP_DONE;
}

static void sizes(const void* data, size_t* states, size_t* indicators) { *states = *indicators = roomsOf(data); }

static double* stateValues(void* data) { return ((struct Network*)data)->temperature; }
static double* derivativeValues(void* data) { return ((struct Network*)data)->der; }

static void getIndicators(const void* data, double time, double* values) {
  const struct Network* network = data;
  (void)time;
  for (size_t i = 0; i < roomsOf(network); ++i) values[i] = distance(network, network->temperature, i);
}

const struct Model model = {.bytes = sizeof(struct Network),
                            .start = start,
                            .initialize = initialize,
                            .address = address,
                            .step = step,
                            .event = change,
                            .sizes = sizes,
                            .stateValues = stateValues,
                            .derivativeValues = derivativeValues,
                            .update = update,
                            .getIndicators = getIndicators};
