/// @file
/// How many rows the next tile of a table gets.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace vtio::recorders {

/// Rows of the next tile: about 1/40 of what the table holds, so that unused rows take little memory, and at least
/// about 1 KB. A table that keeps the newest N rows holds at most 2 sqrt(N) more.
/// @param rowBytes Bytes of one row with its time.
/// @param held Rows that the table holds.
/// @param maxPoints Most rows kept; 0 means no limit.
[[nodiscard]] inline std::uint32_t tileRows(std::size_t rowBytes, std::uint64_t held, std::uint64_t maxPoints) {
  constexpr std::uint64_t kSmallest = 1000;                    // bytes: the header is about 4 % of it
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 22U;  // bytes
  const std::uint64_t width = std::max<std::uint64_t>(rowBytes, 1);
  std::uint64_t rows = std::max({std::min(held / 40, kLargest / width), kSmallest / width, std::uint64_t{1}});
  if (maxPoints != 0) {
    const auto root = static_cast<std::uint64_t>(std::sqrt(static_cast<double>(maxPoints)));
    rows = std::min(rows, std::clamp<std::uint64_t>(root, 1, maxPoints));
  }
  return static_cast<std::uint32_t>(std::min(rows, kLargest));
}

/// Rows of a tile of a streamed table: about 256 KB, so that the row that is written and what is copied are in the
/// cache.
[[nodiscard]] inline std::uint32_t streamedTileRows(std::size_t rowBytes) {
  constexpr std::size_t kBytes = std::size_t{1} << 18U;
  return static_cast<std::uint32_t>(std::clamp<std::size_t>(kBytes / std::max<std::size_t>(rowBytes, 1), 1, 8192));
}

}  // namespace vtio::recorders
