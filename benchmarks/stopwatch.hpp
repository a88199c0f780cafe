/// @file
/// Time since the start of measuring: elapsed time, and processor time of this program.
#pragma once

#include <chrono>
#include <ctime>

namespace vtio::benchmarks {

class Stopwatch final {
 public:
  [[nodiscard]] double wallSeconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_).count();
  }

  /// Does not count what other programs on the machine do meanwhile.
  [[nodiscard]] double cpuSeconds() const { return cpuNow() - cpu_; }

 private:
  static double cpuNow() {
    std::timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
  }

  std::chrono::steady_clock::time_point wall_ = std::chrono::steady_clock::now();
  double cpu_ = cpuNow();
};

}  // namespace vtio::benchmarks
