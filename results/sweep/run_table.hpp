/// @file
/// The table of a sweep: parameters and outcome of its runs.
///
///     vtio::results::RunTable runs("sweep.qat");
///     for (const std::size_t run : runs.select({{"stiffness>2", "status=done"}})) std::puts(runs.fileOf(run).c_str());
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "results/export.hpp"
#include "results/file/results_file.hpp"

namespace vtio::results {

/// A column: a number or a text per run.
struct RunColumn {
  enum class Role { parameter, outcome, final };

  std::string name;
  Role role = Role::parameter;  ///< outcome: `status`, `message`, `seconds`, `lastTime`; final: a last value
  bool isText = false;
  std::vector<double> numbers;
  std::vector<std::string> texts;

  /// As people read it: numbers in their shortest form.
  [[nodiscard]] VTIO_RESULTS_EXPORT std::string text(std::size_t run) const;
};

/// Read whole when it is made.
class VTIO_RESULTS_EXPORT RunTable final {
 public:
  /// Whether a file is a sweep: it has the variable `runs`.
  /// @throws ResultsError if it cannot be read.
  [[nodiscard]] static bool isSweep(const std::string& path);

  /// @throws ResultsError if the file cannot be read or is no sweep.
  explicit RunTable(const std::string& path);

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::size_t runs() const { return runs_; }
  [[nodiscard]] const std::vector<RunColumn>& columns() const { return columns_; }

  /// @throws ResultsError that suggests near names.
  [[nodiscard]] const RunColumn& find(std::string_view name) const;

  /// Runs for which all conditions hold, ascending: `COLUMN<VALUE`, or with <=, >, >=, =, ==, !=; `run` is the number
  /// of a run. A text column is equal to a text or not. The condition `all` always holds.
  /// @throws ResultsError for a condition that cannot be read, or if no run is left.
  [[nodiscard]] std::vector<std::size_t> select(std::span<const std::string> conditions) const;

  /// The results file of a run, beside the sweep; it may not exist.
  [[nodiscard]] std::string fileOf(std::size_t run) const;

  /// The parameters of a run as `a=1, b=2`.
  [[nodiscard]] std::string parametersOf(std::size_t run) const;

  /// The table as results: a signal per column, a sample per run, at the number of the run in place of a time.
  [[nodiscard]] ResultsFile asResults() const;

 private:
  [[nodiscard]] std::function<bool(std::size_t)> test(const std::string& condition) const;

  std::string path_;
  std::size_t runs_ = 0;
  std::vector<RunColumn> columns_;
};

}  // namespace vtio::results
