/// @file
/// How the values of a leaf are kept.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/qalc.hpp"
#include "vtio/core/utils/leaf_node.hpp"

namespace vtio::recorders {

/// How a leaf's values are kept.
struct StoredType {
  /// Where the text of a string leaf is found.
  enum class Text : std::uint8_t {
    none,     ///< not a string leaf
    address,  ///< the delivered bytes begin with the address of a std::u16string
    inPlace   ///< null-terminated UTF-16 text inside the bytes of a non-virtual bus
  };

  qxClassID id = qxDOUBLE;       ///< class of the array elements
  std::size_t elementBytes = 0;  ///< bytes of one delivered real value
  std::size_t words = 1;         ///< array elements per real value; more than 1 for fixed-point beyond 64 bits
  bool isComplex = false;
  Text text = Text::none;
};

/// @throws std::invalid_argument with the name of the leaf if its type, its dimensions and its bytesPerSample() do
///   not fit each other.
[[nodiscard]] StoredType storedType(const core::utils::LeafNode& leaf, bool insideNonVirtualBus);

}  // namespace vtio::recorders
