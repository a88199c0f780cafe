/// @file
/// Many runs of one FMU.
#pragma once

#include <iosfwd>

#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/sweep/sweep_options.hpp"

namespace vtio::runner {

/// Makes the runs of a sweep, each in a process of its own, some at a time.
///
/// The output holds the table of the runs (see sweep_table.hpp) and is replaced while the sweep goes on; run 17 has its
/// results in OUTPUT.d/000017.qat. A run that fails or crashes is a row of the table, and the sweep goes on. Ctrl-C and
/// SIGTERM end the runs that are being made; all that are not finished stay pending.
/// @param out Receives how many runs ended how, and in its last line the output.
/// @param messages Receives a line for each run that is not done.
/// @return done if all runs are done, failed if one is not, interrupted or terminated after a signal.
/// @throws RunnerError for what is wrong before the first run, and for a table that cannot be written.
VTIO_RUNNER_EXPORT ExitStatus runSweep(const SweepOptions& options, std::ostream& out, std::ostream& messages);

}  // namespace vtio::runner
