/// @file
/// Who streams into a file, and who may look at it meanwhile.
#pragma once

#include <string>

#include "platform/qat/descriptor.hpp"

namespace vtu::qat {

/// Keeps other programs and other files of this one from writing a file, as long as it exists.
///
/// The lock of Descriptor cannot do that: while readers are let in, it must be free for them. So there is a second one,
/// of an open file description on all of the file. The system releases both when the process dies.
class StreamLock final {
 public:
  /// Makes the file if need be and takes the locks.
  /// @throws Failure if the file cannot be opened, is not a regular one, or is in use.
  explicit StreamLock(const std::string& name);
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;
  ~StreamLock() = default;

  /// A descriptor for reading and writing, owned by the lock.
  [[nodiscard]] const Descriptor& file() const { return descriptor_; }

  /// Lets others read the file.
  void letReadersIn() const;

  /// Keeps away readers that come from now on, unless there are some already.
  void keepReadersOut() const;

 private:
  Descriptor descriptor_;
};

/// @throws Failure if somebody streams into the file with this descriptor.
void requireNotStreamed(int descriptor);

}  // namespace vtu::qat
