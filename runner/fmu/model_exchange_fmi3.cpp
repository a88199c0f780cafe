#include <vector>

#include "runner/fmu/continuous_states.hpp"
#include "runner/fmu/fmi3_instance.hpp"
#include "runner/fmu/versions.hpp"

namespace vtio::runner {
namespace {

struct Fmi3SolverFunctions {
  explicit Fmi3SolverFunctions(const SharedLibrary& library) {
    library.require(enterContinuousTimeMode, "fmi3EnterContinuousTimeMode");
    library.require(completedIntegratorStep, "fmi3CompletedIntegratorStep");
    library.require(setTime, "fmi3SetTime");
    library.require(setStates, "fmi3SetContinuousStates");
    library.require(getStates, "fmi3GetContinuousStates");
    library.require(getDerivatives, "fmi3GetContinuousStateDerivatives");
    library.require(getIndicators, "fmi3GetEventIndicators");
    library.require(getNominals, "fmi3GetNominalsOfContinuousStates");
    library.require(getStateCount, "fmi3GetNumberOfContinuousStates");
    library.require(getIndicatorCount, "fmi3GetNumberOfEventIndicators");
    library.take(getDirectionalDerivative, "fmi3GetDirectionalDerivative");
  }

  Fmi3EnterContinuousTimeMode* enterContinuousTimeMode = nullptr;
  Fmi3CompletedIntegratorStep* completedIntegratorStep = nullptr;
  Fmi3SetTime* setTime = nullptr;
  Fmi3SetContinuousStates* setStates = nullptr;
  Fmi3GetContinuousStates* getStates = nullptr;
  Fmi3GetDerivatives* getDerivatives = nullptr;
  Fmi3GetEventIndicators* getIndicators = nullptr;
  Fmi3GetNominals* getNominals = nullptr;
  Fmi3GetNumberOfContinuousStates* getStateCount = nullptr;
  Fmi3GetNumberOfEventIndicators* getIndicatorCount = nullptr;
  Fmi3GetDirectionalDerivative* getDirectionalDerivative = nullptr;
};

class ModelExchangeOfFmi3 final : public Fmi3Instance<ModelExchange> {
 public:
  ModelExchangeOfFmi3(const ModelDescription& model, const InstanceSetup& setup)
      : Fmi3Instance(setup), functions_(library()), states_(continuousStatesOf(model)) {
    Fmi3InstantiateModelExchange* instantiate = nullptr;
    library().require(instantiate, "fmi3InstantiateModelExchange");
    const Interface* way = model.find(Kind::modelExchange);
    completesSteps_ = way->flag("needsCompletedIntegratorStep");
    hasDirectionalDerivatives_ = way->flag("providesDirectionalDerivatives") && states_.areAllNamed &&
                                 functions_.getDirectionalDerivative != nullptr;
    const std::string resources = setup.resources.string() + "/";
    start(instantiate("instance", model.instantiationToken.c_str(), resources.c_str(), false, setup.loggingOn,
                      &environment(), &logFmi3Message),
          "fmi3InstantiateModelExchange");
  }

  void leaveEvents() override {
    status().check(functions_.enterContinuousTimeMode(instance()), "fmi3EnterContinuousTimeMode");
  }

  std::size_t stateCount() override {
    std::size_t count = 0;
    status().check(functions_.getStateCount(instance(), &count), "fmi3GetNumberOfContinuousStates");
    return count;
  }

  std::size_t indicatorCount() override {
    std::size_t count = 0;
    status().check(functions_.getIndicatorCount(instance(), &count), "fmi3GetNumberOfEventIndicators");
    return count;
  }

  bool moveTo(double time, std::span<const double> states) override {
    status().check(functions_.setTime(instance(), time), "fmi3SetTime");
    return states.empty() ||
           status().accepted(functions_.setStates(instance(), states.data(), states.size()), "fmi3SetContinuousStates");
  }

  bool getDerivatives(std::span<double> derivatives) override {
    return derivatives.empty() ||
           status().accepted(functions_.getDerivatives(instance(), derivatives.data(), derivatives.size()),
                             "fmi3GetContinuousStateDerivatives");
  }

  bool getIndicators(std::span<double> indicators) override {
    return indicators.empty() ||
           status().accepted(functions_.getIndicators(instance(), indicators.data(), indicators.size()),
                             "fmi3GetEventIndicators");
  }

  bool hasJacobian() override { return hasDirectionalDerivatives_ && stateCount() == states_.count; }

  bool getJacobian(std::span<double> columns) override {
    std::size_t column = 0;
    for (std::size_t j = 0; j < states_.states.size(); ++j) {
      seed_.assign(states_.elements[j], 0.0);
      for (double& one : seed_) {
        one = 1.0;
        const int result = functions_.getDirectionalDerivative(
            instance(), states_.derivatives.data(), states_.derivatives.size(), &states_.states[j], 1, seed_.data(),
            seed_.size(), columns.data() + column * states_.count, states_.count);
        if (!status().accepted(result, "fmi3GetDirectionalDerivative")) return false;
        one = 0.0;
        ++column;
      }
    }
    return true;
  }

  void getStates(std::span<double> states) override {
    if (states.empty()) return;
    status().check(functions_.getStates(instance(), states.data(), states.size()), "fmi3GetContinuousStates");
  }

  void getNominals(std::span<double> nominals) override {
    if (nominals.empty()) return;
    status().check(functions_.getNominals(instance(), nominals.data(), nominals.size()),
                   "fmi3GetNominalsOfContinuousStates");
  }

  StepCompletion completeStep(bool noSetStatePrior) override {
    if (!completesSteps_) return {};
    bool eventNeeded = false;
    bool terminate = false;
    status().check(functions_.completedIntegratorStep(instance(), noSetStatePrior, &eventNeeded, &terminate),
                   "fmi3CompletedIntegratorStep");
    return {eventNeeded, terminate};
  }

 private:
  Fmi3SolverFunctions functions_;
  ContinuousStates states_;
  std::vector<double> seed_;
  bool completesSteps_ = false;
  bool hasDirectionalDerivatives_ = false;
};

}  // namespace

std::unique_ptr<ModelExchange> makeModelExchangeOfFmi3(const ModelDescription& model, const InstanceSetup& setup) {
  return std::make_unique<ModelExchangeOfFmi3>(model, setup);
}

}  // namespace vtio::runner
