#define _POSIX_C_SOURCE 200809L  // NOLINT(bugprone-reserved-identifier): declares fileno and isatty

#include "progress.h"

#include <unistd.h>

Progress progressBegin(FILE* stream, unsigned long total) {
  const Progress progress = {.stream = stream, .total = total, .percent = -1, .shown = isatty(fileno(stream)) == 1};
  return progress;
}

void progressUpdate(Progress* progress, unsigned long done) {
  static const char bar[] = "########################################";
  const int width = (int)sizeof bar - 1;
  const int percent = (int)(100.0 * (double)done / (double)progress->total);
  if (progress->shown && percent != progress->percent) {
    progress->percent = percent;
    fprintf(progress->stream, "\r[%-*.*s] %3d %%", width, percent * width / 100, bar, percent);
    fflush(progress->stream);
  }
}

void progressEnd(Progress* progress) {
  if (progress->shown) {
    fputc('\n', progress->stream);
  }
}
