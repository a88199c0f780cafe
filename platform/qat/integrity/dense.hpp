/// @file
/// Links and attributes that are too many for the header of their object: a heap of them and B-trees that find them.
#pragma once

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/messages.hpp"

namespace vtu::qat {

/// Checks all links of a group, or all attributes of an object, in the heap and in both trees. @throws Failure
void checkDenseLinks(Blocks& blocks, const DenseInfo& info, Purpose purpose);
void checkDenseAttributes(Blocks& blocks, const DenseInfo& info, Purpose purpose);

}  // namespace vtu::qat
