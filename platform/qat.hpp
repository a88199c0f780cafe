/// @file
/// Qat files: named Qalc arrays on disk.
///
///     QatFile* file = qatOpen("results.qat", "w7.3");
///     if (file == nullptr || qatPutVariable(file, "logsout", array) != 0) {
///       std::fprintf(stderr, "%s\n", qatLastError());
///     }
///     qatClose(file);
///
/// Nothing throws and nothing is printed: each function returns its failure, and qatLastError() says it in words.
/// A file is used by one thread at a time. Every array round-trips exactly, and so does a variable whose name is empty.
/// See also qalc.hpp.
#pragma once

#include "platform/export.hpp"
#include "platform/qalc.hpp"

/// An open file; opaque.
struct QatFile;

/// Opens a file.
/// @param name UTF-8 file name.
/// @param mode "r" reads, "w" and "w7.3" create or truncate, "u" updates an existing file.
/// @return The file, released with qatClose(); nullptr on failure, also for a missing file or an unknown mode.
VTIO_PLATFORM_EXPORT QatFile* qatOpen(const char* name, const char* mode);

/// Reads a variable.
/// @return An array that the caller owns; nullptr if the variable is absent or unreadable, or the file is null.
VTIO_PLATFORM_EXPORT qxArray* qatGetVariable(QatFile*, const char* name);

/// Writes a variable and flushes it. A variable of the same name is replaced and moves to the end of the order.
/// @return 0 on success, else an error code.
VTIO_PLATFORM_EXPORT int qatPutVariable(QatFile*, const char* name, const qxArray*);

/// Removes a variable.
/// @return 0 on success, else an error code.
VTIO_PLATFORM_EXPORT int qatDeleteVariable(QatFile*, const char* name);

/// Names of the variables in the order written.
/// @param count Receives the number of names; -1 on failure.
/// @return The names, all released by one qxFree(); nullptr on failure.
VTIO_PLATFORM_EXPORT char** qatGetVariableNames(QatFile*, int* count);

/// Closes a file and releases it whatever the result.
/// @return 0 on success, else an error code; nullptr gives an error code.
VTIO_PLATFORM_EXPORT int qatClose(QatFile*);

/// What the last failing call on this thread says, in words; valid until the next failing call on this thread.
VTIO_PLATFORM_EXPORT const char* qatLastError();
