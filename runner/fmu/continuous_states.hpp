/// @file
/// The value references by which the continuous states of an FMU and their derivatives are known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "runner/description/model_description.hpp"

namespace vtio::runner {

/// One entry per variable, in the order of the states; arrays are one entry.
struct ContinuousStates {
  std::vector<std::uint32_t> states, derivatives;
  std::vector<std::size_t> elements;
  std::size_t count = 0;    ///< of the elements of all
  bool areAllNamed = true;  ///< false if a derivative does not say of which state it is; `states` is incomplete then
};

[[nodiscard]] ContinuousStates continuousStatesOf(const ModelDescription& model);

}  // namespace vtio::runner
