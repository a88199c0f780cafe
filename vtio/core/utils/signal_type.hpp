/// @file
/// The kind that every node and descriptor carries. See node.hpp.
#pragma once

#include <cstdint>

namespace vtio::core::utils {

/// Kind of a node. The values are fixed: generated code and the traversal compare them.
enum SignalType : std::int32_t {
  leafSignal = 0,              ///< A leaf.
  virtualBus = 1,              ///< A virtual bus: children without a memory layout of their own.
  nonVirtualBus = 2,           ///< A single bus laid out like a structure.
  arrayOfNonVirtualBuses = 3,  ///< An array of buses laid out like structures.
  assessmentLeaf = 5,          ///< An AssessmentLeafNode.
  unspecified = 7              ///< A node made from a name alone.
};

}  // namespace vtio::core::utils
