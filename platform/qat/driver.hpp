/// @file
/// How HDF5 gets at the bytes of a Qat file.
///
/// The driver is HDF5's own "sec2" but for three things. It takes no lock: whoever opens the file holds one already, from
/// before the first look until the end. A file that a killed writer left marked as open reads as a closed one that ends
/// where it ends, so that reading need not write; a streamed file keeps its mark, HDF5 follows it. And HDF5 does not hear of
/// a write that fails: it cannot close such a file any more, and then fails for all files when the program ends.
#pragma once

#include <memory>
#include <string>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// The driver's identifier, registered with the first call. @throws Failure
[[nodiscard]] hid_t fileDriver();

/// HDF5's descriptor of an open file; -1 if it has none.
[[nodiscard]] int descriptorOf(hid_t file);

/// While it lives, files that HDF5 opens with the driver are watched until they are closed: the first write that fails leaves
/// its reason in `failure`. Once that is not empty, whoever put something there, nothing is written any more, and HDF5 takes it
/// for written.
class WatchedOpening final {
 public:
  explicit WatchedOpening(std::shared_ptr<std::string> failure);
  WatchedOpening(const WatchedOpening&) = delete;
  WatchedOpening& operator=(const WatchedOpening&) = delete;
  ~WatchedOpening();
};

}  // namespace vtu::qat
