/// @file
/// Visits the leaves of a signal tree, depth first, first child first.
///
///     for (LeafIterator leaves = root.leafIterator(); const LeafNode* leaf = *leaves; ++leaves) use(*leaf);
///
/// See leaf_nv_bus_iterator.hpp for the variant that stops at non-virtual buses.
#pragma once

#include <deque>

#include "vtio/export.hpp"

namespace vtio::core::utils {

class LeafNode;
class Node;

/// Forward iterator over the leaves of a tree. Moved, not copied.
///
/// Borrows the nodes: the tree must outlive the iterator and must not change while it is in use.
class VTIO_EXPORT LeafIterator {
 public:
  /// Enters every bus, each once.
  explicit LeafIterator(const Node& root);

  /// @param stopAtNVBus Yield a non-virtual bus (a null leaf) instead of entering it.
  /// @param loopArraysOfBuses Visit the subtree of an array of n non-virtual buses n times in a row, not at all for
  ///   n < 1.
  LeafIterator(const Node& root, bool stopAtNVBus, bool loopArraysOfBuses);

  LeafIterator(LeafIterator&& other);  // NOLINT(performance-noexcept-move-constructor): moving a deque may allocate
  LeafIterator(const LeafIterator&) = delete;
  LeafIterator& operator=(const LeafIterator&) = delete;
  LeafIterator& operator=(LeafIterator&&) = delete;

  virtual ~LeafIterator();

  /// Moves to the next item. Not to be called at the end.
  LeafIterator& operator++();

  /// The current leaf; null at the end, and null where the current node is no leaf (an empty bus, or a non-virtual bus
  /// at which the iterator stops).
  const LeafNode* operator*() const;

 protected:
  /// The current node whatever its class; null at the end.
  [[nodiscard]] const Node* currentNode() const;

 private:
  void goToLeaf();
  void push(const Node* node);

  std::deque<const Node*> pending_;  // a stack; its back is the current node
  bool stopAtNVBus_;
  bool loopArraysOfBuses_;
};

}  // namespace vtio::core::utils
