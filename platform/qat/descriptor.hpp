/// @file
/// A second descriptor of a file, besides that of HDF5: it locks the file and reads it first.
#pragma once

#include <string>

namespace vtu::qat {

/// Owns a descriptor of a regular file. The lock is that of flock(), which HDF5 programs take as well.
class Descriptor final {
 public:
  Descriptor() = default;

  /// Opens a file and locks it, without waiting. @param flags Of open(); O_RDONLY takes a shared lock, any
  /// other an exclusive one. @param lock False: the caller has the right to the file already. @throws Failure with the
  /// system's message, and when the file is in use
  Descriptor(const std::string& name, int flags, bool lock = true);
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor() { reset(); }

  [[nodiscard]] int get() const { return value_; }

  /// True if the other descriptor is of the same file.
  [[nodiscard]] bool isSameFileAs(int other) const;

  void reset();

 private:
  int value_ = -1;
};

}  // namespace vtu::qat
