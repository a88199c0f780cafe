/// @file
/// An instance in a process of its own: a crash of the FMU, or a call that never returns, is an error of this process.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/fmu/co_simulation.hpp"
#include "runner/fmu/model_exchange.hpp"

namespace vtio::runner {

/// The process of an FMU is gone.
class VTIO_RUNNER_EXPORT ProcessGone final : public RunnerError {
 public:
  ProcessGone(const std::string& what, bool timedOut) : RunnerError(ExitStatus::failed, what), timedOut_(timedOut) {}

  /// Whether it was stopped because it did not return.
  [[nodiscard]] bool timedOut() const { return timedOut_; }

 private:
  bool timedOut_;
};

/// Instantiates an FMU in a copy of this process.
///
/// Each operation waits for the other process. When that ends, or an operation takes longer than `patience`, the
/// operation throws ProcessGone; the instance can only be destroyed then.
/// @param model Read when the process starts.
/// @throws RunnerError as makeCoSimulation() and makeModelExchange(), and if there is no process to be had.
[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<CoSimulation> makeIsolatedCoSimulation(
    const ModelDescription& model, const InstanceSetup& setup, std::chrono::milliseconds patience);

[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<ModelExchange> makeIsolatedModelExchange(
    const ModelDescription& model, const InstanceSetup& setup, std::chrono::milliseconds patience);

}  // namespace vtio::runner
