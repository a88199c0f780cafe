#include <cvode/cvode.h>
#include <nvector/nvector_serial.h>
#include <sundials/sundials_context.h>
#include <sunlinsol/sunlinsol_dense.h>
#include <sunmatrix/sunmatrix_dense.h>
#include <sunnonlinsol/sunnonlinsol_fixedpoint.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "runner/error.hpp"
#include "runner/solver/ode_solver.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr int kRecoverable = 1;     // what a function returns to CVODE: try a shorter step
constexpr int kUnrecoverable = -1;  // or give up

// Owns what SUNDIALS allocates.
template <typename T, auto release>
class Owned {
 public:
  Owned() = default;
  ~Owned() {
    if (value_ != nullptr) release(value_);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;

  void take(T value) {
    if (value == nullptr) throw RunnerError(ExitStatus::failed, "there is no memory for the solver");
    value_ = value;
  }
  [[nodiscard]] T get() const { return value_; }

 private:
  T value_ = nullptr;
};

void releaseSolver(void* memory) { CVodeFree(&memory); }
void releaseMatrix(SUNMatrix matrix) { SUNMatDestroy(matrix); }
void releaseLinear(SUNLinearSolver solver) { SUNLinSolFree(solver); }
void releaseNonlinear(SUNNonlinearSolver solver) { SUNNonlinSolFree(solver); }
void releaseVector(N_Vector vector) { N_VDestroy(vector); }
void releaseContext(SUNContext context) { SUNContext_Free(&context); }

std::span<double> valuesOf(N_Vector vector, std::size_t count) { return {N_VGetArrayPointer(vector), count}; }

bool areFinite(std::span<const double> values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

class CvodeSolver final : public OdeSolver {
 public:
  CvodeSolver(OdeProblem& problem, const OdeOptions& options)
      : problem_(problem), options_(options), count_(problem.stateCount()) {
    SUNContext context = nullptr;
    if (SUNContext_Create(nullptr, &context) != 0) context = nullptr;
    context_.take(context);
    const auto size = static_cast<sunindextype>(vectorSize());
    states_.take(N_VNew_Serial(size, context));
    tolerances_.take(N_VNew_Serial(size, context));
  }

  void restart(double time, std::span<const double> states, std::span<const double> absoluteTolerances) override {
    N_VConst(0.0, states_.get());
    N_VConst(1.0, tolerances_.get());
    std::copy(states.begin(), states.end(), valuesOf(states_.get(), count_).begin());
    std::copy(absoluteTolerances.begin(), absoluteTolerances.end(), valuesOf(tolerances_.get(), count_).begin());
    time_ = time;
    begins_ = true;
    if (memory_.get() == nullptr) {
      create();
    } else {
      check(CVodeReInit(memory_.get(), time_, states_.get()), "CVodeReInit");
    }
    check(CVodeSVtolerances(memory_.get(), options_.relativeTolerance, tolerances_.get()), "CVodeSVtolerances");
  }

  StepEnd step(double limit) override {
    check(CVodeSetStopTime(memory_.get(), limit), "CVodeSetStopTime");
    // After a restart a step as long as the one before is tried: CVODE's own first step is so short that restarts in a
    // row would hardly get anywhere. The tolerance holds for it as for any other.
    if (std::exchange(begins_, false)) {
      check(CVodeSetInitStep(memory_.get(), std::min(lastStep_, limit - time_)), "CVodeSetInitStep");
    }
    const int flag = CVode(memory_.get(), limit, states_.get(), &time_, CV_ONE_STEP);
    check(flag, "CVode");
    check(CVodeGetLastStep(memory_.get(), &lastStep_), "CVodeGetLastStep");
    if (flag == CV_ROOT_RETURN) return StepEnd::root;
    return flag == CV_TSTOP_RETURN || time_ >= limit ? StepEnd::limit : StepEnd::accurate;
  }

  [[nodiscard]] double time() const override { return time_; }
  [[nodiscard]] std::span<const double> states() const override { return valuesOf(states_.get(), count_); }

  void interpolate(double time, std::span<double> states) override {
    if (interpolated_.get() == nullptr) interpolated_.take(N_VClone(states_.get()));
    check(CVodeGetDky(memory_.get(), time, 0, interpolated_.get()), "CVodeGetDky");
    const std::span<double> found = valuesOf(interpolated_.get(), count_);
    std::copy(found.begin(), found.end(), states.begin());
  }

 private:
  // CVODE needs a state: a model without one gets a constant.
  [[nodiscard]] std::size_t vectorSize() const { return std::max<std::size_t>(count_, 1); }

  void create() {
    memory_.take(CVodeCreate(options_.method == OdeMethod::bdf ? CV_BDF : CV_ADAMS, context_.get()));
    void* memory = memory_.get();
    check(CVodeSetErrHandlerFn(memory, &takeMessage, this), "CVodeSetErrHandlerFn");
    check(CVodeInit(memory, &derivatives, time_, states_.get()), "CVodeInit");
    check(CVodeSetUserData(memory, this), "CVodeSetUserData");
    check(CVodeSVtolerances(memory, options_.relativeTolerance, tolerances_.get()), "CVodeSVtolerances");
    if (options_.longestStep > 0.0) check(CVodeSetMaxStep(memory, options_.longestStep), "CVodeSetMaxStep");
    if (problem_.rootCount() > 0) {
      check(CVodeRootInit(memory, static_cast<int>(problem_.rootCount()), &roots), "CVodeRootInit");
      check(CVodeSetNoInactiveRootWarn(memory), "CVodeSetNoInactiveRootWarn");
    }
    options_.method == OdeMethod::bdf ? createNewton() : createFixedPoint();
  }

  void createNewton() {
    const auto size = static_cast<sunindextype>(vectorSize());
    matrix_.take(SUNDenseMatrix(size, size, context_.get()));
    linear_.take(SUNLinSol_Dense(states_.get(), matrix_.get(), context_.get()));
    check(CVodeSetLinearSolver(memory_.get(), linear_.get(), matrix_.get()), "CVodeSetLinearSolver");
    if (count_ > 0 && problem_.hasJacobian()) check(CVodeSetJacFn(memory_.get(), &jacobian), "CVodeSetJacFn");
  }

  void createFixedPoint() {
    nonlinear_.take(SUNNonlinSol_FixedPoint(states_.get(), 0, context_.get()));
    check(CVodeSetNonlinearSolver(memory_.get(), nonlinear_.get()), "CVodeSetNonlinearSolver");
  }

  // Does work for CVODE, to which no exception may get.
  template <typename Work>
  int guarded(const Work& work) {
    try {
      return work() ? 0 : kRecoverable;
    } catch (...) {
      thrown_ = std::current_exception();
      return kUnrecoverable;
    }
  }

  static int derivatives(double time, N_Vector states, N_Vector result, void* self) {
    auto& solver = *static_cast<CvodeSolver*>(self);
    if (solver.count_ == 0) {
      N_VConst(0.0, result);
      return 0;
    }
    return solver.guarded([&] {
      const std::span<double> found = valuesOf(result, solver.count_);
      return solver.problem_.derivatives(time, valuesOf(states, solver.count_), found) && areFinite(found);
    });
  }

  static int roots(double time, N_Vector states, double* result, void* self) {
    auto& solver = *static_cast<CvodeSolver*>(self);
    const std::size_t count = solver.problem_.rootCount();
    // CVODE knows no other point to try here.
    return solver.guarded([&] {
      if (solver.problem_.roots(time, valuesOf(states, solver.count_), {result, count})) return true;
      throw RunnerError(ExitStatus::failed, "the event indicators have no value at the time " + numberText(time));
    });
  }

  static int jacobian(double time, N_Vector states, N_Vector /*derivatives*/, SUNMatrix result, void* self,
                      N_Vector /*work1*/, N_Vector /*work2*/, N_Vector /*work3*/) {
    auto& solver = *static_cast<CvodeSolver*>(self);
    return solver.guarded([&] {
      const std::span<double> columns(SUNDenseMatrix_Data(result), solver.count_ * solver.count_);
      return solver.problem_.jacobian(time, valuesOf(states, solver.count_), columns) && areFinite(columns);
    });
  }

  static void takeMessage(int /*code*/, const char* /*module*/, const char* /*function*/, char* message, void* self) {
    static_cast<CvodeSolver*>(self)->message_ = message != nullptr ? message : "";
  }

  void check(int flag, const char* function) {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    if (flag >= 0) return;
    char* name = CVodeGetReturnFlagName(flag);
    std::string what = std::string("the solver cannot go on: ") + function + " returned " + name;
    std::free(name);  // NOLINT(cppcoreguidelines-no-malloc): allocated by SUNDIALS
    if (flag == CV_FIRST_RHSFUNC_ERR || flag == CV_REPTD_RHSFUNC_ERR || flag == CV_UNREC_RHSFUNC_ERR) {
      what += ": the derivatives have no finite value";
    }
    throw RunnerError(ExitStatus::failed, what + (message_.empty() ? "" : " (" + message_ + ")"));
  }

  OdeProblem& problem_;
  OdeOptions options_;
  std::size_t count_;
  Owned<SUNContext, releaseContext> context_;
  Owned<N_Vector, releaseVector> states_, tolerances_, interpolated_;
  Owned<SUNMatrix, releaseMatrix> matrix_;
  Owned<SUNLinearSolver, releaseLinear> linear_;
  Owned<SUNNonlinearSolver, releaseNonlinear> nonlinear_;
  Owned<void*, releaseSolver> memory_;
  double time_ = 0.0;
  double lastStep_ = 0.0;      // 0: none was made, CVODE chooses
  bool begins_ = true;         // no step was made since the restart
  std::exception_ptr thrown_;  // by the problem, while CVODE called it
  std::string message_;        // the last one of CVODE
};

}  // namespace

bool hasOdeSolver() { return true; }

std::unique_ptr<OdeSolver> makeOdeSolver(OdeProblem& problem, const OdeOptions& options) {
  return std::make_unique<CvodeSolver>(problem, options);
}

}  // namespace vtio::runner
