/// @file
/// Keeps a disk from filling up under a file that HDF5 writes.
#pragma once

#include <cstdint>

namespace vtu::qat {

/// Asks before each write whether there is room for it and for what closing the file still needs.
class DiskGuard final {
 public:
  static constexpr std::uint64_t kMargin = std::uint64_t{8} << 20U;  ///< bytes that must stay free

  /// @param descriptor Of a file on the disk; borrowed.
  explicit DiskGuard(int descriptor) : descriptor_(descriptor) {}

  /// @throws Failure with kDiskFull if there is no room for `bytes` more.
  void require(std::uint64_t bytes) const;

  /// From now on writes may use most of the margin: what comes is the last.
  void useMargin() { margin_ = kMargin / 8; }

 private:
  int descriptor_;
  std::uint64_t margin_ = kMargin;
};

}  // namespace vtu::qat
