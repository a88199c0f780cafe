/// @file
/// Reads variables of an FMU within a communication step.
#pragma once

#include <exception>
#include <vector>

#include "runner/fmu/co_simulation.hpp"

namespace vtio::runner {

/// Collects the samples of one step after the other. The FMU calls it, so failures are kept until the step is over.
class IntermediateReader final {
 public:
  /// @param instance Is read from; must outlive the reader.
  IntermediateReader(Instance& instance, std::vector<VariableBatch> batches);

  [[nodiscard]] bool empty() const { return batches_.empty(); }

  /// Value references of all variables.
  [[nodiscard]] std::vector<std::uint32_t> references() const;

  /// A step begins at a time, in seconds.
  void begin(double time);

  /// Reads the values of a time within the step. Times that are not behind its beginning, or before the last one, are
  /// left out.
  void read(double time) noexcept;

  /// The step ended at a time: the values of that time are read elsewhere.
  /// @throws RunnerError if a value could not be read.
  void end(double time);

  /// Valid until begin().
  [[nodiscard]] const IntermediateSamples& samples() const { return samples_; }

 private:
  Instance& instance_;
  std::vector<VariableBatch> batches_;
  std::size_t bytes_ = 0;  // of a sample
  double begin_ = 0.0;
  IntermediateSamples samples_;
  std::exception_ptr failure_;
};

}  // namespace vtio::runner
