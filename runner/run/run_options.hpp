/// @file
/// What `vtio-run run` is asked for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runner/description/model_description.hpp"
#include "runner/solver/ode_solver.hpp"

namespace vtio::runner {

/// Times in seconds. What is not given comes from the FMU's default experiment.
struct RunOptions {
  std::filesystem::path fmu;
  std::optional<Kind> kind;         ///< Co-Simulation if it is offered, else Model Exchange
  std::optional<OdeMethod> method;  ///< of the solver for Model Exchange; BDF
  std::optional<double> start, stop, step, outputStep, tolerance;
  std::optional<double> rewind;        ///< go back to this time once the stop is reached, and on again
  std::vector<std::string> maxChange;  ///< NAME=VALUE: halve steps in which the variable moves by more
  std::vector<std::string> set;        ///< NAME=VALUE
  std::filesystem::path input;         ///< CSV or .qat; empty: none
  std::vector<std::string> signals;    ///< patterns; empty: inputs and outputs
  bool parameters = false;
  bool locals = false;
  unsigned long decimation = 1;
  unsigned long maxPoints = 0;                       ///< 0: no limit
  std::vector<std::pair<double, double>> intervals;  ///< empty: all times
  std::filesystem::path selection;                   ///< JSON; empty: none
  std::vector<std::string> logCategories;            ///< `*` for all
  std::vector<std::string> finals;                   ///< patterns of scalars whose last values are wanted
  bool build = false;                                ///< compile the FMU's sources in place of its binary
  std::filesystem::path library;                     ///< what was compiled of them before; empty: nothing
  bool stream = false;                               ///< write the results while the run goes on
  bool isolate = false;                              ///< run the FMU in a process of its own
  double stepTimeout = 10.0;                         ///< seconds that a call of an isolated FMU may take
  bool showsProgress = false;                        ///< a bar on standard error, if it is a terminal
  std::filesystem::path output = "results.qat";
};

/// The times of a run, settled.
struct RunTimes {
  double start = 0.0;
  double stop = 1.0;
  double step = 0.0;
  std::optional<double> outputStep;
  std::optional<double> tolerance;
  std::optional<double> rewind;
};

}  // namespace vtio::runner
