/// @file
/// Links and attributes that are too many for the header of their object: a heap of them and trees that find them.
#pragma once

#include <vector>

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/messages.hpp"
#include "platform/qat/integrity/purpose.hpp"

namespace vtu::qat {

/// Checks all links of a group, in the heap and in both trees, and adds the objects that they lead to. @throws Failure
void checkDenseLinks(Blocks& blocks, const DenseInfo& info, Purpose purpose, std::vector<std::uint64_t>& targets);

/// Checks all attributes of an object, in the heap and in both trees. @throws Failure
void checkDenseAttributes(Blocks& blocks, const DenseInfo& info, Purpose purpose, const NamedTypes& named);

}  // namespace vtu::qat
