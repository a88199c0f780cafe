/// @file
/// Taking a variable or a sample table out of a file.
#pragma once

#include <string>

#include "platform/qat/read/source.hpp"

namespace vtu::qat {

/// Removes a member of a group.
///
/// HDF5 deletes what has no link any more, and goes through all of it without a check. What this session did not write
/// therefore keeps a reference count more than it has links: its bytes are lost until the file is repacked, as the
/// bytes of everything that is deleted are after closing.
/// @param written This session wrote all of it: HDF5 may delete it. @throws Failure
void removeLink(const Source& source, hid_t group, const std::string& link, bool written);

}  // namespace vtu::qat
