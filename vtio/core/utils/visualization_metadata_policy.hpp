/// @file
/// What a viewer needs of a signal beyond its samples.
#pragma once

#include <string>

#include "vtio/core/utils/signal_descriptor_node_policy.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::utils {

/// Metadata only: the data passes as it is.
class VTIO_EXPORT VisualizationMetadataPolicy : public SignalDescriptorNodePolicy {
 public:
  /// Empty texts and zeros.
  VisualizationMetadataPolicy();

  /// @param sampleTime Sample time as text.
  /// @param discreteInc Discrete increment in seconds.
  /// @param stopTime Stop time in seconds.
  /// @param aliasName UTF-8.
  VisualizationMetadataPolicy(const ustring& sampleTime, double discreteInc, double stopTime,
                              const std::string& aliasName);
  ~VisualizationMetadataPolicy() override;

  /// A full copy.
  [[nodiscard]] std::unique_ptr<const SignalDescriptorNodePolicy> getCopy() const override;

  [[nodiscard]] const ustring& sampleTime() const { return sampleTime_; }
  [[nodiscard]] double discreteInc() const { return discreteInc_; }
  [[nodiscard]] double stopTime() const { return stopTime_; }
  [[nodiscard]] const std::string& aliasName() const { return aliasName_; }

 private:
  ustring sampleTime_;
  double discreteInc_ = 0.0;
  double stopTime_ = 0.0;
  std::string aliasName_;
};

}  // namespace vtio::core::utils
