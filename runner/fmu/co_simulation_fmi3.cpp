#include <cmath>
#include <vector>

#include "runner/fmi/fmi3.h"
#include "runner/fmu/co_simulation.hpp"
#include "runner/fmu/shared_library.hpp"
#include "runner/fmu/status.hpp"
#include "runner/fmu/values_fmi3.hpp"

namespace vtio::runner {
namespace {

constexpr int kMostEventIterations = 1000;

struct Functions {
  explicit Functions(const SharedLibrary& library) {
    library.require(instantiate, "fmi3InstantiateCoSimulation");
    library.require(freeInstance, "fmi3FreeInstance");
    library.require(enterInitialization, "fmi3EnterInitializationMode");
    library.require(exitInitialization, "fmi3ExitInitializationMode");
    library.require(terminate, "fmi3Terminate");
    library.require(doStep, "fmi3DoStep");
    library.take(enterConfiguration, "fmi3EnterConfigurationMode");
    library.take(exitConfiguration, "fmi3ExitConfigurationMode");
    library.take(enterEventMode, "fmi3EnterEventMode");
    library.take(enterStepMode, "fmi3EnterStepMode");
    library.take(updateDiscreteStates, "fmi3UpdateDiscreteStates");
    library.take(getState, "fmi3GetFMUState");
    library.take(setState, "fmi3SetFMUState");
    library.take(freeState, "fmi3FreeFMUState");
  }

  Fmi3InstantiateCoSimulation* instantiate = nullptr;
  Fmi3FreeInstance* freeInstance = nullptr;
  Fmi3EnterInitializationMode* enterInitialization = nullptr;
  Fmi3ExitInitializationMode* exitInitialization = nullptr;
  Fmi3EnterConfigurationMode* enterConfiguration = nullptr;
  Fmi3ExitConfigurationMode* exitConfiguration = nullptr;
  Fmi3EnterEventMode* enterEventMode = nullptr;
  Fmi3EnterStepMode* enterStepMode = nullptr;
  Fmi3UpdateDiscreteStates* updateDiscreteStates = nullptr;
  Fmi3Terminate* terminate = nullptr;
  Fmi3GetState* getState = nullptr;
  Fmi3SetState* setState = nullptr;
  Fmi3FreeState* freeState = nullptr;
  Fmi3DoStep* doStep = nullptr;
};

void logMessage(void* environment, int /*status*/, const char* category, const char* message) {
  const auto& sink = *static_cast<const MessageSink*>(environment);
  if (sink && message != nullptr) sink(category != nullptr ? category : "", message);
}

template <typename Function>
Function& required(Function* function, const char* name) {
  if (function == nullptr) throw RunnerError(std::string("the binary has no function '") + name + "'");
  return *function;
}

class CoSimulationOfFmi3 final : public Instance {
 public:
  CoSimulationOfFmi3(const ModelDescription& model, const InstanceSetup& setup)
      : library_(setup.library), functions_(library_), values_(library_), message_(setup.message) {
    const Interface* way = model.find(Kind::coSimulation);
    hasEventMode_ = way != nullptr && way->flag("hasEventMode");
    const std::string resources = setup.resources.string() + "/";
    instance_ =
        functions_.instantiate("instance", model.instantiationToken.c_str(), resources.c_str(), false, setup.loggingOn,
                               hasEventMode_, true, nullptr, 0, &message_, &logMessage, nullptr);
    if (instance_ == nullptr) throw RunnerError(ExitStatus::failed, "fmi3InstantiateCoSimulation returned no instance");
  }

  ~CoSimulationOfFmi3() override {
    if (instance_ != nullptr && !status_.isFatal()) functions_.freeInstance(instance_);
  }

  void get(VariableType type, std::span<const std::uint32_t> references, void* values, std::size_t count) override {
    status_.check(values_.get(instance_, type, references, values, count), values_.nameOfGet(type));
  }

  void set(VariableType type, std::span<const std::uint32_t> references, const void* values,
           std::size_t count) override {
    status_.check(values_.set(instance_, type, references, values, count), values_.nameOfSet(type));
  }

  void getTexts(std::span<const std::uint32_t> references, std::span<const char*> values) override {
    status_.check(values_.getTexts(instance_, references, values), "fmi3GetString");
  }

  void setTexts(std::span<const std::uint32_t> references, std::span<const char* const> values) override {
    status_.check(values_.setTexts(instance_, references, values), "fmi3SetString");
  }

  void getBinaries(std::span<const std::uint32_t> references, std::span<std::size_t> sizes,
                   std::span<const std::uint8_t*> values) override {
    status_.check(values_.getBinaries(instance_, references, sizes, values), "fmi3GetBinary");
  }

  void setBinaries(std::span<const std::uint32_t> references, std::span<const std::size_t> sizes,
                   std::span<const std::uint8_t* const> values) override {
    status_.check(values_.setBinaries(instance_, references, sizes, values), "fmi3SetBinary");
  }

  void enterConfiguration() override {
    status_.check(required(functions_.enterConfiguration, "fmi3EnterConfigurationMode")(instance_),
                  "fmi3EnterConfigurationMode");
  }

  void exitConfiguration() override {
    status_.check(required(functions_.exitConfiguration, "fmi3ExitConfigurationMode")(instance_),
                  "fmi3ExitConfigurationMode");
  }

  void enterInitialization(const Experiment& experiment) override {
    status_.check(
        functions_.enterInitialization(instance_, experiment.tolerance.has_value(), experiment.tolerance.value_or(0.0),
                                       experiment.start, true, experiment.stop),
        "fmi3EnterInitializationMode");
  }

  EventOutcome exitInitialization() override {
    status_.check(functions_.exitInitialization(instance_), "fmi3ExitInitializationMode");
    if (!hasEventMode_) return {};
    const EventOutcome outcome = iterateEvents();
    leaveEvents();
    return outcome;
  }

  void terminate() override { status_.check(functions_.terminate(instance_), "fmi3Terminate"); }

  void getState(void*& state) override {
    status_.check(required(functions_.getState, "fmi3GetFMUState")(instance_, &state), "fmi3GetFMUState");
  }

  void setState(void* state) override {
    status_.check(required(functions_.setState, "fmi3SetFMUState")(instance_, state), "fmi3SetFMUState");
  }

  void freeState(void* state) noexcept override {
    if (functions_.freeState != nullptr && !status_.isFatal()) functions_.freeState(instance_, &state);
  }

  StepOutcome doStep(double time, double step, bool noSetStatePrior) override {
    bool eventNeeded = false;
    bool terminate = false;
    bool earlyReturn = false;
    double lastTime = time + step;
    const int status =
        functions_.doStep(instance_, time, step, noSetStatePrior, &eventNeeded, &terminate, &earlyReturn, &lastTime);
    if (status == FMI3_DISCARD) return {true, false, false, time};
    status_.check(status, "fmi3DoStep");
    if (!earlyReturn) lastTime = time + step;
    checkLastTime(time, step, lastTime);
    return {false, eventNeeded && hasEventMode_, terminate, lastTime};
  }

  void enterEvents() override {
    status_.check(required(functions_.enterEventMode, "fmi3EnterEventMode")(instance_), "fmi3EnterEventMode");
  }

  EventOutcome iterateEvents() override {
    auto& update = required(functions_.updateDiscreteStates, "fmi3UpdateDiscreteStates");
    EventOutcome outcome;
    for (int i = 0; i < kMostEventIterations; ++i) {
      bool needUpdate = false;
      bool terminate = false;
      bool nominalsChanged = false;
      bool valuesChanged = false;
      bool nextDefined = false;
      double next = 0.0;
      status_.check(update(instance_, &needUpdate, &terminate, &nominalsChanged, &valuesChanged, &nextDefined, &next),
                    "fmi3UpdateDiscreteStates");
      outcome.terminate = outcome.terminate || terminate;
      outcome.nextTime = nextDefined ? std::optional<double>(next) : std::nullopt;
      if (!needUpdate || terminate) return outcome;
    }
    throw RunnerError(ExitStatus::failed, "the event iteration does not end");
  }

  void leaveEvents() override {
    status_.check(required(functions_.enterStepMode, "fmi3EnterStepMode")(instance_), "fmi3EnterStepMode");
  }

 private:
  static void checkLastTime(double time, double step, double lastTime) {
    if (std::isfinite(lastTime) && lastTime >= time && lastTime <= time + step) return;
    throw RunnerError(ExitStatus::failed, "fmi3DoStep returned early at the time " + std::to_string(lastTime) +
                                              ", which is outside the step");
  }

  SharedLibrary library_;
  Functions functions_;
  ValuesOfFmi3 values_;
  MessageSink message_;  // the FMU keeps its address
  void* instance_ = nullptr;
  CallStatus status_;
  bool hasEventMode_ = false;
};

}  // namespace

std::unique_ptr<Instance> makeCoSimulationOfFmi3(const ModelDescription& model, const InstanceSetup& setup) {
  return std::make_unique<CoSimulationOfFmi3>(model, setup);
}

}  // namespace vtio::runner
