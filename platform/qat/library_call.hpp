/// @file
/// Calls into HDF5: one at a time in the process, without printing.
#pragma once

#include <mutex>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// While it exists, only this thread calls HDF5, which prints nothing. It may be nested: a table that is being written
/// may read its rows from another file.
class LibraryCall final {
 public:
  LibraryCall() : lock_(mutex()) {}

 private:
  static std::recursive_mutex& mutex() {
    static std::recursive_mutex mutex;
    return mutex;
  }

  std::lock_guard<std::recursive_mutex> lock_;
  QuietErrors quiet_;
};

}  // namespace vtu::qat
