/// @file
/// Progress bar on a terminal; writes nothing when the stream is a file or a pipe.
#ifndef VTIO_EXAMPLES_SPACECRAFT_PROGRESS_H
#define VTIO_EXAMPLES_SPACECRAFT_PROGRESS_H

#include <stdbool.h>
#include <stdio.h>

typedef struct Progress {
  FILE* stream;
  unsigned long total;
  int percent;  ///< last one drawn, -1 before the first
  bool shown;
} Progress;

/// @param stream Borrowed until progressEnd().
/// @param total Number of steps, > 0.
Progress progressBegin(FILE* stream, unsigned long total);

/// Redraws the bar when a further percent is done.
void progressUpdate(Progress* progress, unsigned long done);

/// Ends the line of the bar.
void progressEnd(Progress* progress);

#endif
