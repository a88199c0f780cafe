/// @file
/// The number by which accessors detect that their caches are stale. Not installed.
#pragma once

#include <atomic>
#include <cstdint>

namespace vtio::core::utils {

/// Changes whenever something changes that decides how samples are delivered: a transformation policy is attached to a
/// node, the decimation of a descriptor is overridden, or the clients of an accessor change. Never 0. One number for
/// the simulations of all threads: a change in another simulation costs one refresh of each cache.
class DeliveryEpoch final {
 public:
  [[nodiscard]] static std::uint32_t now() { return number.load(std::memory_order_relaxed); }
  static void advance();

 private:
  static std::atomic<std::uint32_t> number;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
};

}  // namespace vtio::core::utils
