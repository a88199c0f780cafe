/* Logs a sine wave from C, as generated code does: hello_c CONFIG.qat RESULTS.qat */
#include <math.h>
#include <stdio.h>

#include "recorders/recorders.h"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

int main(int argc, char** argv) {
  if (argc != 3) return fprintf(stderr, "usage: %s CONFIG.qat RESULTS.qat\n", argv[0]), 2;
  void* handle = zetGetNewVtioCatalogue(argv[1]);
  if (handle == NULL) return fprintf(stderr, "%s\n", zetLastError()), 2;
  void* catalogue = zetGetPointerFromUniquePtr(handle);

  /* Describe the signal once: a tree of one leaf, then the descriptor around it. */
  void* tree = zetGetTreeVector();
  zetAddLeafNode(0, "height", "linear", 0, NULL, 0, "double", "m", "0.01", 0.01, 10.0, tree);
  const void* height = zetGetSignalDescriptor(tree, /*inputs*/ 1, /*ordinary signal*/ 3, /*no point limit*/ 0,
                                              /*decimation*/ 1, "height", "", "", "hello/Wave", /*port*/ 0, 0,
                                              catalogue, NULL, 0, NULL, 0);
  if (height == NULL) return fprintf(stderr, "%s\n", zetLastError()), 1;

  /* Record it: in memory, or in a file if the configuration says so. */
  VtioRecordingSession* session = vtioRecordingCreate(catalogue);
  void** accessor = zetGetAccessor(height, vtioRecordingLoggingInterval(session));
  int failed = vtioRecordingAttach(session, height, accessor, NULL) < 0;

  /* One call per step. */
  for (int step = 0; step < 1000 && !failed; ++step) {
    const double time = 0.01 * step;
    const double value = sin(time);
    zetVtioUpdateAccessor(accessor, 0, time, &value);
  }

  failed = failed || vtioRecordingSave(session, argv[2]) < 0;
  if (failed) fprintf(stderr, "%s\n", vtioRecordingLastError());
  if (vtioRecordingLostSamples(session) > 0) fprintf(stderr, "some samples could not be recorded\n");
  vtioRecordingDestroy(session);
  zetDestructAccessorPointer(accessor);
  zetTerminateVtioCatalogue(&handle);
  return failed;
}
