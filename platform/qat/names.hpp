/// @file
/// Names of variables and fields, and the HDF5 link and attribute names that encode them.
#pragma once

#include <string>
#include <string_view>

namespace vtu::qat {

/// Longest encoded name that a file takes, in bytes.
inline constexpr std::size_t kLongestName = std::size_t{32} << 10;

/// Where a name is used: the rows of a table are named by digits alone, so its fields may not be.
enum class NameRole { plain, tableField };

/// The name in the file: '%', '/' and malformed UTF-8 are percent-encoded byte by byte, so are the first byte of a
/// name that begins with the reserved "qat.", a lone ".", and the first digit of an all-digit table field. The empty
/// name becomes "%00".
[[nodiscard]] std::string encodeName(std::string_view name, NameRole role = NameRole::plain);

/// The inverse of encodeName(); an unfinished or bad escape is not changed.
[[nodiscard]] std::string decodeName(std::string_view encoded);

}  // namespace vtu::qat
