/// @file
/// Values of inputs over time, as a table gives them.
#pragma once

#include <cstddef>
#include <filesystem>
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
/// first hold, after the last those of the last.
class VTIO_RUNNER_EXPORT InputTable final {
 public:
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  /// No inputs.
  InputTable() = default;

  /// @param csv CSV, or a results file (.qat).
  /// @param model Must outlive the table.
  /// @throws RunnerError with file, row and column: no time column, a column that names no input, a value that its
  ///   variable does not take, times that descend.
  InputTable(const std::filesystem::path& csv, const ModelDescription& model);

  /// Sets all inputs of the table to their values at a time in seconds.
  void apply(Instance& instance, double time, EventSide side) {
    if (!empty()) applyColumns(instance, time, side, false);
  }

  /// As apply(), of continuous inputs alone.
  void applyContinuous(Instance& instance, double time, EventSide side) {
    if (!empty()) applyColumns(instance, time, side, true);
  }

  /// The first time after another at which inputs jump: an event, or a row in which a held input has another value than
  /// in the row before; kNever if there is none.
  [[nodiscard]] double nextChange(double time) const;

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
  void applyColumns(Instance& instance, double time, EventSide side, bool onlyContinuous);
  [[nodiscard]] bool jumpsAt(std::size_t row) const;
  static void setMixed(Instance& instance, Column& column, const Values& low, const Values& high, double share);

  std::vector<double> times_;
  std::vector<Column> columns_;
};

/// Gives a variable its values.
VTIO_RUNNER_EXPORT void setValues(Instance& instance, const Variable& variable, const Values& values);

}  // namespace vtio::runner
