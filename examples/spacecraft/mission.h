/// @file
/// One run from configuration to results, with a step back and a replay at half time.
#ifndef VTIO_EXAMPLES_SPACECRAFT_MISSION_H
#define VTIO_EXAMPLES_SPACECRAFT_MISSION_H

#include <stdio.h>

#include "options.h"

/// Exit codes of the program.
enum { kExitDone = 0, kExitFailed = 1, kExitInvalid = 2 };

/// Runs the flight and saves what was logged.
/// @param out Receives the closing lines.
/// @param err Receives the progress bar and what went wrong.
/// @return One of the exit codes.
int missionRun(const Options* options, FILE* out, FILE* err);

#endif
