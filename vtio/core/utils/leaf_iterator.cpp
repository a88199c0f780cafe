#include "vtio/core/utils/leaf_iterator.hpp"

#include <algorithm>
#include <utility>

#include "vtio/core/utils/dimensions.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"

namespace vtio::core::utils {
namespace {

bool isNonVirtual(const Node& node) {
  return node.getSignalType() == nonVirtualBus || node.getSignalType() == arrayOfNonVirtualBuses;
}

// How many times an iterator that loops over arrays of buses visits the node.
long long repetitions(const Node* node) {
  const auto* bus = dynamic_cast<const NVBusNode*>(node);
  if (bus == nullptr || bus->arrayOfBusDimensions().empty()) return 1;
  return dimensionProduct(bus->arrayOfBusDimensions());
}

}  // namespace

LeafIterator::LeafIterator(const Node& root) : LeafIterator(root, false, false) {}

LeafIterator::LeafIterator(const Node& root, bool stopAtNVBus, bool loopArraysOfBuses)
    : stopAtNVBus_(stopAtNVBus), loopArraysOfBuses_(loopArraysOfBuses) {
  push(&root);
  goToLeaf();
}

LeafIterator::LeafIterator(LeafIterator&& other)  // NOLINT(performance-noexcept-move-constructor)
    : pending_(std::move(other.pending_)),
      stopAtNVBus_(other.stopAtNVBus_),
      loopArraysOfBuses_(other.loopArraysOfBuses_) {}

LeafIterator::~LeafIterator() = default;

LeafIterator& LeafIterator::operator++() {
  pending_.pop_back();
  goToLeaf();
  return *this;
}

const LeafNode* LeafIterator::operator*() const { return dynamic_cast<const LeafNode*>(currentNode()); }

const Node* LeafIterator::currentNode() const { return pending_.empty() ? nullptr : pending_.back(); }

void LeafIterator::push(const Node* node) {
  const long long count = loopArraysOfBuses_ ? repetitions(node) : 1;
  for (long long k = 0; k < count; ++k) pending_.push_back(node);
}

void LeafIterator::goToLeaf() {
  while (!pending_.empty()) {
    const auto* bus = dynamic_cast<const BusNode*>(pending_.back());
    if (bus == nullptr || (stopAtNVBus_ && isNonVirtual(*bus)) || bus->numberOfChildren() == 0) return;
    pending_.pop_back();
    // At most the announced number of children is visited; a bus that has fewer is visited over those it has.
    const std::size_t count = std::min<std::size_t>(bus->numberOfChildren(), bus->children().size());
    for (std::size_t i = count; i-- > 0;) push(bus->children()[i].get());
  }
}

}  // namespace vtio::core::utils
