#include "mission.h"

#include <errno.h>
#include <string.h>

#include "progress.h"
#include "simulation.h"
#include "telemetry.h"

/// When the run steps back: a snapshot at `from`, back to it from `to`.
typedef struct StepBack {
  unsigned long from;
  unsigned long to;
} StepBack;

static StepBack planStepBack(unsigned long steps) {
  const unsigned long span = steps / 20 == 0 ? 1 : steps / 20;
  const StepBack plan = {.from = steps / 2, .to = steps / 2 + span};
  return plan;
}

static void logAndAdvance(Simulation* simulation, Telemetry* telemetry, unsigned long end, Progress* progress) {
  while (simulation->stepCount < end) {
    simulationOutputs(simulation);
    telemetryLog(telemetry, simulation->stepCount, simulationTime(simulation));
    simulationAdvance(simulation);
    progressUpdate(progress, (unsigned long)simulation->stepCount);
  }
}

/// Takes a snapshot, simulates some steps, returns to the snapshot and simulates the same steps again.
/// @return NULL, or what went wrong.
static const char* stepBackAndReplay(Simulation* simulation, Telemetry* telemetry, StepBack plan, Progress* progress) {
  const Simulation snapshot = *simulation;
  if (!telemetryCapture(telemetry)) {
    return "the snapshot of the logging state failed";
  }
  logAndAdvance(simulation, telemetry, plan.to, progress);
  const SpacecraftState first = simulation->state;
  *simulation = snapshot;
  if (!telemetryRollBack(telemetry)) {
    return "stepping back the logging state failed";
  }
  logAndAdvance(simulation, telemetry, plan.to, progress);
  // Bit for bit, and there is nothing but doubles to compare. NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
  return memcmp(&first, &simulation->state, sizeof first) == 0 ? NULL : "the replay did not repeat the first pass";
}

static const char* fly(const Options* options, Simulation* simulation, Telemetry* telemetry, FILE* err) {
  const StepBack plan = planStepBack(options->steps);
  const char* problem = NULL;
  Progress progress = progressBegin(err, options->steps);
  if (options->stepBack) {
    logAndAdvance(simulation, telemetry, plan.from, &progress);
    problem = stepBackAndReplay(simulation, telemetry, plan, &progress);
  }
  if (problem == NULL) {
    logAndAdvance(simulation, telemetry, options->steps, &progress);
    simulationOutputs(simulation);
    telemetryLog(telemetry, simulation->stepCount, simulationTime(simulation));
  }
  progressEnd(&progress);
  return problem;
}

/// Whether a file can be written, before hours of simulation find out that it cannot.
static bool canWrite(const char* fileName) {
  FILE* file = fopen(fileName, "ab");
  return file != NULL && fclose(file) == 0;
}

static int flyAndSave(const Options* options, Simulation* simulation, Telemetry* telemetry, FILE* out, FILE* err) {
  char message[512];
  const char* problem = fly(options, simulation, telemetry, err);
  if (problem != NULL) {
    fprintf(err, "spacecraft: %s\n", problem);
    return kExitFailed;
  }
  if (!telemetrySave(telemetry, options->output, message, sizeof message)) {
    fprintf(err, "spacecraft: --out: %s\n", message);
    return kExitFailed;
  }
  fprintf(out, "Simulated %g s in %lu steps%s: %s\n", simulationTime(simulation), options->steps,
          options->stepBack ? ", stepped back once at half time" : "", options->output);
  return kExitDone;
}

int missionRun(const Options* options, FILE* out, FILE* err) {
  char message[512];
  Telemetry telemetry;
  Simulation simulation = simulationStart(options->step);
  if (!telemetryOpen(&telemetry, options, &simulation.outputs, message, sizeof message)) {
    fprintf(err, "spacecraft: --config: %s\n", message);
    return kExitInvalid;
  }
  int result = kExitInvalid;
  if (canWrite(options->output)) {
    result = flyAndSave(options, &simulation, &telemetry, out, err);
  } else {
    fprintf(err, "spacecraft: --out: cannot write '%s': %s\n", options->output, strerror(errno));
  }
  telemetryClose(&telemetry);
  return result;
}
