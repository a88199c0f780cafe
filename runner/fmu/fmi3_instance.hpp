/// @file
/// What instances of FMI 3 of every kind have in common.
#pragma once

#include <functional>
#include <string>

#include "runner/fmi/fmi3.h"
#include "runner/fmu/instance.hpp"
#include "runner/fmu/shared_library.hpp"
#include "runner/fmu/status.hpp"
#include "runner/fmu/values_fmi3.hpp"

namespace vtio::runner {

/// The functions of every kind; those from enterConfiguration on are null where the library lacks them.
struct Fmi3Functions {
  explicit Fmi3Functions(const SharedLibrary& library);

  Fmi3FreeInstance* freeInstance = nullptr;
  Fmi3EnterInitializationMode* enterInitialization = nullptr;
  Fmi3ExitInitializationMode* exitInitialization = nullptr;
  Fmi3Terminate* terminate = nullptr;
  Fmi3EnterConfigurationMode* enterConfiguration = nullptr;
  Fmi3ExitConfigurationMode* exitConfiguration = nullptr;
  Fmi3EnterEventMode* enterEventMode = nullptr;
  Fmi3UpdateDiscreteStates* updateDiscreteStates = nullptr;
  Fmi3GetState* getState = nullptr;
  Fmi3SetState* setState = nullptr;
  Fmi3FreeState* freeState = nullptr;
  Fmi3GetIntervalDecimal* getIntervalDecimal = nullptr;
  Fmi3GetIntervalFraction* getIntervalFraction = nullptr;
  Fmi3GetShiftDecimal* getShiftDecimal = nullptr;
  Fmi3GetShiftFraction* getShiftFraction = nullptr;
};

/// What an instance hands back to the functions that it calls.
struct Fmi3Environment {
  MessageSink message;
  std::function<void(double time)> readIntermediate;  ///< of Co-Simulation; throws nothing
};

/// Hands a message to the sink of the environment.
void logFmi3Message(void* environment, int status, const char* category, const char* message);

/// @throws RunnerError if the function is null.
template <typename Function>
Function& requireFmi3(Function* function, const char* name) {
  if (function == nullptr) throw RunnerError(std::string("the binary has no function '") + name + "'");
  return *function;
}

/// Implements Instance but for the end of events.
/// @tparam Base CoSimulation or ModelExchange.
template <typename Base>
class Fmi3Instance : public Base {
 public:
  ~Fmi3Instance() override {
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
    status_.check(requireFmi3(functions_.enterConfiguration, "fmi3EnterConfigurationMode")(instance_),
                  "fmi3EnterConfigurationMode");
  }

  void exitConfiguration() override {
    status_.check(requireFmi3(functions_.exitConfiguration, "fmi3ExitConfigurationMode")(instance_),
                  "fmi3ExitConfigurationMode");
  }

  void enterInitialization(const Experiment& experiment) override {
    status_.check(
        functions_.enterInitialization(instance_, experiment.tolerance.has_value(), experiment.tolerance.value_or(0.0),
                                       experiment.start, true, experiment.stop),
        "fmi3EnterInitializationMode");
  }

  void exitInitialization() override {
    status_.check(functions_.exitInitialization(instance_), "fmi3ExitInitializationMode");
  }

  void terminate() override { status_.check(functions_.terminate(instance_), "fmi3Terminate"); }

  void getState(void*& state) override {
    status_.check(requireFmi3(functions_.getState, "fmi3GetFMUState")(instance_, &state), "fmi3GetFMUState");
  }

  void setState(void* state) override {
    status_.check(requireFmi3(functions_.setState, "fmi3SetFMUState")(instance_, state), "fmi3SetFMUState");
  }

  void freeState(void* state) noexcept override {
    if (functions_.freeState != nullptr && !status_.isFatal()) functions_.freeState(instance_, &state);
  }

  void enterEvents() override {
    status_.check(requireFmi3(functions_.enterEventMode, "fmi3EnterEventMode")(instance_), "fmi3EnterEventMode");
  }

  EventOutcome updateDiscreteStates() override {
    EventOutcome outcome;
    bool nextDefined = false;
    double next = 0.0;
    status_.check(requireFmi3(functions_.updateDiscreteStates, "fmi3UpdateDiscreteStates")(
                      instance_, &outcome.needsUpdate, &outcome.terminate, &outcome.nominalsChanged,
                      &outcome.statesChanged, &nextDefined, &next),
                  "fmi3UpdateDiscreteStates");
    if (nextDefined) outcome.nextTime = next;
    return outcome;
  }

  ClockInterval getInterval(std::uint32_t clock, bool asFraction) override {
    double interval = 0.0;
    int qualifier = FMI3_INTERVAL_NOT_YET_KNOWN;
    if (asFraction) {
      std::uint64_t counter = 0;
      std::uint64_t resolution = 1;
      status_.check(requireFmi3(functions_.getIntervalFraction, "fmi3GetIntervalFraction")(
                        instance_, &clock, 1, &counter, &resolution, &qualifier),
                    "fmi3GetIntervalFraction");
      interval = static_cast<double>(counter) / static_cast<double>(resolution);
    } else {
      status_.check(requireFmi3(functions_.getIntervalDecimal, "fmi3GetIntervalDecimal")(instance_, &clock, 1,
                                                                                         &interval, &qualifier),
                    "fmi3GetIntervalDecimal");
    }
    return {qualifier == FMI3_INTERVAL_CHANGED, interval};
  }

  double getShift(std::uint32_t clock, bool asFraction) override {
    double shift = 0.0;
    if (asFraction) {
      std::uint64_t counter = 0;
      std::uint64_t resolution = 1;
      status_.check(
          requireFmi3(functions_.getShiftFraction, "fmi3GetShiftFraction")(instance_, &clock, 1, &counter, &resolution),
          "fmi3GetShiftFraction");
      return static_cast<double>(counter) / static_cast<double>(resolution);
    }
    status_.check(requireFmi3(functions_.getShiftDecimal, "fmi3GetShiftDecimal")(instance_, &clock, 1, &shift),
                  "fmi3GetShiftDecimal");
    return shift;
  }

 protected:
  /// No instance yet: start() takes it.
  explicit Fmi3Instance(const InstanceSetup& setup)
      : library_(setup.library), functions_(library_), values_(library_), environment_{setup.message, {}} {}

  /// @param instance What the function of the name returned.
  void start(void* instance, const char* function) {
    instance_ = instance;
    if (instance_ == nullptr) throw RunnerError(ExitStatus::failed, std::string(function) + " returned no instance");
  }

  [[nodiscard]] const SharedLibrary& library() const { return library_; }
  [[nodiscard]] void* instance() const { return instance_; }
  [[nodiscard]] CallStatus& status() { return status_; }
  [[nodiscard]] Fmi3Environment& environment() { return environment_; }

 private:
  SharedLibrary library_;
  Fmi3Functions functions_;
  ValuesOfFmi3 values_;
  Fmi3Environment environment_;  // the FMU keeps its address
  void* instance_ = nullptr;
  CallStatus status_;
};

}  // namespace vtio::runner
