/// @file
/// How many rows the next chunk of a growing column gets.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace vtio::recorders {

/// Smallest chunk, in bytes: its header and its place in the lists are about 3 % of it.
inline constexpr std::uint64_t kSmallestChunk = 1000;

/// Largest chunk, in bytes.
inline constexpr std::uint64_t kLargestChunk = std::uint64_t{1} << 22U;

/// Fewest rows of a chunk, so that wide rows do not cost an allocation each.
inline constexpr std::uint64_t kFewestRows = 4;

/// Rows of the next chunk: about 1/40 of what the column holds, so that what is not used yet stays small beside it, and at most
/// 2 roots of what it may hold at most: a limited column keeps one chunk more than it needs, and a header per chunk.
/// @param rowBytes Bytes of one row; 0 counts as 1.
/// @param rowsSoFar Rows recorded before.
/// @param maxPoints Most rows kept; 0 means no limit.
/// @param smallest The smallest chunk, in units of kSmallestChunk.
[[nodiscard]] inline std::uint32_t chunkRows(std::size_t rowBytes, std::uint64_t rowsSoFar, std::uint64_t maxPoints,
                                             std::uint64_t smallest) {
  const std::uint64_t width = std::max<std::uint64_t>(rowBytes, 1);
  std::uint64_t rows = std::min(rowsSoFar / 40, kLargestChunk / width);
  if (maxPoints != 0) rows = std::min(rows, static_cast<std::uint64_t>(2 * std::sqrt(static_cast<double>(maxPoints))));
  rows = std::max({rows, smallest * kSmallestChunk / width, kFewestRows});
  if (maxPoints != 0) rows = std::min(rows, maxPoints);
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(rows, kLargestChunk));
}

}  // namespace vtio::recorders
