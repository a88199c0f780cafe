#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::core::utils {

VisualizationMetadataPolicy::VisualizationMetadataPolicy() : SignalDescriptorNodePolicy(visualizationMetadata) {}

VisualizationMetadataPolicy::VisualizationMetadataPolicy(const ustring& sampleTime, double discreteInc, double stopTime,
                                                         const std::string& aliasName)
    : SignalDescriptorNodePolicy(visualizationMetadata),
      sampleTime_(sampleTime),
      discreteInc_(discreteInc),
      stopTime_(stopTime),
      aliasName_(aliasName) {}

VisualizationMetadataPolicy::~VisualizationMetadataPolicy() = default;

std::unique_ptr<const SignalDescriptorNodePolicy> VisualizationMetadataPolicy::getCopy() const {
  return std::make_unique<const VisualizationMetadataPolicy>(sampleTime_, discreteInc_, stopTime_, aliasName_);
}

}  // namespace vtio::core::utils
