/// @file
/// What every command of the results tool has: where it prints, and how it ends.
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/terminal/style.hpp"
#include "results/values/time_range.hpp"

namespace vtio::results {

/// How a command ended, as a process tells it.
enum ExitStatus : int {
  kDone = 0,
  kNo = 1,     ///< the answer is no: files differ, a file is incomplete
  kWrong = 2,  ///< wrong usage or unreadable input
  kInterrupted = 130
};

/// Where a command prints. Results go to `out`, nothing else does.
struct Console {
  std::ostream& out;
  Style style;
  Job job;
};

/// Ends of time as options give them.
struct TimeOptions {
  std::optional<double> from;
  std::optional<double> to;

  [[nodiscard]] bool isGiven() const { return from.has_value() || to.has_value(); }

  /// @throws ResultsError if an end is NaN or the range ends before it begins.
  [[nodiscard]] VTIO_RESULTS_EXPORT TimeRange range() const;
};

/// Runs a command; an exception becomes a line `qat: what` on `err` and a status.
VTIO_RESULTS_EXPORT int runCommand(const std::function<int()>& command, std::ostream& err);

/// An error as the one line that users see.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string errorLine(std::string_view what);

}  // namespace vtio::results
