/// @file
/// How the newest samples of signals with a limit of points are stored while the file is written.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/qat/hdf5.hpp"
#include "platform/qat/stray_format.hpp"

namespace vtu::qat {

inline constexpr const char* kRingsGroup = "qat.rings";       ///< member of the root while the file is written
inline constexpr const char* kRingLeavesMember = "leaves";    ///< one RingLeaf per leaf
inline constexpr const char* kRingSamplesMember = "samples";  ///< u1; sample n is in row n modulo the capacity
inline constexpr const char* kRingTextsMember = "texts";      ///< u1

/// In place of the number of the first sample: the leaf's samples are those of its table.
inline constexpr std::uint64_t kNotInRing = UINT64_MAX;

/// A leaf of a ring.
struct RingLeaf {
  static constexpr std::size_t kBytesInFile = 32;  ///< without padding

  LeafPlace place;             ///< what variables refer to
  std::uint32_t number = 0;    ///< rows[2 * number] is its first valid sample, the next number the one after its last
  std::uint32_t time = 0;      ///< where its time is in a row
  std::uint32_t start = 0;     ///< where its bytes are in a row
  std::uint32_t bytes = 0;     ///< as they would stand in the row of a table
  std::uint64_t capacity = 0;  ///< rows

  [[nodiscard]] static RingLeaf fromBytes(const std::byte* bytes);
  void toBytes(std::byte* out) const;
};

/// The type of such leaves, the same in memory and in the file.
[[nodiscard]] Handle makeRingLeafType();

}  // namespace vtu::qat
