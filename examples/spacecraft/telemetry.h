/// @file
/// Logging of a flight: from the configuration file to the results file.
///
///     Telemetry telemetry;
///     if (!telemetryOpen(&telemetry, options, &simulation.outputs, message, sizeof message)) ...
///     telemetryLog(&telemetry, stepCount, time);        // each step, after simulationOutputs()
///     telemetrySave(&telemetry, "results.qat", message, sizeof message);
///     telemetryClose(&telemetry);
#ifndef VTIO_EXAMPLES_SPACECRAFT_TELEMETRY_H
#define VTIO_EXAMPLES_SPACECRAFT_TELEMETRY_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "options.h"
#include "recorders/recorders.h"
#include "signals.h"

/// Catalogue, signals and their accessors of one run.
typedef struct Telemetry {
  void* catalogueHandle;
  void* catalogue;
  VtioRecordingSession* session;
  SignalList list;
  bool outports;                  ///< whether the configuration wants root outports logged
  void** accessors[kMaxSignals];  ///< by signal; NULL for one that is switched off
} Telemetry;

/// Reads the configuration, describes the signals and attaches a recorder to each that is switched on.
/// @param outputs Where the values will be at each step; borrowed until telemetryClose().
/// @param message Receives why, when the result is false; nothing is left open then.
bool telemetryOpen(Telemetry* telemetry, const Options* options, const Outputs* outputs, char* message,
                   size_t messageSize);

/// Logs every signal that is due at a step.
void telemetryLog(Telemetry* telemetry, uint64_t stepCount, double time);

/// Takes a snapshot of everything logged so far.
bool telemetryCapture(Telemetry* telemetry);

/// Restores the snapshot and drops it.
bool telemetryRollBack(Telemetry* telemetry);

/// Writes the results file.
/// @param message Receives why, when the result is false.
bool telemetrySave(Telemetry* telemetry, const char* fileName, char* message, size_t messageSize);

/// Releases accessors and catalogue.
void telemetryClose(Telemetry* telemetry);

#endif
