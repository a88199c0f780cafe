#include "runner/run/run_progress.hpp"

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "results/values/number_text.hpp"

namespace vtio::runner {

RunProgress::RunProgress(const RunTimes& times, bool isShown)
    : times_(times), isShown_(isShown), bar_(std::cerr, results::styleOf(STDERR_FILENO)) {}

void RunProgress::draw(double time) {
  const double span = times_.stop - times_.start;
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  bar_.show(span > 0.0 ? (time - times_.start) / span : 1.0, progressText(time, time - times_.start, elapsed));
}

std::string progressText(double time, double simulated, double elapsed) {
  char text[80];
  std::snprintf(text, sizeof text, "%.6g s, %.3g times real time", time, elapsed > 0.0 ? simulated / elapsed : 0.0);
  return text;
}

}  // namespace vtio::runner
