/// @file
/// A whole run: from the file of an FMU to the file of results.
#pragma once

#include <cstddef>
#include <iosfwd>

#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/run/run_options.hpp"

namespace vtio::runner {

/// Runs an FMU and saves what was logged, also when the model fails or the user interrupts.
/// @param out Receives what was logged, the line to type next, and in its last line the results file.
/// @param messages Receives the FMU's messages and notes, one a line.
/// @return How it ended; the message of a failed model stands in `messages`.
/// @throws RunnerError for what is wrong before the model runs, and for a results file that cannot be written.
VTIO_RUNNER_EXPORT ExitStatus runFmu(const RunOptions& options, std::ostream& out, std::ostream& messages);

}  // namespace vtio::runner
