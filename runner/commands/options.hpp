/// @file
/// The options of `vtio-run`'s commands.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "runner/compare/compare_run.hpp"
#include "runner/run/run_options.hpp"
#include "runner/sweep/sweep_options.hpp"

namespace vtio::runner {

/// What the command line gives as text and a run takes as values.
struct Arguments {
  RunOptions run;
  SweepOptions sweep;      ///< its runs are those of `run`
  CompareOptions compare;  ///< its run is that of `run`
  std::string kind, solver;
  std::string intervals;
  std::string shard;
  bool json = false;
  std::optional<double> stepTimeout;
};

/// Options that are filled when the command line is parsed; the arguments must outlive the command.
void addSetOption(CLI::App& app, Arguments& arguments);
void addRunOptions(CLI::App& app, Arguments& arguments);
void addSweepOptions(CLI::App& app, Arguments& arguments);
void addCompareOptions(CLI::App& app, Arguments& arguments);

/// Makes values of what was given as text.
/// @throws RunnerError
void settle(Arguments& arguments);

}  // namespace vtio::runner
