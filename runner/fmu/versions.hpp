/// @file
/// The instances of each version and kind.
#pragma once

#include <memory>

#include "runner/fmu/co_simulation.hpp"
#include "runner/fmu/model_exchange.hpp"

namespace vtio::runner {

[[nodiscard]] std::unique_ptr<CoSimulation> makeCoSimulationOfFmi2(const ModelDescription& model,
                                                                   const InstanceSetup& setup);
[[nodiscard]] std::unique_ptr<CoSimulation> makeCoSimulationOfFmi3(const ModelDescription& model,
                                                                   const InstanceSetup& setup);
[[nodiscard]] std::unique_ptr<ModelExchange> makeModelExchangeOfFmi2(const ModelDescription& model,
                                                                     const InstanceSetup& setup);
[[nodiscard]] std::unique_ptr<ModelExchange> makeModelExchangeOfFmi3(const ModelDescription& model,
                                                                     const InstanceSetup& setup);

}  // namespace vtio::runner
