/// @file
/// Tells accessors when what they learned of their signal may be out of date. Not installed.
#pragma once

#include <atomic>
#include <cstdint>

namespace vtio::core::utils {

/// A number that changes whenever something changes that decides how samples are delivered: a transformation policy is
/// attached to a node, the decimation of a descriptor is overridden. Never 0. Shared by the simulations of all threads: a
/// change in another one costs a second look and no more.
class DeliveryEpoch final {
 public:
  [[nodiscard]] static std::uint32_t now() { return number.load(std::memory_order_relaxed); }
  static void advance();

 private:
  static std::atomic<std::uint32_t> number;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
};

}  // namespace vtio::core::utils
