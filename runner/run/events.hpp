/// @file
/// What happens in an event of an FMU.
#pragma once

#include "runner/export.hpp"
#include "runner/input/input_table.hpp"
#include "runner/run/clocks.hpp"
#include "runner/signals/value_store.hpp"

namespace vtio::runner {

/// Handles events of an instance that is in its event mode. Borrows its arguments.
class VTIO_RUNNER_EXPORT Events final {
 public:
  Events(Instance& instance, ValueStore& values, InputTable& inputs, const ModelDescription& model, double start)
      : instance_(instance), values_(values), inputs_(inputs), clocks_(instance, model, start), time_(start) {}

  /// The first event of an initialised instance.
  EventOutcome begin();

  /// Lets clocks tick, sets all inputs and updates the discrete states until they are settled, then reads all values;
  /// those of clocked variables as they were when their clocks ticked.
  /// @param time In seconds.
  /// @param due Clocks tick that are due up to this time.
  /// @param inputsFrom Triggered inputs tick that the table of inputs has from this time on; kNever: none.
  /// @throws RunnerError of status failed if the states do not settle.
  EventOutcome handle(double time, double due, double inputsFrom);

  /// The values of the event are logged: the clocks do not tick any more.
  void end() { values_.clearClocks(); }

  [[nodiscard]] Clocks& clocks() { return clocks_; }

 private:
  void readTicking();

  Instance& instance_;
  ValueStore& values_;
  InputTable& inputs_;
  Clocks clocks_;
  double time_;
};

}  // namespace vtio::runner
