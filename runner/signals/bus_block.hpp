/// @file
/// Arrays of buses as blocks of memory, laid out like arrays of C structures.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "runner/signals/signal_tree.hpp"
#include "runner/signals/value_store.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"

namespace vtio::runner {

/// Makes the leaf of a variable under a name.
using LeafMaker = std::function<std::unique_ptr<core::utils::LeafNode>(const SignalNode& node)>;

/// Bytes of one sample of the array.
[[nodiscard]] std::size_t blockBytes(const SignalNode& array, const ModelDescription& model);

/// The tree of an array of buses. As the root of a signal it carries its leaf data offsets.
[[nodiscard]] std::unique_ptr<core::utils::Node> makeBlockTree(const SignalNode& array, const ModelDescription& model,
                                                               const LeafMaker& makeLeaf, bool isRoot);

/// A value that belongs into a block.
struct BlockPiece {
  const std::byte* source;
  std::size_t offset;
  std::size_t bytes;
};

/// Where the values of the array's variables belong in its block.
[[nodiscard]] std::vector<BlockPiece> blockPieces(const SignalNode& array, const ModelDescription& model,
                                                  const ValueStore& values);

}  // namespace vtio::runner
