/// @file
/// Where the elements of a dataset stand, checked against its type and extents.
#pragma once

#include <vector>

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/messages.hpp"

namespace vtu::qat {

/// What a dataset is, as its messages say.
struct DatasetInfo {
  SpaceInfo space;
  TypeInfo type;
  std::vector<unsigned> filters;
};

/// Checks that the storage holds what type and extents ask for, and that it lies in the file; of chunks, their index and
/// that every chunk gives as many bytes as it has elements. @throws Failure
void checkLayout(Blocks& blocks, Cursor at, const DatasetInfo& dataset);

}  // namespace vtu::qat
