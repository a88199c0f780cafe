#include "runner/solver/ode_solver.hpp"

namespace vtio::runner {

OdeProblem::~OdeProblem() = default;
OdeSolver::~OdeSolver() = default;

}  // namespace vtio::runner
