// Stands in for cvode_solver.cpp in a build without SUNDIALS.
#include "runner/error.hpp"
#include "runner/solver/ode_solver.hpp"

namespace vtio::runner {

bool hasOdeSolver() { return false; }

std::unique_ptr<OdeSolver> makeOdeSolver(OdeProblem& /*problem*/, const OdeOptions& /*options*/) {
  throw RunnerError("this build has no solver: it was made without SUNDIALS");
}

}  // namespace vtio::runner
