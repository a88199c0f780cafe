/// @file
/// `vtio-run compare`: runs an FMU and compares what it says with a reference.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/run/run_options.hpp"

namespace vtio::runner {

/// What `compare` is asked for. All of `run` holds; without an output the results of the run are not kept.
struct CompareOptions {
  RunOptions run;
  bool keepsResults = false;        ///< the output was named
  std::filesystem::path reference;  ///< CSV, or a results file (.qat)
  double rtol = 0.0;                ///< of the reference's value
  double atol = 0.0;
  double timeTolerance = 0.0;        ///< seconds
  std::filesystem::path tolerances;  ///< lines `pattern, rtol, atol`; empty: none
  bool json = false;
};

/// Makes a run and compares it at the times of the reference; at an event the sample after it counts. Every column of
/// the reference that names a variable of the model, or an element as `qat export` names it, is logged and compared;
/// others are noted and left out.
/// @param out Receives what differs, as `qat diff` prints it.
/// @param messages Receives the FMU's messages and notes.
/// @return done if nothing differs, failed if something does or the model failed.
/// @throws RunnerError
VTIO_RUNNER_EXPORT ExitStatus compareRun(const CompareOptions& options, std::ostream& out, std::ostream& messages);

}  // namespace vtio::runner
