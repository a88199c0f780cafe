/// @file
/// What instances of FMI 2 of every kind have in common.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "runner/fmi/fmi2.h"
#include "runner/fmu/file_uri.hpp"
#include "runner/fmu/instance.hpp"
#include "runner/fmu/shared_library.hpp"
#include "runner/fmu/status.hpp"

namespace vtio::runner {

/// The functions of every kind; the last three are null where the library lacks them.
struct Fmi2Functions {
  explicit Fmi2Functions(const SharedLibrary& library);

  Fmi2Instantiate* instantiate = nullptr;
  Fmi2FreeInstance* freeInstance = nullptr;
  Fmi2SetupExperiment* setupExperiment = nullptr;
  Fmi2EnterInitializationMode* enterInitialization = nullptr;
  Fmi2ExitInitializationMode* exitInitialization = nullptr;
  Fmi2Terminate* terminate = nullptr;
  Fmi2GetReal* getReal = nullptr;
  Fmi2GetInteger* getInteger = nullptr;
  Fmi2GetBoolean* getBoolean = nullptr;
  Fmi2GetString* getString = nullptr;
  Fmi2SetReal* setReal = nullptr;
  Fmi2SetInteger* setInteger = nullptr;
  Fmi2SetBoolean* setBoolean = nullptr;
  Fmi2SetString* setString = nullptr;
  Fmi2GetState* getState = nullptr;
  Fmi2SetState* setState = nullptr;
  Fmi2FreeState* freeState = nullptr;
};

/// Hands a message, which arrives as a printf format with its arguments, to the MessageSink that is the environment.
void logFmi2Message(void* environment, const char* instance, int status, const char* category, const char* format, ...);

/// Implements Instance but for events.
/// @tparam Base CoSimulation or ModelExchange.
template <typename Base>
class Fmi2Instance : public Base {
 public:
  ~Fmi2Instance() override {
    if (instance_ != nullptr && !status_.isFatal()) functions_.freeInstance(instance_);
  }

  void get(VariableType type, std::span<const std::uint32_t> references, void* values, std::size_t count) override {
    const std::uint32_t* first = references.data();
    if (type == VariableType::float64) {
      status_.check(functions_.getReal(instance_, first, count, static_cast<double*>(values)), "fmi2GetReal");
    } else if (type == VariableType::int32) {
      status_.check(functions_.getInteger(instance_, first, count, static_cast<int*>(values)), "fmi2GetInteger");
    } else if (type == VariableType::boolean) {
      integers_.resize(count);
      status_.check(functions_.getBoolean(instance_, first, count, integers_.data()), "fmi2GetBoolean");
      auto* bytes = static_cast<std::uint8_t*>(values);
      for (std::size_t i = 0; i < count; ++i) bytes[i] = integers_[i] != 0 ? 1 : 0;
    } else {
      integers_.resize(count);
      status_.check(functions_.getInteger(instance_, first, count, integers_.data()), "fmi2GetInteger");
      std::copy(integers_.begin(), integers_.end(), static_cast<std::int64_t*>(values));
    }
  }

  void set(VariableType type, std::span<const std::uint32_t> references, const void* values,
           std::size_t count) override {
    const std::uint32_t* first = references.data();
    if (type == VariableType::float64) {
      status_.check(functions_.setReal(instance_, first, count, static_cast<const double*>(values)), "fmi2SetReal");
    } else if (type == VariableType::int32) {
      status_.check(functions_.setInteger(instance_, first, count, static_cast<const int*>(values)), "fmi2SetInteger");
    } else if (type == VariableType::boolean) {
      const auto* bytes = static_cast<const std::uint8_t*>(values);
      integers_.assign(bytes, bytes + count);
      status_.check(functions_.setBoolean(instance_, first, count, integers_.data()), "fmi2SetBoolean");
    } else {
      const auto* numbers = static_cast<const std::int64_t*>(values);
      integers_.resize(count);
      for (std::size_t i = 0; i < count; ++i) integers_[i] = static_cast<int>(numbers[i]);
      status_.check(functions_.setInteger(instance_, first, count, integers_.data()), "fmi2SetInteger");
    }
  }

  void getTexts(std::span<const std::uint32_t> references, std::span<const char*> values) override {
    status_.check(functions_.getString(instance_, references.data(), references.size(), values.data()),
                  "fmi2GetString");
  }

  void setTexts(std::span<const std::uint32_t> references, std::span<const char* const> values) override {
    status_.check(functions_.setString(instance_, references.data(), references.size(), values.data()),
                  "fmi2SetString");
  }

  void getBinaries(std::span<const std::uint32_t>, std::span<std::size_t>, std::span<const std::uint8_t*>) override {}
  void setBinaries(std::span<const std::uint32_t>, std::span<const std::size_t>,
                   std::span<const std::uint8_t* const>) override {}
  void enterConfiguration() override {}
  void exitConfiguration() override {}

  ClockInterval getInterval(std::uint32_t, bool) override { return {}; }
  double getShift(std::uint32_t, bool) override { return 0.0; }

  void enterInitialization(const Experiment& experiment) override {
    status_.check(functions_.setupExperiment(instance_, experiment.tolerance ? 1 : 0,
                                             experiment.tolerance.value_or(0.0), experiment.start, 1, experiment.stop),
                  "fmi2SetupExperiment");
    status_.check(functions_.enterInitialization(instance_), "fmi2EnterInitializationMode");
  }

  void exitInitialization() override {
    status_.check(functions_.exitInitialization(instance_), "fmi2ExitInitializationMode");
  }

  void terminate() override { status_.check(functions_.terminate(instance_), "fmi2Terminate"); }

  void getState(void*& state) override {
    if (functions_.getState == nullptr) throw RunnerError("the binary has no function 'fmi2GetFMUstate'");
    status_.check(functions_.getState(instance_, &state), "fmi2GetFMUstate");
  }

  void setState(void* state) override {
    if (functions_.setState == nullptr) throw RunnerError("the binary has no function 'fmi2SetFMUstate'");
    status_.check(functions_.setState(instance_, state), "fmi2SetFMUstate");
  }

  void freeState(void* state) noexcept override {
    if (functions_.freeState != nullptr && !status_.isFatal()) functions_.freeState(instance_, &state);
  }

 protected:
  /// @param kind As FMI 2 numbers it.
  Fmi2Instance(const ModelDescription& model, const InstanceSetup& setup, int kind)
      : library_(setup.library), functions_(library_), message_(setup.message) {
    callbacks_ = {&logFmi2Message, &std::calloc, &std::free, nullptr, &message_};
    instance_ = functions_.instantiate("instance", kind, model.instantiationToken.c_str(),
                                       fileUri(setup.resources).c_str(), &callbacks_, 0, setup.loggingOn ? 1 : 0);
    if (instance_ == nullptr) throw RunnerError(ExitStatus::failed, "fmi2Instantiate returned no instance");
  }

  [[nodiscard]] const SharedLibrary& library() const { return library_; }
  [[nodiscard]] void* instance() const { return instance_; }
  [[nodiscard]] CallStatus& status() { return status_; }

 private:
  SharedLibrary library_;
  Fmi2Functions functions_;
  MessageSink message_;  // the FMU keeps its address
  Fmi2Callbacks callbacks_{};
  void* instance_ = nullptr;
  CallStatus status_;
  std::vector<int> integers_;  // FMI 2 hands Booleans and enumerations over as int
};

}  // namespace vtio::runner
