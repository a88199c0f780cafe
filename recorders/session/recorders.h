/// @file
/// Records signals in memory or into a streamed file from C targets; usable from C11 and from C++.
///
/// Conventions:
///  1. Handles. A session is made by vtioRecordingCreate() and released by vtioRecordingDestroy(). The catalogue is the
///     raw pointer that zetGetPointerFromUniquePtr() gives, a descriptor what zetGetSignalDescriptor() returns, an
///     accessor the handle that zetGetAccessor() returns.
///  2. Ownership. The catalogue owns the recorders and their data; destroying the session keeps what is recorded. A
///     session may be destroyed before or after its catalogue. Apart from that it needs its catalogue, and snapshots
///     need every attached accessor that has not been detached.
///  3. Errors. Functions that return an int return a negative value on failure, functions that return a pointer null;
///     vtioRecordingLastError() then says what is wrong. No C++ exception leaves any of them.
///  4. Strings are null-terminated UTF-8, copied during the call.
///  5. Nulls. A null session, catalogue, descriptor or accessor is a failure, not a crash; vtioRecordingDestroy(NULL)
///     does nothing. A null dataset name means the default: "yout" for root outports, "logsout" for all other signals.
///  6. Threads. All calls for one session come from its simulation's thread. The last error is kept per thread.
///
/// One signal:
///
///     VtioRecordingSession* session = vtioRecordingCreate(catalogue);
///     zetLoggingOverride(descriptor, catalogue);
///     void** accessor = zetGetAccessor(descriptor, vtioRecordingLoggingInterval(session));
///     if (vtioRecordingAttach(session, descriptor, accessor, NULL) < 0) puts(vtioRecordingLastError());
///
/// The functions that step back:
///
///     vtioRecordingCaptureSnapshot(session, 0);
///     ... steps that turn out to be wrong ...
///     vtioRecordingRollBack(session);
#ifndef VTIO_RECORDERS_RECORDERS_H
#define VTIO_RECORDERS_RECORDERS_H

#include "recorders/export.hpp"

#ifdef __cplusplus
extern "C" {
#endif

/// Records the signals of one catalogue.
typedef struct VtioRecordingSession VtioRecordingSession;  // NOLINT(modernize-use-using): read by C

/// The order in which a model delivers the elements of a matrix sample. It concerns leaves and arrays of buses of two
/// or more dimensions above 1. What is recorded does not depend on it: element (n, i, j) of the data is sample n at
/// (i, j).
enum VtioSampleOrder {
  VTIO_SAMPLES_ROW_MAJOR = 0,    ///< last index fastest, as in C arrays; so it is unless set otherwise
  VTIO_SAMPLES_COLUMN_MAJOR = 1  ///< first index fastest
};

/// Makes a session.
/// @param catalogue The raw catalogue.
/// @return The session; null on failure.
VTIO_RECORDERS_EXPORT VtioRecordingSession* vtioRecordingCreate(void* catalogue);

/// Releases a session. The recorders stay with the catalogue.
VTIO_RECORDERS_EXPORT void vtioRecordingDestroy(VtioRecordingSession* session);

/// Sets the order of the signals that are attached from now on.
/// @param order VTIO_SAMPLES_ROW_MAJOR or VTIO_SAMPLES_COLUMN_MAJOR.
/// @return 0, or -1 on failure, for example for any other order.
VTIO_RECORDERS_EXPORT int vtioRecordingSampleOrder(VtioRecordingSession* session, int order);

/// The logging interval to make accessors with: the one of the catalogue.
/// @return Valid as long as the catalogue; null on failure.
VTIO_RECORDERS_EXPORT const void* vtioRecordingLoggingInterval(const VtioRecordingSession* session);

/// Records a signal. The model's logging selection is applied to it, if it has not been before. An accessor that was
/// used before keeps its decimation counter: recording begins with the next sample due.
/// @param accessor The accessor handle of this descriptor.
/// @param dataset Name of the dataset, or null. There can be one for root outports and one for all other signals.
/// @return 1 if the signal is recorded, 0 if the logging selection switches it off, -1 on failure, for example if the
///   signal is recorded already; nothing has changed then.
VTIO_RECORDERS_EXPORT int vtioRecordingAttach(VtioRecordingSession* session, const void* descriptor, void* accessor,
                                              const char* dataset);

/// Records one iteration of a signal inside a for-each. Each iteration has a descriptor of its own, with equal block
/// path, name and port, and an accessor of its own; the dataset merges them into the element of the one attached first.
/// @param iteration Number of the iteration, from 0, innermost level fastest.
/// @return As vtioRecordingAttach().
VTIO_RECORDERS_EXPORT int vtioRecordingAttachIteration(VtioRecordingSession* session, const void* descriptor,
                                                       void* accessor, unsigned iteration, const char* dataset);

/// Forgets an accessor; before it is released while snapshots are still used. An accessor that was never attached is
/// ignored.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingDetach(VtioRecordingSession* session, void* accessor);

/// Writes the datasets into a file, complete or not at all: it is written beside `fileName` and takes its place when it
/// is complete and on the disk. What is written is what zetSaveDatasetsToQatFile() writes.
/// @return 0, or -1 on failure; the error names the file and the cause. What `fileName` held is then still there, and
///   so is the recorded data.
VTIO_RECORDERS_EXPORT int vtioRecordingSave(VtioRecordingSession* session, const char* fileName);

/// Streams the signals into a file, whatever the catalogue's settings say. To be called before the first is attached.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingStreamTo(VtioRecordingSession* session, const char* fileName);

/// Sets the wall time between two flushes of the file that samples are streamed into.
/// @param seconds At least 0, 1 unless set; 0: after every row.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingFlushInterval(VtioRecordingSession* session, double seconds);

/// Sets whether each flush waits until the disk has the data, so that it outlives the machine as well as the program.
/// @param atEachFlush 0, as it is unless set: it does not.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingSyncToDisk(VtioRecordingSession* session, int atEachFlush);

/// Lets readers of the streamed file see all samples that were recorded so far. Without one it does nothing.
/// @return 0, or -1 if streaming has failed, now or before.
VTIO_RECORDERS_EXPORT int vtioRecordingFlush(VtioRecordingSession* session);

/// Samples that reached a recorder and could not be recorded, for example for lack of memory.
/// @return The number; 0 for a null session.
VTIO_RECORDERS_EXPORT unsigned long long vtioRecordingLostSamples(const VtioRecordingSession* session);

/// Takes a snapshot of all recorders and attached accessors.
/// @param initial Not 0: it is the one for vtioRecordingReset(). 0: it is the newest.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingCaptureSnapshot(VtioRecordingSession* session, int initial);

/// Restores the newest snapshot, which stays.
/// @return 0, or -1 on failure, for example without a snapshot.
VTIO_RECORDERS_EXPORT int vtioRecordingRollBack(VtioRecordingSession* session);

/// Restores the initial snapshot.
/// @return 0, or -1 on failure, for example without an initial snapshot.
VTIO_RECORDERS_EXPORT int vtioRecordingReset(VtioRecordingSession* session);

/// Drops all snapshots except the initial one.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingClearSnapshots(VtioRecordingSession* session);

/// Drops the n newest snapshots; all of them if there are fewer, none if n is below 1.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingPopLatestSnapshots(VtioRecordingSession* session, int n);

/// Drops the n oldest snapshots; all of them if there are fewer, none if n is below 1.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingPopOldestSnapshots(VtioRecordingSession* session, int n);

/// Keeps at most the n newest snapshots.
/// @return 0, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingLimitSnapshots(VtioRecordingSession* session, int n);

/// Number of snapshots, the initial one not counted.
/// @return The number, or -1 on failure.
VTIO_RECORDERS_EXPORT int vtioRecordingSnapshots(const VtioRecordingSession* session);

/// What the last failing call on this thread says, or why samples are not streamed any more; the empty string if
/// nothing has failed. Valid until the next failure on this thread.
VTIO_RECORDERS_EXPORT const char* vtioRecordingLastError(void);

#ifdef __cplusplus
}
#endif

#endif /* VTIO_RECORDERS_RECORDERS_H */
