/// @file
/// The table of a sweep: a row per run, saved as the variable `runs` of a Qat file.
#pragma once

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "runner/export.hpp"
#include "runner/sweep/sweep_plan.hpp"

namespace vtio::runner {

/// One run.
struct SweepRow {
  std::string status = "pending";  ///< or done, failed, crashed, timeout
  std::string message;             ///< why it is not done; also what a run that is done had to tell
  double seconds = std::numeric_limits<double>::quiet_NaN();   ///< that it took
  double lastTime = std::numeric_limits<double>::quiet_NaN();  ///< of the simulation, in seconds
  std::vector<double> finals;                                  ///< NaN until the run ends
};

/// The parameters of all runs and what came of them.
///
/// In the file each row is a structure: a field per parameter (a number, if its values in all runs are numbers, else a
/// text), `status`, `message`, `seconds`, `lastTime`, and a field per final value.
class VTIO_RUNNER_EXPORT SweepTable final {
 public:
  /// @throws RunnerError if two columns have one name.
  SweepTable(SweepPlan plan, std::vector<std::string> finalNames);

  [[nodiscard]] const SweepPlan& plan() const { return plan_; }
  [[nodiscard]] std::vector<SweepRow>& rows() { return rows_; }
  [[nodiscard]] const std::vector<SweepRow>& rows() const { return rows_; }

  /// Replaces the file.
  /// @throws RunnerError of status failed if it cannot be written.
  void save(const std::filesystem::path& file) const;

  /// Takes the rows of a sweep that was saved, or of a part of it: those that are not pending there, unless they are
  /// done here.
  /// @throws RunnerError if the file cannot be read or holds other runs or columns.
  void take(const std::filesystem::path& file);

 private:
  [[nodiscard]] SweepRow readRow(const qxArray* record, std::size_t run) const;
  [[nodiscard]] bool isNumber(std::size_t parameter) const;

  SweepPlan plan_;
  std::vector<std::string> finalNames_;
  std::vector<bool> areNumbers_;  // by parameter
  std::vector<SweepRow> rows_;
};

}  // namespace vtio::runner
