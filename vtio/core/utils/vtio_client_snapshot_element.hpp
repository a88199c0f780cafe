/// @file
/// What a client that keeps samples may store in a snapshot.
#pragma once

#include <utility>
#include <vector>

#include "vtio/export.hpp"

namespace vtio::core::utils {

/// Four lists whose meaning is the client's own.
class VTIO_EXPORT VtioClientSnapshotElement {
 public:
  VtioClientSnapshotElement(std::vector<unsigned long> linearNSamples, std::vector<double> lastTimestamps,
                            std::vector<bool> duplicateTimes, std::vector<unsigned long> latestDuplicateTimeIdxs)
      : linearNSamples_(std::move(linearNSamples)),
        lastTimestamps_(std::move(lastTimestamps)),
        duplicateTimes_(std::move(duplicateTimes)),
        latestDuplicateTimeIdxs_(std::move(latestDuplicateTimeIdxs)) {}

  [[nodiscard]] const std::vector<unsigned long>& linearNSamples() const { return linearNSamples_; }
  [[nodiscard]] const std::vector<double>& lastTimestamps() const { return lastTimestamps_; }
  [[nodiscard]] const std::vector<bool>& duplicateTimes() const { return duplicateTimes_; }
  [[nodiscard]] const std::vector<unsigned long>& latestDuplicateTimeIdxs() const { return latestDuplicateTimeIdxs_; }

 private:
  std::vector<unsigned long> linearNSamples_;
  std::vector<double> lastTimestamps_;
  std::vector<bool> duplicateTimes_;
  std::vector<unsigned long> latestDuplicateTimeIdxs_;
};

}  // namespace vtio::core::utils
