/// @file
/// A descriptor of our own beside HDF5's, which locks the file and looks at it first.
#pragma once

#include <string>

namespace vtu::qat {

/// Owns a descriptor of a regular file. The lock is that of flock(), which HDF5 programs take as well.
class Descriptor final {
 public:
  Descriptor() = default;

  /// Opens a file and locks it, without waiting. @param flags Of open(); O_RDONLY asks for a lock that readers share, any
  /// other for one that nobody else has. @throws Failure in the system's words, and when the file is in use
  Descriptor(const std::string& name, int flags);
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
