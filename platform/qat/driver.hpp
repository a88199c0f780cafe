/// @file
/// How HDF5 reads and writes the bytes of a Qat file.
///
/// The driver is HDF5's "sec2" with these differences. It takes no lock: the caller holds one from before the first
/// read until the file is closed. A file that a killed writer left marked as open is read as a closed one of the size
/// that it has, so that reading need not write; a streamed file keeps the mark, as HDF5 needs it. A write that fails is
/// not reported to HDF5, which could not close such a file any more and would fail for all files when the program ends.
///
/// In a file that is changed in place, no block of up to 4096 bytes crosses a border of 4096 bytes, and each is written
/// by a call of its own. The system copies a page at a time, and a kill takes effect between two pages: so such a block
/// is changed as a whole or not at all.
#pragma once

#include <memory>
#include <string>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// What happens to a file that is opened.
enum class Changes {
  none,     ///< it is read, or it is new and of no use before it is closed
  inPlace,  ///< it must be readable whenever the program is killed
};

/// The driver's identifier, registered with the first call. @throws Failure
[[nodiscard]] hid_t fileDriver(Changes changes);

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
