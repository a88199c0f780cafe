/// @file
/// Elements of datasets that came after a streamed file was laid out: its log of strays describes them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {

/// A late element.
struct LateElement {
  std::string variable;  ///< name of the variable that it belongs to
  std::string dataset;   ///< name of the dataset
  qalc::ArrayPtr element;
};

/// The elements of descriptions. @param samplesOf Gives the array for a reference. @throws Failure
[[nodiscard]] std::vector<LateElement> lateElements(const std::vector<std::string>& descriptions,
                                                    const std::function<qalc::ArrayPtr(const Reference&)>& samplesOf);

/// Names of the variables that have late elements, each once.
[[nodiscard]] std::vector<std::string> lateVariables(const std::vector<std::string>& descriptions);

/// A variable with the elements that came late. @param variable As it is in the file; null if it is not there.
[[nodiscard]] qalc::ArrayPtr withLateElements(qalc::ArrayPtr variable, const std::string& name,
                                              std::vector<LateElement> late);

}  // namespace vtu::qat
