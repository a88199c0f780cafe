/// @file
/// Files that are being streamed, or whose writer died: what is in them until they are plain Qat files.
#pragma once

#include "platform/qat/read/source.hpp"

namespace vtu::qat {

/// Makes extents exact, moves the counts of valid rows into the records, and removes what only an unfinished file has.
/// Does nothing to a plain file. @param source Of a file that is open for writing.
/// @throws Failure
void finishStream(const Source& source);

}  // namespace vtu::qat
