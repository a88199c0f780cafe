/// @file
/// Visits the leaves of a signal tree, with each non-virtual bus as one item.
#pragma once

#include "vtio/core/utils/leaf_iterator.hpp"

namespace vtio::core::utils {

/// Yields the nodes that are delivered as one block: leaves and whole non-virtual buses.
class VTIO_EXPORT LeafNVBusIterator : public LeafIterator {
 public:
  explicit LeafNVBusIterator(const Node& root);
  LeafNVBusIterator(LeafNVBusIterator&& other);  // NOLINT(performance-noexcept-move-constructor): as the base
  ~LeafNVBusIterator() override;

  /// The current node whatever its class; null at the end.
  const Node* operator*() const;
};

}  // namespace vtio::core::utils
