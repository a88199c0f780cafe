/// @file
/// Where the values of each leaf are in the bytes that an accessor delivers, read once from a signal's tree.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/sample_table.hpp"
#include "recorders/layout/sample_order.hpp"
#include "recorders/layout/stored_type.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::recorders {

/// One leaf.
struct LeafColumn {
  const core::utils::LeafNode* leaf = nullptr;
  const core::utils::VisualizationMetadataPolicy* visualization = nullptr;  ///< the leaf's, else its root's; or null
  StoredType type;
  std::vector<long long> busDimensions;  ///< of the arrays of buses above the leaf, outermost first
  std::vector<std::size_t> offsets;      ///< into the delivered bytes: of each piece of a sample, in row order
  std::size_t deliveredBytes = 0;        ///< bytes of a piece: the leaf in one bus element, or one element of the leaf

  /// Bytes that one sample takes in a row: the delivered values, or a vtu::TextCell per text.
  [[nodiscard]] std::size_t bytesPerRow() const {
    return offsets.size() * (type.text == StoredType::Text::none ? deliveredBytes : vtu::TextCell::kBytesInRow);
  }
};

/// What one update delivers: a leaf, or all leaves of a non-virtual bus.
struct LayoutPosition {
  const core::utils::Node* node = nullptr;
  std::vector<LeafColumn> columns;  ///< in the order of the tree
  std::size_t packedOffset = 0;     ///< of this position, if all of them are delivered at once, without gaps
};

/// The leaf positions of a signal: the items of LeafNVBusIterator, in its order, as a virtual bus accessor numbers
/// them; one for any other signal.
///
/// A non-virtual bus root has the offsets that its tree gives; a non-virtual bus below a virtual one those of its own
/// children. Where no offsets are given, leaves follow each other without gaps: in a virtual bus inside a
/// non-virtual one (which has one offset for all of it) and in a nested bus of unknown size.
/// @param order Of the delivered elements; rows are row-major whatever it is.
/// @throws std::invalid_argument with the name of the node if the tree cannot be recorded: a bus lacks children or
///   offsets, has offsets outside its elements or no size, a leaf's bytes do not fit its type, something is too large,
///   or a virtual bus has fewer input ports than positions.
[[nodiscard]] std::vector<LayoutPosition> readLayout(const core::utils::SignalDescriptor& descriptor,
                                                     SampleOrder order);

}  // namespace vtio::recorders
