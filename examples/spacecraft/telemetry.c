#include "telemetry.h"

#include <stdio.h>
#include <string.h>

#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

static int attachRecorder(Telemetry* telemetry, const Signal* signal, void** accessor) {
  if (signal->iteration == kNoIteration) {
    return vtioRecordingAttach(telemetry->session, signal->descriptor, accessor, NULL);
  }
  return vtioRecordingAttachIteration(telemetry->session, signal->descriptor, accessor, (unsigned)signal->iteration,
                                      NULL);
}

/// Makes the accessor of a signal and gives it a recorder; without one, the accessor is released again.
static bool attach(Telemetry* telemetry, unsigned index) {
  const Signal* signal = &telemetry->list.signals[index];
  if (signal->kind == kRootOutport && !telemetry->outports) {
    return true;
  }
  void** accessor = zetGetAccessor(signal->descriptor, vtioRecordingLoggingInterval(telemetry->session));
  const int recorded = accessor == NULL ? -1 : attachRecorder(telemetry, signal, accessor);
  if (recorded == 1) {
    telemetry->accessors[index] = accessor;
  } else {
    zetDestructAccessorPointer(accessor);
  }
  return recorded >= 0;
}

static bool openSignals(Telemetry* telemetry, const Options* options, const Outputs* outputs, char* message,
                        size_t messageSize) {
  telemetry->list = signalsDescribe(telemetry->catalogue, outputs, options->step, options->duration);
  if (telemetry->list.problem[0] != '\0') {
    snprintf(message, messageSize, "%s", telemetry->list.problem);
    return false;
  }
  for (unsigned i = 0; i < telemetry->list.count; ++i) {
    if (!attach(telemetry, i)) {
      snprintf(message, messageSize, "the signal '%s' cannot be recorded: %s", telemetry->list.signals[i].name,
               vtioRecordingLastError());
      return false;
    }
  }
  return true;
}

bool telemetryOpen(Telemetry* telemetry, const Options* options, const Outputs* outputs, char* message,
                   size_t messageSize) {
  memset(telemetry, 0, sizeof *telemetry);
  telemetry->catalogueHandle = zetGetNewVtioCatalogue(options->configuration);
  if (telemetry->catalogueHandle == NULL) {
    snprintf(message, messageSize, "%s", zetLastError());
    return false;
  }
  telemetry->catalogue = zetGetPointerFromUniquePtr(telemetry->catalogueHandle);
  telemetry->outports = zetLogRootOutport(telemetry->catalogue);
  telemetry->session = vtioRecordingCreate(telemetry->catalogue);
  if (telemetry->session == NULL) {
    snprintf(message, messageSize, "nothing can be recorded: %s", vtioRecordingLastError());
  } else if (options->stream != NULL && vtioRecordingStreamTo(telemetry->session, options->stream) < 0) {
    snprintf(message, messageSize, "%s", vtioRecordingLastError());
  } else if (openSignals(telemetry, options, outputs, message, messageSize)) {
    return true;
  }
  telemetryClose(telemetry);
  return false;
}

void telemetryLog(Telemetry* telemetry, uint64_t stepCount, double time) {
  for (unsigned i = 0; i < telemetry->list.count; ++i) {
    const Signal* signal = &telemetry->list.signals[i];
    if (telemetry->accessors[i] != NULL && stepCount % signal->period == 0) {
      for (unsigned leaf = 0; leaf < signal->leaves; ++leaf) {
        zetVtioUpdateAccessor(telemetry->accessors[i], leaf, time, signal->data[leaf]);
      }
    }
  }
}

bool telemetryCapture(Telemetry* telemetry) { return vtioRecordingCaptureSnapshot(telemetry->session, 0) == 0; }

bool telemetryRollBack(Telemetry* telemetry) {
  return vtioRecordingRollBack(telemetry->session) == 0 && vtioRecordingPopLatestSnapshots(telemetry->session, 1) == 0;
}

bool telemetrySave(Telemetry* telemetry, const char* fileName, char* message, size_t messageSize) {
  const unsigned long long lost = vtioRecordingLostSamples(telemetry->session);
  if (vtioRecordingSave(telemetry->session, fileName) < 0) {
    snprintf(message, messageSize, "%s", vtioRecordingLastError());
    return false;
  }
  snprintf(message, messageSize, "'%s' lacks %llu samples that could not be recorded", fileName, lost);
  return lost == 0;
}

void telemetryClose(Telemetry* telemetry) {
  for (unsigned i = 0; i < telemetry->list.count; ++i) {
    zetDestructAccessorPointer(telemetry->accessors[i]);
    telemetry->accessors[i] = NULL;
  }
  vtioRecordingDestroy(telemetry->session);
  telemetry->session = NULL;
  if (telemetry->catalogueHandle != NULL) {
    zetTerminateVtioCatalogue(&telemetry->catalogueHandle);
  }
}
