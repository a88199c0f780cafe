#include <cmath>

#include "runner/fmu/fmi3_instance.hpp"
#include "runner/fmu/versions.hpp"

namespace vtio::runner {
namespace {

class CoSimulationOfFmi3 final : public Fmi3Instance<CoSimulation> {
 public:
  CoSimulationOfFmi3(const ModelDescription& model, const InstanceSetup& setup) : Fmi3Instance(setup) {
    Fmi3InstantiateCoSimulation* instantiate = nullptr;
    library().require(instantiate, "fmi3InstantiateCoSimulation");
    library().require(doStep_, "fmi3DoStep");
    library().take(enterStepMode_, "fmi3EnterStepMode");
    const Interface* way = model.find(Kind::coSimulation);
    hasEventMode_ = way != nullptr && way->flag("hasEventMode");
    const std::string resources = setup.resources.string() + "/";
    start(instantiate("instance", model.instantiationToken.c_str(), resources.c_str(), false, setup.loggingOn,
                      hasEventMode_, true, nullptr, 0, environment(), &logFmi3Message, nullptr),
          "fmi3InstantiateCoSimulation");
  }

  StepOutcome doStep(double time, double step, bool noSetStatePrior) override {
    bool eventNeeded = false;
    bool terminate = false;
    bool earlyReturn = false;
    double lastTime = time + step;
    const int result =
        doStep_(instance(), time, step, noSetStatePrior, &eventNeeded, &terminate, &earlyReturn, &lastTime);
    if (result == FMI3_DISCARD) return {true, false, false, time};
    status().check(result, "fmi3DoStep");
    if (!earlyReturn) lastTime = time + step;
    checkLastTime(time, step, lastTime);
    return {false, eventNeeded && hasEventMode_, terminate, lastTime};
  }

  void leaveEvents() override {
    status().check(requireFmi3(enterStepMode_, "fmi3EnterStepMode")(instance()), "fmi3EnterStepMode");
  }

 private:
  static void checkLastTime(double time, double step, double lastTime) {
    if (std::isfinite(lastTime) && lastTime >= time && lastTime <= time + step) return;
    throw RunnerError(ExitStatus::failed, "fmi3DoStep returned early at the time " + std::to_string(lastTime) +
                                              ", which is outside the step");
  }

  Fmi3DoStep* doStep_ = nullptr;
  Fmi3EnterStepMode* enterStepMode_ = nullptr;
  bool hasEventMode_ = false;
};

}  // namespace

std::unique_ptr<CoSimulation> makeCoSimulationOfFmi3(const ModelDescription& model, const InstanceSetup& setup) {
  return std::make_unique<CoSimulationOfFmi3>(model, setup);
}

}  // namespace vtio::runner
