/// @file
/// What an example model is made of. One source per model; fmi2.c and fmi3.c make an FMU of each version of it.
///
/// A model's data are one structure without pointers, so that copying its bytes copies the state of the FMU.
#ifndef VTIO_EXAMPLES_FMUS_MODEL_H
#define VTIO_EXAMPLES_FMUS_MODEL_H

#include <stddef.h>
#include <stdint.h>

/// Types of values in a model's data.
enum ValueType {
  VALUE_FLOAT64,  ///< double
  VALUE_FLOAT32,  ///< float
  VALUE_INT8,
  VALUE_UINT8,
  VALUE_INT16,
  VALUE_UINT16,
  VALUE_INT32,
  VALUE_UINT32,
  VALUE_INT64,
  VALUE_UINT64,
  VALUE_BOOLEAN,      ///< uint8_t, 0 or 1
  VALUE_ENUMERATION,  ///< int64_t
  VALUE_TEXT,         ///< struct Text
  VALUE_BINARY,       ///< struct Binary
  VALUE_CLOCK         ///< uint8_t, 1 while the clock ticks
};

struct Text {
  char characters[64];  ///< null-terminated UTF-8
};

struct Binary {
  size_t size;
  uint8_t bytes[16];
};

/// How a step ended.
enum StepEnd { STEP_DONE, STEP_EVENT, STEP_TERMINATE, STEP_DISCARD, STEP_ERROR, STEP_FATAL };

struct Model {
  size_t bytes;  ///< of the model's data

  /// Gives the data, zeroed before, their start values.
  void (*start)(void* data);

  /// Calculates what follows from the start values.
  void (*initialize)(void* data, double time);

  /// The place of a variable's values, and their number; null if there is no such variable.
  void* (*address)(void* data, enum ValueType type, unsigned reference, size_t* count);

  /// Goes on from a time to an end, both in seconds; to `reached`, which is set to `end` before, if it stops early.
  /// @param mayStop Whether the model may stop for an event.
  enum StepEnd (*step)(void* data, double time, double end, int mayStop, double* reached);

  /// Handles what happens at a time: the event for which a step stopped, in Model Exchange whatever is due; clocks that
  /// tick are set. Null if there are no events.
  void (*event)(void* data, double time);

  // The next three are for clocks.

  /// The discrete states are settled: no clock ticks any more. Null if there are no clocks.
  void (*endEvent)(void* data);

  /// Sets the interval of a clock, in seconds, as it is now.
  /// @return 1 if it is another one than the last time, or known for the first time; else 0.
  int (*interval)(void* data, unsigned clock, double* seconds);

  /// Seconds from the start to a clock's first tick.
  double (*shift)(const void* data, unsigned clock);

  // The rest is for Model Exchange.

  size_t states;      ///< number of continuous states
  size_t indicators;  ///< number of event indicators

  /// These numbers where they depend on the data. Null if they do not.
  void (*sizes)(const void* data, size_t* states, size_t* indicators);

  /// The states, one behind the other, and their derivatives.
  double* (*stateValues)(void* data);
  double* (*derivativeValues)(void* data);

  /// Calculates the derivatives and what else follows from time and states.
  /// @return STEP_DONE, or STEP_DISCARD, STEP_ERROR, STEP_FATAL where that fails.
  enum StepEnd (*update)(void* data, double time);

  void (*getIndicators)(const void* data, double time, double* values);

  /// The time of the next time event, not before the given one; infinite if there is none. Null if there never are any.
  double (*nextTime)(const void* data, double time);

  /// Column `state` of the Jacobian matrix, as many values as there are states. Null if it is not known.
  void (*jacobianColumn)(const void* data, size_t state, double* column);

  /// Ends a step of the solver: STEP_DONE, STEP_EVENT or STEP_TERMINATE. Null if there is nothing to do.
  enum StepEnd (*completeStep)(void* data, double time);
};

/// A step calls this between its ends when the data are those of a time, in s: they may be read then. FMI 3 alone hands
/// it on.
void fmu_intermediate(double time);

/// The model of this FMU.
extern const struct Model model;

static inline size_t model_states(const void* data) {
  size_t states = model.states;
  size_t indicators = 0;
  if (model.sizes != NULL) model.sizes(data, &states, &indicators);
  return states;
}

static inline size_t model_indicators(const void* data) {
  size_t states = 0;
  size_t indicators = model.indicators;
  if (model.sizes != NULL) model.sizes(data, &states, &indicators);
  return indicators;
}

#endif
