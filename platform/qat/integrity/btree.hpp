/// @file
/// The version 2 B-trees that find links, attributes and large heap objects.
#pragma once

#include <functional>

#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// What the records of a tree are: its Type.
enum class BtreeType : std::uint8_t {
  hugeObjects = 1,
  linkNames = 5,
  linkOrder = 6,
  attributeNames = 8,
  attributeOrder = 9,
};

/// Checks the header and every node of the tree at an address, and passes its records on in order.
/// @param recordSize What the records' type demands, in bytes.
/// @return the number of records. @throws Failure
std::uint64_t readBtree(Blocks& blocks, std::uint64_t address, BtreeType type, std::size_t recordSize,
                        const std::function<void(Cursor)>& visit);

}  // namespace vtu::qat
