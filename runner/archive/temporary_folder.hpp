/// @file
/// A private folder that goes when its owner goes, however that happens.
#pragma once

#include <sys/types.h>

#include <filesystem>

#include "runner/export.hpp"

namespace vtio::runner {

/// Makes a folder that only this user can read, below TMPDIR or /tmp, and removes it with all its content at
/// destruction.
///
/// A child process watches over the folder: it removes the folder when this process ends without doing so itself,
/// killed by any signal or by a crash. Not copied, not moved.
class VTIO_RUNNER_EXPORT TemporaryFolder final {
 public:
  /// @throws RunnerError if the folder or its watcher cannot be made.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Absolute, without links; valid as long as the object.
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  void startWatcher();

  std::filesystem::path path_;
  int lifeline_ = -1;  // its end tells the watcher that this process is gone
  pid_t watcher_ = -1;
};

}  // namespace vtio::runner
