/// @file
/// Determines the columns of one position.
#pragma once

#include "recorders/layout/sample_order.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "vtio/core/utils/node.hpp"

namespace vtio::recorders {

/// The columns of one position.
/// @param node A leaf, a non-virtual bus or a bus without children.
/// @throws std::invalid_argument with the name of the node if it cannot be recorded.
[[nodiscard]] LayoutPosition readPosition(const core::utils::Node& node, SampleOrder order);

}  // namespace vtio::recorders
