/// @file
/// Ordinary differential equations with root functions, as a solver sees them.
#pragma once

#include <cstddef>
#include <span>

#include "runner/export.hpp"

namespace vtio::runner {

/// x' = f(t, x), and functions g(t, x) whose changes of sign are looked for. Times in seconds.
///
/// Operations return false where the functions have no value at a point: the solver tries a shorter step. They may
/// throw; the solver passes that on.
class VTIO_RUNNER_EXPORT OdeProblem {
 public:
  virtual ~OdeProblem();

  /// Number of states, which may be 0, and of root functions. They do not change.
  [[nodiscard]] virtual std::size_t stateCount() const = 0;
  [[nodiscard]] virtual std::size_t rootCount() const = 0;

  [[nodiscard]] virtual bool derivatives(double time, std::span<const double> states, std::span<double> result) = 0;
  [[nodiscard]] virtual bool roots(double time, std::span<const double> states, std::span<double> result) = 0;

  /// Whether jacobian() works; without it the solver takes differences.
  [[nodiscard]] virtual bool hasJacobian() const = 0;

  /// @param columns Row i of column j, by state j, at i + j * stateCount().
  [[nodiscard]] virtual bool jacobian(double time, std::span<const double> states, std::span<double> columns) = 0;

 protected:
  OdeProblem() = default;
};

}  // namespace vtio::runner
