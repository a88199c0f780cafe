/// @file
/// How a signal that cannot be recorded is refused.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/text.hpp"
#include "vtio/core/utils/node.hpp"

namespace vtio::recorders {

/// Throws std::invalid_argument with the name of the node.
[[noreturn]] inline void refuse(const core::utils::Node& node, const std::string& reason) {
  throw std::invalid_argument("Cannot record '" + vtu::to_string(node.signalName()) + "': " + reason);
}

}  // namespace vtio::recorders
