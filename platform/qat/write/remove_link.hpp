/// @file
/// Taking a variable or a sample table out of a file.
#pragma once

#include <string>

#include "platform/qat/read/source.hpp"

namespace vtu::qat {

/// Lets a new object have a reference count of one more than it has links, which is what keeps HDF5 from deleting it
/// with its last link. Counted from the start, the removal of a link changes one block of the file and no more: a
/// program that is killed meanwhile leaves it whole.
/// @throws Failure
void keepWithoutLink(hid_t group, const std::string& link);

/// Removes a member of a group.
///
/// HDF5 deletes what has no link any more, and reads all of it without a check. What this session did not write
/// is therefore kept without a link: its bytes are lost until the file is repacked, as the bytes of everything that is
/// deleted are after closing.
/// @param written This session wrote all of it and called keepWithoutLink(): HDF5 deletes it. @throws Failure
void removeLink(const Source& source, hid_t group, const std::string& link, bool written);

}  // namespace vtu::qat
