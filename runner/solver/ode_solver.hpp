/// @file
/// Solves ordinary differential equations step by step.
///
///     std::unique_ptr<OdeSolver> solver = makeOdeSolver(problem, {});
///     solver->restart(0.0, x0, tolerances);
///     while (solver->time() < 1.0) found = solver->step(1.0) == StepEnd::root;
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "runner/export.hpp"
#include "runner/solver/ode_problem.hpp"

namespace vtio::runner {

/// Families of linear multistep methods.
enum class OdeMethod : std::uint8_t {
  bdf,   ///< backward differentiation, for stiff problems
  adams  ///< Adams-Moulton with functional iteration, for others
};

struct OdeOptions {
  OdeMethod method = OdeMethod::bdf;
  double relativeTolerance = 1e-6;
  double longestStep = 0.0;  ///< in seconds; 0: no limit
};

/// Why a step ended.
enum class StepEnd : std::uint8_t {
  accurate,  ///< where the tolerance let it
  limit,     ///< at the limit that was given
  root       ///< where a root function has just changed its sign
};

/// Where the solver stands and how it came there.
class VTIO_RUNNER_EXPORT OdeSolver {
 public:
  virtual ~OdeSolver();
  OdeSolver(const OdeSolver&) = delete;
  OdeSolver& operator=(const OdeSolver&) = delete;

  /// Begins anew, without a past. To be called before the first step, and after every jump.
  /// @param absoluteTolerances One per state.
  /// @throws RunnerError of status failed, as step().
  virtual void restart(double time, std::span<const double> states, std::span<const double> absoluteTolerances) = 0;

  /// One step of the method.
  /// @param limit Not beyond this time, which is after time().
  /// @throws RunnerError of status failed if the solver cannot go on, and what the problem throws.
  virtual StepEnd step(double limit) = 0;

  [[nodiscard]] virtual double time() const = 0;

  /// At time(). Valid until the next step or restart.
  [[nodiscard]] virtual std::span<const double> states() const = 0;

  /// States at a time within the last step.
  virtual void interpolate(double time, std::span<double> states) = 0;

 protected:
  OdeSolver() = default;
};

/// Whether this build has a solver.
[[nodiscard]] VTIO_RUNNER_EXPORT bool hasOdeSolver();

/// @param problem Must outlive the solver.
/// @throws RunnerError if this build has none, or without memory for it.
[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<OdeSolver> makeOdeSolver(OdeProblem& problem,
                                                                          const OdeOptions& options);

}  // namespace vtio::runner
