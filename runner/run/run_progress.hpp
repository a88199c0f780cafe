/// @file
/// How far a run is, on a terminal.
#pragma once

#include <chrono>

#include "results/terminal/progress_bar.hpp"
#include "runner/run/run_options.hpp"

namespace vtio::runner {

/// Shows a bar with the simulated time and its speed on standard error, after a second, if that is a terminal.
class RunProgress final {
 public:
  /// @param isShown False: shows nothing.
  RunProgress(const RunTimes& times, bool isShown);

  /// @param time Of the simulation in seconds; may go back.
  void show(double time) {
    if (isShown_ && bar_.isDue()) draw(time);
  }

 private:
  void draw(double time);

  RunTimes times_;
  bool isShown_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  results::ProgressBar bar_;
};

/// "3.2 s, 45 times real time".
[[nodiscard]] std::string progressText(double time, double simulated, double elapsed);

}  // namespace vtio::runner
