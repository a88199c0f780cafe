/// @file
/// Fixed-point property records from a real-world scaling.
#pragma once

#include "platform/types.hpp"
#include "vtio/export.hpp"

namespace vtio::core::utils {

/// Record of a fixed-point type whose real value is slope * stored integer + bias.
///
/// slope = adjustment factor * 2^exponent with the factor in [1, 2), from the decomposition of std::frexp.
/// @param wordLength Bits.
[[nodiscard]] VTIO_EXPORT fxpDataTypeProp fxpPropertiesFromScaling(bool isSigned, int wordLength, double slope,
                                                                   double bias);

}  // namespace vtio::core::utils
