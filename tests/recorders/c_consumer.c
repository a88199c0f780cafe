/* Uses the recorders as a C target does: only through C headers, compiled as C11. */
#include "tests/recorders/c_consumer.h"

#include <stddef.h>

#include "recorders/recorders.h"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

static const void* describe(void* catalogue, const char* name, const unsigned* dims, unsigned numDims) {
  void* tree = zetGetTreeVector();
  zetAddLeafNode(0, name, "linear", 0, NULL, 0, "double", "m", "0.1", 0.1, 1.0, tree);
  return zetGetSignalDescriptor(tree, 1, 3, 0, 1, name, "", "", "model/block", 0, 0, catalogue, dims, numDims, NULL, 0);
}

int consumeRecord(void* catalogue) {
  VtioRecordingSession* session = vtioRecordingCreate(catalogue);
  const void* descriptor = describe(catalogue, "x", NULL, 0);
  void** accessor = zetGetAccessor(descriptor, vtioRecordingLoggingInterval(session));
  int failed = vtioRecordingAttach(session, descriptor, accessor, "from C") != 1;
  failed |= vtioRecordingCaptureSnapshot(session, 1) != 0;
  for (int i = 0; i < 10; ++i) {
    const double value = i;
    if (i == 5) failed |= vtioRecordingCaptureSnapshot(session, 0) != 0;
    zetVtioUpdateAccessor(accessor, 0, 0.1 * i, &value);
  }
  failed |= vtioRecordingSnapshots(session) != 1;
  failed |= vtioRecordingRollBack(session) != 0;
  const double last = 50;
  zetVtioUpdateAccessor(accessor, 0, 0.5, &last);
  failed |= vtioRecordingDetach(session, accessor) != 0;
  zetDestructAccessorPointer(accessor);
  vtioRecordingDestroy(session);
  return failed;
}

int consumeSampleOrder(void* catalogue) {
  VtioRecordingSession* session = vtioRecordingCreate(catalogue);
  const int orders[] = {VTIO_SAMPLES_COLUMN_MAJOR, VTIO_SAMPLES_ROW_MAJOR};
  const unsigned dims[] = {2, 3};
  const double sample[] = {1, 2, 3, 4, 5, 6};
  int failed = 0;
  for (int i = 0; i < 2; ++i) {
    void* tree = zetGetTreeVector();
    zetAddLeafNode(0, "m", "linear", 0, dims, 2, "double", "m", "0.1", 0.1, 1.0, tree);
    const void* descriptor = zetGetSignalDescriptor(tree, 1, 3, 0, 1, i == 0 ? "columns" : "rows", "", "",
                                                    "model/block", 0, 0, catalogue, NULL, 0, NULL, 0);
    void** accessor = zetGetAccessor(descriptor, vtioRecordingLoggingInterval(session));
    failed |= vtioRecordingSampleOrder(session, orders[i]) != 0;
    failed |= vtioRecordingAttach(session, descriptor, accessor, "matrices") != 1;
    zetVtioUpdateAccessor(accessor, 0, 0.0, sample);
    zetDestructAccessorPointer(accessor);
  }
  vtioRecordingDestroy(session);
  return failed;
}

int consumeForEach(void* catalogue) {
  VtioRecordingSession* session = vtioRecordingCreate(catalogue);
  const unsigned dims[] = {2};
  int failed = 0;
  for (unsigned i = 0; i < 2; ++i) {
    const void* descriptor = describe(catalogue, "each", dims, 1);
    void** accessor = zetGetAccessor(descriptor, vtioRecordingLoggingInterval(session));
    const double value = i;
    failed |= vtioRecordingAttachIteration(session, descriptor, accessor, i, NULL) != 1;
    zetVtioUpdateAccessor(accessor, 0, 0.0, &value);
    zetDestructAccessorPointer(accessor);
  }
  vtioRecordingDestroy(session);
  return failed;
}

int consumeAllCommands(void* catalogue) {
  VtioRecordingSession* session = vtioRecordingCreate(catalogue);
  int failed = vtioRecordingCaptureSnapshot(session, 1) | vtioRecordingReset(session);
  for (int i = 0; i < 6; ++i) failed |= vtioRecordingCaptureSnapshot(session, 0);
  failed |= vtioRecordingPopLatestSnapshots(session, 1) | vtioRecordingPopOldestSnapshots(session, 1);
  failed |= vtioRecordingSnapshots(session) != 4;
  failed |= vtioRecordingLimitSnapshots(session, 3);
  failed |= vtioRecordingSnapshots(session) != 3;
  failed |= vtioRecordingClearSnapshots(session);
  failed |= vtioRecordingSnapshots(session) != 0;
  vtioRecordingDestroy(session);
  return failed;
}
