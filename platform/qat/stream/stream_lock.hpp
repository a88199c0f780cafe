/// @file
/// Who streams into a file. HDF5 gives up its own lock when concurrent readers are let in, so there is one of ours.
#pragma once

#include <string>

namespace vtu::qat {

/// Holds a file against others that want to write it, in this process and in others. Readers do not notice.
///
/// A lock of an open file description on all of the file; the system releases it when the process dies.
class StreamLock final {
 public:
  /// Makes the file if need be and takes the lock.
  /// @throws Failure if the file cannot be opened, is not a regular one, or is held.
  explicit StreamLock(const std::string& name);
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;
  ~StreamLock();

  /// True if the name still leads to the file that is held.
  [[nodiscard]] bool holds(const std::string& name) const;

 private:
  int descriptor_;
};

/// @throws Failure if somebody streams into the file with this descriptor.
void requireNotStreamed(int descriptor);

}  // namespace vtu::qat
