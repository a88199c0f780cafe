/// @file
/// A file that appears under its name only when it is whole.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "results/export.hpp"

namespace vtio::results {

/// A file beside the target, which commit() renames to it. Without commit() it is removed and the target stays as it
/// was.
///
/// A target that is a symbolic link is written where the link leads to.
class VTIO_RESULTS_EXPORT TargetFile final {
 public:
  /// Creates the file beside the target, empty.
  /// @throws ResultsError with the target's name.
  explicit TargetFile(std::string path);
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;
  ~TargetFile();

  /// The target as it was given.
  [[nodiscard]] const std::string& path() const { return path_; }

  /// The file that is to be written; it exists.
  [[nodiscard]] const std::string& temporaryPath() const { return temporary_; }

  /// Renames the file to the target.
  /// @throws ResultsError
  void commit();

 private:
  std::string path_;
  std::string resolved_;
  std::string temporary_;
};

/// Refuses to write a file that is read at the same time.
/// @throws ResultsError if `output` is the same file as one of `inputs`, also through a link.
VTIO_RESULTS_EXPORT void requireNoInput(const std::string& output, const std::vector<std::string>& inputs);

/// Text that goes to a TargetFile in large pieces, or to standard output if the name is "-".
class VTIO_RESULTS_EXPORT TextOutput final {
 public:
  /// @throws ResultsError if the target cannot be created.
  explicit TextOutput(const std::string& path);
  TextOutput(const TextOutput&) = delete;
  TextOutput& operator=(const TextOutput&) = delete;
  ~TextOutput();

  /// What is still to be written; append to it, and call flushIfLarge() now and then.
  [[nodiscard]] std::string& buffer() { return buffer_; }

  /// @return Whether it wrote.
  /// @throws ResultsError as when the disk is full.
  bool flushIfLarge() {
    if (buffer_.size() < kLarge) return false;
    flush();
    return true;
  }

  /// Writes what is left and makes the file appear.
  void commit();

 private:
  static constexpr std::size_t kLarge = std::size_t{256} << 10U;

  void flush();

  std::optional<TargetFile> target_;  // none: standard output
  std::string name_;                  // for messages
  int file_ = -1;
  std::string buffer_;
};

}  // namespace vtio::results
