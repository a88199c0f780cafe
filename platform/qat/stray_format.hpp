/// @file
/// How the log of strays is stored: the samples of a file that is being written that are in no row of a table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

inline constexpr const char* kStraysGroup = "qat.strays";      ///< member of the root while the file is written
inline constexpr const char* kStraySamplesMember = "samples";  ///< one stray per row
inline constexpr const char* kStrayBytesMember = "bytes";      ///< what the row of the table would hold; texts

/// A leaf in the file: table and record of its `columns`.
using LeafPlace = std::pair<std::uint32_t, std::uint32_t>;

/// In place of the column: the bytes describe a leaf that no table has, as JSON.
inline constexpr std::uint32_t kDescriptionColumn = 0xFFFFFFFF;

/// The table of leaves that no table has.
inline constexpr std::uint32_t kLateTable = 0xFFFFFFFF;

/// One stray: a sample of a leaf.
struct Stray {
  static constexpr std::size_t kBytesInFile = 28;  ///< without padding

  std::uint32_t table = 0;
  std::uint32_t column = 0;
  double time = 0;
  std::uint64_t start = 0;  ///< of its bytes
  std::uint32_t bytes = 0;

  [[nodiscard]] static Stray fromBytes(const std::byte* bytes);
  void toBytes(std::byte* out) const;
};

/// The type of strays, the same in memory and in the file.
[[nodiscard]] Handle makeStrayType();

/// True for the type of strays.
[[nodiscard]] bool isStrayType(hid_t type);

}  // namespace vtu::qat
