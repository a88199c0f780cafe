/// @file
/// How HDF5 reads and writes the bytes of a Qat file.
///
/// The driver is HDF5's "sec2" with three differences. It takes no lock: the caller holds one from before the first
/// read until the file is closed. A file that a killed writer left marked as open is read as a closed one of the size
/// that it has, so that reading need not write; a streamed file keeps the mark, as HDF5 needs it. A write that fails is
/// not reported to HDF5, which could not close such a file any more and would fail for all files when the program ends.
#pragma once

#include <memory>
#include <string>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// The driver's identifier, registered with the first call. @throws Failure
[[nodiscard]] hid_t fileDriver();

/// HDF5's descriptor of an open file; -1 if it has none.
[[nodiscard]] int descriptorOf(hid_t file);

/// While it exists, the writes to files that HDF5 opens with the driver are checked until the files are closed: the
/// first one that fails stores its reason in `failure`. While that is not empty, whatever set it, nothing is written,
/// and HDF5 is told that it was.
class WatchedOpening final {
 public:
  explicit WatchedOpening(std::shared_ptr<std::string> failure);
  WatchedOpening(const WatchedOpening&) = delete;
  WatchedOpening& operator=(const WatchedOpening&) = delete;
  ~WatchedOpening();
};

}  // namespace vtu::qat
