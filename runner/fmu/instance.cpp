#include "runner/fmu/instance.hpp"

#include "runner/fmu/co_simulation.hpp"

namespace vtio::runner {

Instance::~Instance() = default;

std::unique_ptr<Instance> makeCoSimulation(const ModelDescription& model, const InstanceSetup& setup) {
  return model.version == FmiVersion::fmi2 ? makeCoSimulationOfFmi2(model, setup)
                                           : makeCoSimulationOfFmi3(model, setup);
}

}  // namespace vtio::runner
