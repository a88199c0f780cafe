/// @file
/// Files that are being streamed, or whose writer died: what is in them until they are plain Qat files.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/qat/read/source.hpp"

namespace vtu::qat {

/// Makes extents exact, moves the counts of valid rows into the records, and removes what only an unfinished file has.
/// Does nothing to a plain file. @param source Of a file that is open for writing.
/// @param rows Tables keep so many rows at least. @throws Failure
void finishStream(const Source& source, std::span<const std::uint64_t> rows);

/// The samples of leaves are in other tables now: their records keep neither rows nor a name. @throws Failure
void retireLeaves(const Source& source, std::uint32_t table, const std::vector<std::uint32_t>& records);

}  // namespace vtu::qat
