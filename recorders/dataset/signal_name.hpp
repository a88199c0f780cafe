/// @file
/// The names of recorded signals in sample tables.
#pragma once

#include <cstdint>

#include "platform/text.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"

namespace vtio::recorders {

/// The signal's name, or `BLOCK/PATH:PORT` if it has none, the levels of the path joined by `|`. The leaves of a bus
/// append `.CHILD` for each level.
/// @param isIteration Append `[k]` for iteration k of a for-each.
[[nodiscard]] vtu::ustring signalName(const core::utils::SignalDescriptor& descriptor, bool isIteration,
                                      std::uint64_t iteration);

}  // namespace vtio::recorders
