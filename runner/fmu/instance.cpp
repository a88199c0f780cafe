#include "runner/fmu/instance.hpp"

#include "runner/fmu/versions.hpp"

namespace vtio::runner {

Instance::~Instance() = default;
CoSimulation::~CoSimulation() = default;
ModelExchange::~ModelExchange() = default;

const IntermediateSamples& CoSimulation::intermediate() const {
  static const IntermediateSamples kNone;
  return kNone;
}

std::unique_ptr<CoSimulation> makeCoSimulation(const ModelDescription& model, const InstanceSetup& setup) {
  return model.version == FmiVersion::fmi2 ? makeCoSimulationOfFmi2(model, setup)
                                           : makeCoSimulationOfFmi3(model, setup);
}

std::unique_ptr<ModelExchange> makeModelExchange(const ModelDescription& model, const InstanceSetup& setup) {
  return model.version == FmiVersion::fmi2 ? makeModelExchangeOfFmi2(model, setup)
                                           : makeModelExchangeOfFmi3(model, setup);
}

}  // namespace vtio::runner
