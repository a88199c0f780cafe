/// @file
/// The logged signals of the spacecraft, described as generated code does it: one tree of nodes and one
/// descriptor per signal.
#ifndef VTIO_EXAMPLES_SPACECRAFT_SIGNALS_H
#define VTIO_EXAMPLES_SPACECRAFT_SIGNALS_H

#include <stdbool.h>
#include <stddef.h>

#include "simulation.h"

enum { kMaxLeaves = 3, kMaxSignals = 32 };

/// How a descriptor's port is meant (argument `kind` of zetGetSignalDescriptor).
enum { kRootOutport = 1, kRootInport = 2, kOrdinary = 3 };

/// Iteration number of a signal outside for-each loops.
enum { kNoIteration = -1 };

/// Steps between two samples of the three rates.
enum { kFast = 1, kMedium = 10, kSlow = 100 };

/// One logged signal: its descriptor and the addresses of its values.
typedef struct Signal {
  const char* name;
  const void* descriptor;        ///< owned by the catalogue
  unsigned kind;                 ///< kRootOutport, kRootInport or kOrdinary
  int iteration;                 ///< of the for-each loops around it, innermost fastest; or kNoIteration
  unsigned period;               ///< steps between two samples
  unsigned leaves;               ///< addresses in use; more than one only for a virtual bus
  const void* data[kMaxLeaves];  ///< by leaf position; point into the Outputs that were given
} Signal;

/// The list of signals.
typedef struct SignalList {
  Signal signals[kMaxSignals];
  unsigned count;
  char problem[400];  ///< names the first signal whose description was refused, and why; empty if none was
} SignalList;

/// Describes every signal to the catalogue, and applies its logging selection to each.
/// @param catalogue Raw catalogue pointer; owns the descriptors.
/// @param outputs Where the values will be at each step; borrowed for as long as the list is used.
/// @param step Seconds.
/// @param duration Seconds.
SignalList signalsDescribe(void* catalogue, const Outputs* outputs, double step, double duration);

#endif
