/// @file
/// What two files say differently about one signal.
#pragma once

#include <vector>

#include "results/compare/file_comparison.hpp"

namespace vtio::results {

/// Type, unit, dimensions, labels, interpolation, span; spans that are `timeTolerance` seconds apart are the same.
[[nodiscard]] std::vector<PropertyChange> propertyChanges(const SignalInfo& a, const SignalInfo& b,
                                                          double timeTolerance);

}  // namespace vtio::results
