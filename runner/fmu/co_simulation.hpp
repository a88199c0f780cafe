/// @file
/// Co-Simulation of each version. See instance.hpp.
#pragma once

#include <memory>

#include "runner/fmu/instance.hpp"

namespace vtio::runner {

[[nodiscard]] std::unique_ptr<Instance> makeCoSimulationOfFmi2(const ModelDescription& model,
                                                               const InstanceSetup& setup);

[[nodiscard]] std::unique_ptr<Instance> makeCoSimulationOfFmi3(const ModelDescription& model,
                                                               const InstanceSetup& setup);

}  // namespace vtio::runner
