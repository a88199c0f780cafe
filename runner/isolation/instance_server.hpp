/// @file
/// The end of a channel at which an FMU runs.
#pragma once

#include "runner/fmu/instance.hpp"
#include "runner/isolation/channel.hpp"

namespace vtio::runner {

/// Instantiates an FMU and does what the channel asks for until the other end finishes or is gone.
/// @param setup Its messages go into the channel, whatever sink it names.
void serveInstance(Channel& channel, const ModelDescription& model, const InstanceSetup& setup, Kind kind);

}  // namespace vtio::runner
