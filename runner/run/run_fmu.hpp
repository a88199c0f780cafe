/// @file
/// A whole run: from the file of an FMU to the file of results.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <vector>

#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/fmu/fmu_file.hpp"
#include "runner/run/fmu_run.hpp"
#include "runner/run/run_options.hpp"

namespace vtio::runner {

/// Runs an FMU and saves what was logged, also when the model fails or the user interrupts.
/// @param out Receives what was logged, the line to type next, and in its last line the results file.
/// @param messages Receives the FMU's messages and notes, one a line.
/// @return How it ended; the message of a failed model stands in `messages`.
/// @throws RunnerError for what is wrong before the model runs, and for a results file that cannot be written.
VTIO_RUNNER_EXPORT ExitStatus runFmu(const RunOptions& options, std::ostream& out, std::ostream& messages);

/// How a run ended and what it came to.
struct RunOutcome {
  RunEnd end;
  std::vector<double> finals;  ///< last values of the scalars that RunOptions::finals match, in the model's order
};

/// As runFmu().
[[nodiscard]] VTIO_RUNNER_EXPORT RunOutcome runForOutcome(const RunOptions& options, std::ostream& out,
                                                          std::ostream& messages);

/// @throws RunnerError if results cannot be saved under the name: it is empty or that of a folder, its own folder does
///   not exist, or it is a file that the run reads.
VTIO_RUNNER_EXPORT void checkOutput(const RunOptions& options);

/// @return The interface that a run uses; valid as long as the FMU.
/// @throws RunnerError for a mistake in the description that prevents a run, and if there is no such interface.
[[nodiscard]] VTIO_RUNNER_EXPORT const Interface& interfaceForRun(const FmuFile& fmu, const RunOptions& options);

}  // namespace vtio::runner
