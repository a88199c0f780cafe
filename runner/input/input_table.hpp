/// @file
/// Values of inputs over time, as a table gives them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "runner/description/model_description.hpp"
#include "runner/description/start_values.hpp"
#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// Which of two rows of one time counts.
enum class EventSide : std::uint8_t { before, after };

/// A table of inputs: a column `time` and one column per variable, times ascending, two rows of one time an event.
///
/// Continuous variables are interpolated between the rows, all others held. Before the first row the values of the
/// first hold, after the last those of the last. A triggered clock ticks at the time of each row in which it is true.
/// Columns may be tunable parameters, too.
class VTIO_RUNNER_EXPORT InputTable final {
 public:
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  /// No inputs.
  InputTable() = default;

  /// @param csv CSV, or a results file (.qat).
  /// @param model Must outlive the table.
  /// @throws RunnerError with file, row and column: no time column, a column that names nothing that may change while
  ///   a run goes on, a value that its variable does not take, times that descend.
  InputTable(const std::filesystem::path& csv, const ModelDescription& model);

  /// Sets all inputs of the table to their values at a time in seconds.
  void apply(Instance& instance, double time, EventSide side) {
    if (!empty()) applyColumns(instance, time, side, [](const Variable&) { return true; });
  }

  /// As apply(), of continuous inputs alone.
  void applyContinuous(Instance& instance, double time, EventSide side) {
    if (!empty()) applyColumns(instance, time, side, &isContinuous);
  }

  /// As apply(), in an event: clocked inputs are set if a clock of theirs ticks.
  /// @param ticking Value references of the clocks that tick.
  void applyInEvent(Instance& instance, double time, const std::vector<std::uint32_t>& ticking);

  /// The first time after another at which inputs jump: an event, a row in which a held input without a clock has
  /// another value than in the row before, a row in which a clock ticks; kNever if there is none.
  [[nodiscard]] double nextChange(double time) const;

  /// Value references of the clocks that tick in rows of these times, in seconds, the ends included.
  [[nodiscard]] std::vector<std::uint32_t> ticks(double from, double to) const;

  [[nodiscard]] bool hasClocks() const;

  /// The first event after a time, in seconds; kNever if there is none.
  [[nodiscard]] double nextEvent(double time) const;

  [[nodiscard]] bool empty() const { return columns_.empty(); }

 private:
  struct Column {
    const Variable* variable = nullptr;
    std::vector<Values> rows;
    std::vector<double> mixed;  // an interpolated sample
  };

  void readHeader(const std::vector<std::string>& cells, const ModelDescription& model);
  void readRow(const std::vector<std::string>& cells, const ModelDescription& model);
  void applyColumns(Instance& instance, double time, EventSide side,
                    const std::function<bool(const Variable&)>& isWanted);
  [[nodiscard]] static bool isContinuous(const Variable& variable) {
    return variable.variability == Variability::continuous;
  }
  [[nodiscard]] bool jumpsAt(std::size_t row) const;
  static void setMixed(Instance& instance, Column& column, const Values& low, const Values& high, double share);

  std::vector<double> times_;
  std::vector<Column> columns_;
};

/// Marks the tunable parameters among the columns of CSV: they change while the run goes on, and are logged so.
/// @throws RunnerError if the file cannot be read.
VTIO_RUNNER_EXPORT void markTuned(const std::filesystem::path& csv, ModelDescription& model);

/// Gives a variable its values.
VTIO_RUNNER_EXPORT void setValues(Instance& instance, const Variable& variable, const Values& values);

}  // namespace vtio::runner
