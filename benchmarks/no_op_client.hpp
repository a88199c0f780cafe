/// @file
/// The floors of updating and recording: in a source of their own, so that no call is inlined.
#pragma once

#include <cstddef>
#include <memory>

#include "vtio/core/client/client.hpp"

namespace vtio::benchmarks {

/// A client that does nothing: an update costs what delivering to it costs.
std::unique_ptr<core::client::Client> makeNoOpClient(const core::utils::SignalDescriptor& descriptor);

/// A client that appends each value of a double signal to a vector with room for all of them.
std::unique_ptr<core::client::Client> makeVectorClient(const core::utils::SignalDescriptor& descriptor,
                                                       std::size_t capacity);

}  // namespace vtio::benchmarks
