/// @file
/// Checks what physics conserves against the logged signals alone.
///
/// Each check computes a quantity from the logged motion, subtracts what crossed the boundary according to the logged
/// ledger, and takes the largest deviation from the first value. Only masses, inertias and axes come from the model.
#pragma once

#include <string>
#include <vector>

#include "results.hpp"

namespace spacecraft {

/// Outcome of one check.
struct ConservationCheck {
  std::string quantity;
  std::string unit;
  double worst;      ///< largest deviation over all samples
  double tolerance;  ///< largest that is accepted, same unit
  std::size_t samples;

  /// A check without samples, or whose deviation is not a number, does not hold.
  [[nodiscard]] bool holds() const { return samples > 0 && worst <= tolerance; }
};

/// All checks: quaternion length, angular momentum, rotational energy, orbital momentum, orbital energy, battery
/// charge.
/// @throws std::runtime_error naming a signal that is needed and not logged, or not of the expected type or size.
[[nodiscard]] std::vector<ConservationCheck> checkConservation(const Results& results);

}  // namespace spacecraft
