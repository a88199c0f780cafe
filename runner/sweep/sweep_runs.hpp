/// @file
/// The runs of a sweep as processes of this machine.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "runner/isolation/channel.hpp"
#include "runner/isolation/child_process.hpp"
#include "runner/sweep/sweep_options.hpp"
#include "runner/sweep/sweep_table.hpp"

namespace vtio::runner {

/// Where the results files of the runs are.
[[nodiscard]] std::filesystem::path folderOf(const SweepOptions& options);

/// The options of one run.
/// @param set Its parameters, as NAME=VALUE.
[[nodiscard]] RunOptions optionsOfRun(const SweepOptions& options, std::size_t run,
                                      const std::vector<std::string>& set);

/// Compiles the FMU's sources, for all runs.
/// @return The library, in the folder.
[[nodiscard]] std::filesystem::path buildOnce(const RunOptions& options, const std::filesystem::path& folder);

/// A row for another process.
void putRow(Parcel& parcel, const SweepRow& row);
[[nodiscard]] SweepRow takeRow(Parcel& parcel);

/// A run that is being made in a process of its own.
class RunProcess final {
 public:
  RunProcess(std::size_t run, const RunOptions& options) : RunProcess(run, options, Channel::pair()) {}

  [[nodiscard]] std::size_t run() const { return run_; }

  /// For poll(): readable when receive() has something to do.
  [[nodiscard]] int socket() const { return channel_.socket(); }

  /// Passes a signal on, once, as soon as the run can end by it.
  void passOn(int number);

  /// Takes what the run sent.
  /// @param row Filled when the run has ended.
  /// @return Whether it has ended.
  [[nodiscard]] bool receive(SweepRow& row);

 private:
  RunProcess(std::size_t run, const RunOptions& options, std::pair<Channel, Channel> ends);

  std::size_t run_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  Channel channel_;
  ChildProcess process_;
  bool isReady_ = false;
  bool isTold_ = false;
};

/// The runs that are being made on this machine.
class RunProcesses final {
 public:
  [[nodiscard]] std::size_t count() const { return processes_.size(); }

  void start(std::size_t run, const RunOptions& options) { processes_.emplace_back(run, options); }

  /// Waits until a run has something to say.
  /// @param patience At most so long.
  /// @param onEnd Called for each run that has ended, with its number and row.
  void wait(std::chrono::milliseconds patience, const std::function<void(std::size_t, SweepRow&)>& onEnd);

  /// Lets all runs end by a signal; to be called again for those that began meanwhile.
  void passOn(int number);

 private:
  std::list<RunProcess> processes_;
};

}  // namespace vtio::runner
