/// @file
/// Calls into HDF5: one at a time in the process, without printing.
#pragma once

#include <mutex>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// While it exists, only this thread calls HDF5, which prints nothing.
class LibraryCall final {
 public:
  LibraryCall() : lock_(mutex()) {}

 private:
  static std::mutex& mutex() {
    static std::mutex mutex;
    return mutex;
  }

  std::lock_guard<std::mutex> lock_;
  QuietErrors quiet_;
};

}  // namespace vtu::qat
