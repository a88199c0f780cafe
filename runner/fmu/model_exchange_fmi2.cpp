#include "runner/fmu/continuous_states.hpp"
#include "runner/fmu/fmi2_instance.hpp"
#include "runner/fmu/versions.hpp"

namespace vtio::runner {
namespace {

struct Fmi2SolverFunctions {
  explicit Fmi2SolverFunctions(const SharedLibrary& library) {
    library.require(enterEventMode, "fmi2EnterEventMode");
    library.require(newDiscreteStates, "fmi2NewDiscreteStates");
    library.require(enterContinuousTimeMode, "fmi2EnterContinuousTimeMode");
    library.require(completedIntegratorStep, "fmi2CompletedIntegratorStep");
    library.require(setTime, "fmi2SetTime");
    library.require(setStates, "fmi2SetContinuousStates");
    library.require(getStates, "fmi2GetContinuousStates");
    library.require(getDerivatives, "fmi2GetDerivatives");
    library.require(getIndicators, "fmi2GetEventIndicators");
    library.require(getNominals, "fmi2GetNominalsOfContinuousStates");
    library.take(getDirectionalDerivative, "fmi2GetDirectionalDerivative");
  }

  Fmi2EnterEventMode* enterEventMode = nullptr;
  Fmi2NewDiscreteStates* newDiscreteStates = nullptr;
  Fmi2EnterContinuousTimeMode* enterContinuousTimeMode = nullptr;
  Fmi2CompletedIntegratorStep* completedIntegratorStep = nullptr;
  Fmi2SetTime* setTime = nullptr;
  Fmi2SetContinuousStates* setStates = nullptr;
  Fmi2GetContinuousStates* getStates = nullptr;
  Fmi2GetDerivatives* getDerivatives = nullptr;
  Fmi2GetEventIndicators* getIndicators = nullptr;
  Fmi2GetNominals* getNominals = nullptr;
  Fmi2GetDirectionalDerivative* getDirectionalDerivative = nullptr;
};

class ModelExchangeOfFmi2 final : public Fmi2Instance<ModelExchange> {
 public:
  ModelExchangeOfFmi2(const ModelDescription& model, const InstanceSetup& setup)
      : Fmi2Instance(model, setup, FMI2_MODEL_EXCHANGE),
        functions_(library()),
        states_(continuousStatesOf(model)),
        indicators_(model.eventIndicators) {
    const Interface* way = model.find(Kind::modelExchange);
    completesSteps_ = !way->flag("completedIntegratorStepNotNeeded");
    hasJacobian_ = way->flag("providesDirectionalDerivative") && states_.areAllNamed &&
                   functions_.getDirectionalDerivative != nullptr;
  }

  void enterEvents() override { status().check(functions_.enterEventMode(instance()), "fmi2EnterEventMode"); }

  EventOutcome updateDiscreteStates() override {
    Fmi2EventInfo info{};
    status().check(functions_.newDiscreteStates(instance(), &info), "fmi2NewDiscreteStates");
    return {info.newDiscreteStatesNeeded != 0, info.terminateSimulation != 0, info.valuesChanged != 0,
            info.nominalsChanged != 0,
            info.nextEventTimeDefined != 0 ? std::optional<double>(info.nextEventTime) : std::nullopt};
  }

  void leaveEvents() override {
    status().check(functions_.enterContinuousTimeMode(instance()), "fmi2EnterContinuousTimeMode");
  }

  std::size_t stateCount() override { return states_.count; }
  std::size_t indicatorCount() override { return indicators_; }

  bool moveTo(double time, std::span<const double> states) override {
    status().check(functions_.setTime(instance(), time), "fmi2SetTime");
    return states.empty() ||
           status().accepted(functions_.setStates(instance(), states.data(), states.size()), "fmi2SetContinuousStates");
  }

  bool getDerivatives(std::span<double> derivatives) override {
    return derivatives.empty() ||
           status().accepted(functions_.getDerivatives(instance(), derivatives.data(), derivatives.size()),
                             "fmi2GetDerivatives");
  }

  bool getIndicators(std::span<double> indicators) override {
    return indicators.empty() ||
           status().accepted(functions_.getIndicators(instance(), indicators.data(), indicators.size()),
                             "fmi2GetEventIndicators");
  }

  bool hasJacobian() override { return hasJacobian_; }

  bool getJacobian(std::span<double> columns) override {
    const double seed = 1.0;
    for (std::size_t j = 0; j < states_.count; ++j) {
      const int result =
          functions_.getDirectionalDerivative(instance(), states_.derivatives.data(), states_.count, &states_.states[j],
                                              1, &seed, columns.data() + j * states_.count);
      if (!status().accepted(result, "fmi2GetDirectionalDerivative")) return false;
    }
    return true;
  }

  void getStates(std::span<double> states) override {
    if (states.empty()) return;
    status().check(functions_.getStates(instance(), states.data(), states.size()), "fmi2GetContinuousStates");
  }

  void getNominals(std::span<double> nominals) override {
    if (nominals.empty()) return;
    status().check(functions_.getNominals(instance(), nominals.data(), nominals.size()),
                   "fmi2GetNominalsOfContinuousStates");
  }

  StepCompletion completeStep(bool noSetStatePrior) override {
    if (!completesSteps_) return {};
    int eventNeeded = 0;
    int terminate = 0;
    status().check(functions_.completedIntegratorStep(instance(), noSetStatePrior ? 1 : 0, &eventNeeded, &terminate),
                   "fmi2CompletedIntegratorStep");
    return {eventNeeded != 0, terminate != 0};
  }

 private:
  Fmi2SolverFunctions functions_;
  ContinuousStates states_;
  std::size_t indicators_;
  bool completesSteps_ = true;
  bool hasJacobian_ = false;
};

}  // namespace

std::unique_ptr<ModelExchange> makeModelExchangeOfFmi2(const ModelDescription& model, const InstanceSetup& setup) {
  return std::make_unique<ModelExchangeOfFmi2>(model, setup);
}

}  // namespace vtio::runner
