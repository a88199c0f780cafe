#include <cmath>

#include "runner/fmu/fmi3_instance.hpp"
#include "runner/fmu/intermediate_reader.hpp"
#include "runner/fmu/versions.hpp"

namespace vtio::runner {
namespace {

// Values of a step of the FMU's own solver that it may still reject are not wanted, nor is an early return.
void onIntermediateUpdate(void* environment, double time, bool /*setRequested*/, bool getAllowed, bool stepFinished,
                          bool /*canReturnEarly*/, bool* earlyReturnRequested, double* earlyReturnTime) {
  *earlyReturnRequested = false;
  *earlyReturnTime = time;
  if (getAllowed && stepFinished) static_cast<const Fmi3Environment*>(environment)->readIntermediate(time);
}

class CoSimulationOfFmi3 final : public Fmi3Instance<CoSimulation> {
 public:
  CoSimulationOfFmi3(const ModelDescription& model, const InstanceSetup& setup)
      : Fmi3Instance(setup), reader_(*this, setup.intermediate) {
    Fmi3InstantiateCoSimulation* instantiate = nullptr;
    library().require(instantiate, "fmi3InstantiateCoSimulation");
    library().require(doStep_, "fmi3DoStep");
    library().take(enterStepMode_, "fmi3EnterStepMode");
    const Interface* way = model.find(Kind::coSimulation);
    hasEventMode_ = way != nullptr && way->flag("hasEventMode");
    const std::string resources = setup.resources.string() + "/";
    const std::vector<std::uint32_t> intermediate = reader_.references();
    if (!reader_.empty()) environment().readIntermediate = [this](double time) { reader_.read(time); };
    start(instantiate("instance", model.instantiationToken.c_str(), resources.c_str(), false, setup.loggingOn,
                      hasEventMode_, true, intermediate.data(), intermediate.size(), &environment(), &logFmi3Message,
                      reader_.empty() ? nullptr : &onIntermediateUpdate),
          "fmi3InstantiateCoSimulation");
  }

  StepOutcome doStep(double time, double step, bool noSetStatePrior) override {
    bool eventNeeded = false;
    bool terminate = false;
    bool earlyReturn = false;
    double lastTime = time;
    reader_.begin(time);
    const int result =
        doStep_(instance(), time, step, noSetStatePrior, &eventNeeded, &terminate, &earlyReturn, &lastTime);
    if (result == FMI3_DISCARD) return {true, false, false, time};
    status().check(result, "fmi3DoStep");
    if (earlyReturn) checkLastTime(time, step, lastTime);
    reader_.end(earlyReturn ? lastTime : time + step);
    if (!earlyReturn) return {false, eventNeeded && hasEventMode_, terminate};
    return {false, eventNeeded && hasEventMode_, terminate, lastTime};
  }

  [[nodiscard]] const IntermediateSamples& intermediate() const override { return reader_.samples(); }

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
  IntermediateReader reader_;
};

}  // namespace

std::unique_ptr<CoSimulation> makeCoSimulationOfFmi3(const ModelDescription& model, const InstanceSetup& setup) {
  return std::make_unique<CoSimulationOfFmi3>(model, setup);
}

}  // namespace vtio::runner
