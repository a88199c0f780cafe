#include "runner/fmu/fmi2_instance.hpp"
#include "runner/fmu/versions.hpp"

namespace vtio::runner {
namespace {

struct Fmi2StepFunctions {
  explicit Fmi2StepFunctions(const SharedLibrary& library) {
    library.require(doStep, "fmi2DoStep");
    library.take(getRealStatus, "fmi2GetRealStatus");
    library.take(getBooleanStatus, "fmi2GetBooleanStatus");
  }

  Fmi2DoStep* doStep = nullptr;
  Fmi2GetRealStatus* getRealStatus = nullptr;
  Fmi2GetBooleanStatus* getBooleanStatus = nullptr;
};

class CoSimulationOfFmi2 final : public Fmi2Instance<CoSimulation> {
 public:
  CoSimulationOfFmi2(const ModelDescription& model, const InstanceSetup& setup)
      : Fmi2Instance(model, setup, FMI2_CO_SIMULATION), functions_(library()) {}

  StepOutcome doStep(double time, double step, bool noSetStatePrior) override {
    const int result = functions_.doStep(instance(), time, step, noSetStatePrior ? 1 : 0);
    if (result != FMI2_DISCARD) {
      status().check(result, "fmi2DoStep");
      return {};
    }
    return afterDiscard(time);
  }

  void enterEvents() override {}
  EventOutcome updateDiscreteStates() override { return {}; }
  void leaveEvents() override {}

 private:
  // An FMU that wants to end says so by discarding the step, too.
  StepOutcome afterDiscard(double time) {
    int terminated = 0;
    if (functions_.getBooleanStatus != nullptr) {
      functions_.getBooleanStatus(instance(), FMI2_STATUS_TERMINATED, &terminated);
    }
    double lastTime = time;
    if (terminated != 0 && functions_.getRealStatus != nullptr) {
      functions_.getRealStatus(instance(), FMI2_STATUS_LAST_TIME, &lastTime);
    }
    return {terminated == 0, false, terminated != 0, lastTime};
  }

  Fmi2StepFunctions functions_;
};

}  // namespace

std::unique_ptr<CoSimulation> makeCoSimulationOfFmi2(const ModelDescription& model, const InstanceSetup& setup) {
  return std::make_unique<CoSimulationOfFmi2>(model, setup);
}

}  // namespace vtio::runner
