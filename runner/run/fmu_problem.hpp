/// @file
/// An FMU for Model Exchange as the equations that a solver solves.
#pragma once

#include "runner/fmu/model_exchange.hpp"
#include "runner/input/input_table.hpp"
#include "runner/solver/ode_problem.hpp"

namespace vtio::runner {

/// Over an instance in continuous time, which must outlive it, as must its inputs.
class FmuProblem final : public OdeProblem {
 public:
  FmuProblem(ModelExchange& instance, InputTable& inputs)
      : instance_(instance),
        inputs_(inputs),
        stateCount_(instance.stateCount()),
        rootCount_(instance.indicatorCount()) {}

  /// Inputs jumped at this time, in seconds: those after the jump hold there.
  void beginAt(double time) { begin_ = time; }

  /// Takes the instance to a point, with the inputs of that time.
  [[nodiscard]] bool moveTo(double time, std::span<const double> states);

  [[nodiscard]] std::size_t stateCount() const override { return stateCount_; }
  [[nodiscard]] std::size_t rootCount() const override { return rootCount_; }
  [[nodiscard]] bool derivatives(double time, std::span<const double> states, std::span<double> result) override;
  [[nodiscard]] bool roots(double time, std::span<const double> states, std::span<double> result) override;
  [[nodiscard]] bool hasJacobian() const override { return instance_.hasJacobian(); }
  [[nodiscard]] bool jacobian(double time, std::span<const double> states, std::span<double> columns) override;

 private:
  ModelExchange& instance_;
  InputTable& inputs_;
  std::size_t stateCount_, rootCount_;
  double begin_ = 0.0;
};

}  // namespace vtio::runner
