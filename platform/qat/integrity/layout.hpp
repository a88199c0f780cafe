/// @file
/// Where the elements of a dataset are stored, checked against its type and extents.
#pragma once

#include <vector>

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/messages.hpp"

namespace vtu::qat {

/// What the messages of a dataset describe.
struct DatasetInfo {
  SpaceInfo space;
  TypeInfo type;
  std::vector<unsigned> filters;
};

/// Checks that the storage has the size that type and extents require, and that it is in the file; of chunks, their
/// index and that every chunk has as many bytes as it has elements. @throws Failure
void checkLayout(Blocks& blocks, Cursor at, const DatasetInfo& dataset);

}  // namespace vtu::qat
