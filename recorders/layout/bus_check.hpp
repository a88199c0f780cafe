/// @file
/// Checks that the leaves of a bus can be located.
#pragma once

#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"

namespace vtio::recorders {

/// Most elements of arrays of buses, and most data offsets, in one sample; more is a damaged description.
inline constexpr long long kMostElements = 1LL << 32;

/// Refuses a tree in which a bus has other children than it announced: a node was dropped while it was built, so that
/// all leaves after it would be recorded under other names.
/// @throws std::invalid_argument with the name of the bus.
void checkChildren(const core::utils::Node& node);

/// Elements of an array of buses.
/// @throws std::invalid_argument with the name of the bus if a dimension is negative or their product too large.
[[nodiscard]] long long elementsOf(const core::utils::NVBusNode& bus);

/// Data offsets of one element of a bus: one per leaf and per virtual bus, arrays below it unrolled.
/// @throws std::invalid_argument with the name of the bus if they are too many.
[[nodiscard]] long long offsetsOf(const core::utils::NVBusNode& bus);

/// Refuses a bus that has no size or an offset too few, itself or below it.
/// @throws std::invalid_argument with the name of the bus.
void checkOffsets(const core::utils::NVBusNode& bus);

}  // namespace vtio::recorders
