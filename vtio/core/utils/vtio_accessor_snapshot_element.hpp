/// @file
/// What a snapshot of an accessor holds.
#pragma once

#include <utility>
#include <vector>

#include "vtio/export.hpp"

namespace vtio::core::utils {

/// Decimation counters, one per leaf that the accessor delivers.
class VTIO_EXPORT VtioAccessorSnapshotElement {
 public:
  explicit VtioAccessorSnapshotElement(std::vector<unsigned long> decimationCounters)
      : decimationCounters_(std::move(decimationCounters)) {}

  /// @param i Leaf position; not checked.
  [[nodiscard]] unsigned long decimationCounter(unsigned long i) const { return decimationCounters_[i]; }

 private:
  std::vector<unsigned long> decimationCounters_;
};

}  // namespace vtio::core::utils
