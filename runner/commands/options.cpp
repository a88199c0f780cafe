#include "runner/commands/options.hpp"

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

std::pair<double, double> parseInterval(const std::string& text) {
  const std::size_t colon = text.find(':');
  const std::optional<double> from = parseXmlNumber(std::string_view(text).substr(0, colon));
  const std::optional<double> to =
      colon != std::string::npos ? parseXmlNumber(std::string_view(text).substr(colon + 1)) : std::nullopt;
  if (!from || !to || std::isnan(*from) || std::isnan(*to) || *from > *to) {
    throw RunnerError("--intervals needs a:b with a <= b, not '" + printable(text) + "'");
  }
  return {*from, *to};
}

Shard parseShard(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::optional<std::uint64_t> number = parseXmlUnsigned(std::string_view(text).substr(0, slash));
  const std::optional<std::uint64_t> of =
      slash != std::string::npos ? parseXmlUnsigned(std::string_view(text).substr(slash + 1)) : std::nullopt;
  if (!number || !of || *number < 1 || *number > *of) {
    throw RunnerError("--shard needs k/n with k from 1 to n, not '" + printable(text) + "'");
  }
  return {*number, *of};
}

// Empty for a whole number from 1, else why it is none.
std::string wholeNumber(const std::string& text) {
  const std::optional<std::uint64_t> number = parseXmlUnsigned(text);
  return number && *number > 0 ? "" : "'" + printable(text) + "' is no whole number from 1";
}

// An option that may be given again for more values.
void addMany(CLI::App& app, const char* name, std::vector<std::string>& values, const char* description) {
  app.add_option(name, values, description)
      ->expected(1)
      ->allow_extra_args(false)  // the next word is another argument
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

}  // namespace

void settle(Arguments& arguments) {
  if (arguments.kind == "cs") arguments.run.kind = Kind::coSimulation;
  if (arguments.kind == "me") arguments.run.kind = Kind::modelExchange;
  if (arguments.solver == "bdf") arguments.run.method = OdeMethod::bdf;
  if (arguments.solver == "adams") arguments.run.method = OdeMethod::adams;
  std::istringstream list(arguments.intervals);
  for (std::string one; std::getline(list, one, ',');) arguments.run.intervals.push_back(parseInterval(one));
  if (!arguments.shard.empty()) arguments.sweep.shard = parseShard(arguments.shard);
  if (arguments.stepTimeout) {
    const double seconds = *arguments.stepTimeout;
    if (!(seconds > 0.0)) throw RunnerError("--step-timeout: " + numberText(seconds) + " is no positive number");
    if (!arguments.run.isolate) throw RunnerError("--step-timeout goes with --isolate");
    arguments.run.stepTimeout = seconds;
  }
}

void addSetOption(CLI::App& app, Arguments& arguments) {
  addMany(app, "--set", arguments.run.set, "NAME=VALUE: start value of a parameter, input or state; again for more");
}

void addSweepOptions(CLI::App& app, Arguments& arguments) {
  SweepOptions& sweep = arguments.sweep;
  app.add_option("--table", sweep.table, "CSV file: a column per parameter, a row per run");
  addMany(app, "--grid", sweep.grids, "NAME=a:b:n: n values from a to b; again for all combinations");
  addMany(app, "--sample", sweep.samples, "NAME=normal(mean,deviation) or NAME=uniform(least,most); again for more");
  app.add_option("--runs", sweep.runs, "Number of runs of samples")->check(wholeNumber);
  app.add_option("--seed", sweep.seed, "Of the samples (0)");
  addMany(app, "--final", arguments.run.finals,
          "Keep the last values of the logged scalars that match; again for more");
  app.add_option("-j,--jobs", sweep.jobs, "Runs at a time, of each process under mpirun (1)")->check(wholeNumber);
  app.add_flag("--resume", sweep.resume, "Make the runs that neither the output nor a shard has as done");
  app.add_option("--shard", arguments.shard, "k/n: make the k-th of n parts only; --resume brings them together");
}

void addRunOptions(CLI::App& app, Arguments& arguments) {
  RunOptions& run = arguments.run;
  app.add_option("--kind", arguments.kind, "cs or me; cs where the FMU offers it")->check(CLI::IsMember({"cs", "me"}));
  app.add_option("--solver", arguments.solver, "Of Model Exchange: bdf or adams (bdf)")
      ->check(CLI::IsMember({"bdf", "adams"}));
  app.add_option("--start", run.start, "Start time in seconds");
  app.add_option("--stop", run.stop, "Stop time in seconds");
  app.add_option("--step", run.step, "Communication step in seconds");
  app.add_option("--output-step", run.outputStep, "Log on this grid, at events and at the end; else at every step");
  app.add_option("--tolerance", run.tolerance, "Relative tolerance for the FMU");
  addSetOption(app, arguments);
  app.add_option("--rewind", run.rewind, "At the stop, go back to this time and on again, the log with it");
  addMany(app, "--max-change", run.maxChange, "NAME=VALUE: halve steps in which it moves by more; again for more");
  app.add_option("--input", run.input, "CSV file with a column time and one per input, or a results file (.qat)");
  addMany(app, "--signals", run.signals, "Log the variables that match the pattern; again for more");
  app.add_flag("--parameters", run.parameters, "Log parameters, once");
  app.add_flag("--locals", run.locals, "Log local variables");
  app.add_option("--decimate", run.decimation, "Log every N-th sample")->check(wholeNumber);
  app.add_option("--max-points", run.maxPoints, "Keep the newest N samples of each signal")->check(wholeNumber);
  app.add_option("--intervals", arguments.intervals, "Log in these times only: a:b,c:d");
  app.add_option("--selection", run.selection, "JSON file: a logging selection");
  addMany(app, "--log", run.logCategories, "Show the FMU's messages of this category, * for all; again for more");
  app.add_flag("--build", run.build, "Compile the FMU's sources in place of its binary");
  app.add_flag("--stream", run.stream,
               "Write the results file while the run goes on: others read it, a kill leaves it");
  app.add_flag("--isolate", run.isolate, "Run the FMU in a process of its own, so that a crash keeps the log");
  app.add_option("--step-timeout", arguments.stepTimeout, "With --isolate: seconds that a call may take (10)");
  app.add_option("-o,--output", run.output, "Results file (results.qat; of a sweep: sweep.qat)");
}

void addCompareOptions(CLI::App& app, Arguments& arguments) {
  CompareOptions& compare = arguments.compare;
  app.add_option("REF", compare.reference, "The reference: CSV with a column time, or a results file (.qat)")
      ->required();
  app.add_option("--rtol", compare.rtol, "Tolerance relative to the reference's value (0)");
  app.add_option("--atol", compare.atol, "Absolute tolerance (0)");
  app.add_option("--time-tol", compare.timeTolerance, "Tolerance of times in seconds (0)");
  app.add_option("--tolerances", compare.tolerances, "A file with lines 'pattern, rtol, atol'; the last match wins");
  app.add_flag("--json", compare.json, "Print JSON");
}

}  // namespace vtio::runner
