/// @file
/// Where the values of each leaf stand in what an accessor delivers, read once from a signal's tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/qalc.hpp"
#include "recorders/layout/sample_order.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

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

/// One leaf.
struct LeafColumn {
  const core::utils::LeafNode* leaf = nullptr;
  const core::utils::VisualizationMetadataPolicy* visualization = nullptr;  ///< the leaf's, else its root's; or null
  StoredType type;
  std::vector<long long> busDimensions;  ///< of the arrays of buses above the leaf, outermost first
  std::vector<std::size_t> offsets;      ///< into the delivered bytes: of each piece of a row, in the row's order
  std::size_t deliveredBytes = 0;        ///< bytes of a piece: the leaf in one bus element, or one element of the leaf

  /// Bytes that one sample takes in a row: the delivered values, or a vtu::TextCell per text.
  [[nodiscard]] std::size_t bytesPerRow() const;
};

/// What arrives in one update: a leaf, or all leaves of a non-virtual bus.
struct LayoutPosition {
  std::vector<LeafColumn> columns;  ///< in the order of the tree
  std::size_t packedOffset = 0;     ///< of this position, if all of them are delivered at once, without gaps
};

/// The leaf positions of a signal, in the order in which a virtual bus accessor numbers them; one for any other signal.
///
/// A non-virtual bus root has the offsets that its tree carries; a non-virtual bus below a virtual one those of its own
/// children. Where no offsets are given, leaves follow each other without gaps: in a virtual bus that lies inside a
/// non-virtual one (which has one offset for all of it) and in a nested bus of unknown size.
/// @param order Of the delivered elements; rows are row-major whatever it is.
/// @throws std::invalid_argument with the signal and the leaf if the tree cannot be recorded.
[[nodiscard]] std::vector<LayoutPosition> readLayout(const core::utils::SignalDescriptor& descriptor,
                                                     SampleOrder order);

/// True for a bus that takes one position as a whole.
[[nodiscard]] bool isOnePosition(const core::utils::Node& node);

}  // namespace vtio::recorders
