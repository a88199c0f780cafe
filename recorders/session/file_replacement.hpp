/// @file
/// Replaces a file by a complete new one. Not installed.
///
///     FileReplacement replacement("results.qat");
///     ... write a file of the name replacement.path() ...
///     replacement.commit();
#pragma once

#include <string>

namespace vtio::recorders {

/// Gives a file name to write under, beside the target, and renames that file to the target when it is complete.
///
/// Until then the target keeps its contents, whatever fails. A target that is no regular file (a device), and one
/// in a folder in which no file can be made, is written in place. Links are followed.
class FileReplacement final {
 public:
  /// @param target The file to replace, which need not exist.
  /// @throws std::runtime_error with the cause if the target cannot be written or is being written by another program.
  explicit FileReplacement(const std::string& target);
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Removes the new file unless it was committed.
  ~FileReplacement();

  /// The name to write under: an empty file, or the target itself.
  [[nodiscard]] const std::string& path() const { return path_; }

  /// Puts the new file on the disk and then in the target's place. The file must be closed.
  /// @throws std::runtime_error with the cause; the target is as it was then.
  void commit();

 private:
  std::string target_;  // no symbolic link
  std::string path_;
  bool isBeside_ = false;  // path_ is a file of its own, which this object removes
};

}  // namespace vtio::recorders
