/// @file
/// A client that does nothing: what is left of an update is the way to it.
#pragma once

#include <memory>

#include "vtio/core/client/client.hpp"

namespace vtio::benchmarks {

/// Made out of sight of the benchmarks, so that no compiler knows which class it calls.
std::unique_ptr<core::client::Client> makeNoOpClient(const core::utils::SignalDescriptor& descriptor);

}  // namespace vtio::benchmarks
