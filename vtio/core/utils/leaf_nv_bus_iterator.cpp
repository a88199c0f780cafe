#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"

#include <utility>

namespace vtio::core::utils {

LeafNVBusIterator::LeafNVBusIterator(const Node& root) : LeafIterator(root, true, false) {}

LeafNVBusIterator::LeafNVBusIterator(LeafNVBusIterator&& other)  // NOLINT(performance-noexcept-move-constructor)
    : LeafIterator(std::move(other)) {}

LeafNVBusIterator::~LeafNVBusIterator() = default;

const Node* LeafNVBusIterator::operator*() const { return currentNode(); }

}  // namespace vtio::core::utils
