/// @file
/// A sweep that several processes share, over MPI: the first hands out the runs, the others make them.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "runner/error.hpp"
#include "runner/sweep/ranks.hpp"
#include "runner/sweep/sweep_options.hpp"
#include "runner/sweep/sweep_table.hpp"

namespace vtio::runner {

/// How often a process looks at what others sent: waiting inside MPI would keep a processor busy.
inline constexpr std::chrono::milliseconds kBetweenLooks{2};

/// The other processes, as rank 0 sees them. Tells them to stop when it is destroyed.
class Helpers final {
 public:
  /// @param ranks Must outlive this; nullptr for no helpers.
  explicit Helpers(Ranks* ranks) : ranks_(ranks) {}
  ~Helpers() { stop(); }
  Helpers(const Helpers&) = delete;
  Helpers& operator=(const Helpers&) = delete;

  [[nodiscard]] bool areThere() const { return ranks_ != nullptr; }

  /// Whether one of them waits for a run.
  [[nodiscard]] bool hasIdle() const { return !idle_.empty(); }

  /// Runs that they are making.
  [[nodiscard]] std::size_t busy() const { return busy_; }

  /// Lets one of those that wait make a run.
  /// @param set Its parameters, as NAME=VALUE.
  void make(std::size_t run, const std::vector<std::string>& set);

  /// Takes what they sent; does not wait.
  /// @param onEnd Called for each run that has ended, with its number and row.
  void receive(const std::function<void(std::size_t, SweepRow&)>& onEnd);

  /// They end what they make and go.
  void stop();

 private:
  Ranks* ranks_;
  std::deque<int> idle_;  // by rank, once per run that it could make
  std::size_t busy_ = 0;
  bool hasStopped_ = false;
};

/// What a helper does: makes the runs that rank 0 gives it, each in a process of its own, until it is told to stop.
/// @throws RunnerError if the FMU cannot be compiled or the system starts no process.
void helpSweep(const SweepOptions& options, Ranks& ranks);

}  // namespace vtio::runner
