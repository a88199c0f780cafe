/// @file
/// The list of nodes that generated code fills, and the tree made from it.
///
/// Nodes are in depth-first pre-order; a null entry closes the bus opened last.
///
///     T, L1, B, L2, null, L3, null   is   T with the children L1, B (with L2), L3
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vtio/core/utils/node.hpp"
#include "vtio/export.hpp"

namespace mdlref_simtarget {

using TreeVector = std::vector<std::unique_ptr<vtio::core::utils::Node>>;

/// The texts strings[0..count), copied; a null text counts as empty.
[[nodiscard]] VTIO_EXPORT std::vector<std::string> arrayToStrVector(const char** strings, unsigned long count);

/// Assembles the tree; takes the nodes out of the vector. Entries after the marker that closes the root stay in it.
/// @return The root; null if the vector is empty or the root is never closed, in which case the nodes are destroyed. A
///   single entry is the root without a marker.
/// @throws std::invalid_argument for a leaf or a marker while no bus is open.
[[nodiscard]] VTIO_EXPORT std::unique_ptr<vtio::core::utils::Node> rootFromTreeVector(TreeVector& treeVector);

}  // namespace mdlref_simtarget
