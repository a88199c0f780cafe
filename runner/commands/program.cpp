#include <CLI/CLI.hpp>
#include <cmath>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "runner/commands/commands.hpp"
#include "runner/description/xml_reader.hpp"
#include "runner/run/run_fmu.hpp"
#include "runner/sweep/sweep.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr const char* kExamples = R"(Examples:
  vtio-run info Ball.fmu
  vtio-run run Ball.fmu --stop 3 --output-step 0.01 --set e=0.8 -o ball.qat
  vtio-run run Axle.fmu --input road.csv --signals 'wheel*' --decimate 10
  vtio-run sweep Ball.fmu --grid e=0.5:0.9:20 --final h -j 2
)";

// What the command line gives as text and a run takes as values.
struct Arguments {
  RunOptions run;
  SweepOptions sweep;  // its runs are those of `run`
  std::string kind;
  std::string intervals;
  bool json = false;
  std::optional<double> stepTimeout;
};

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

void settle(Arguments& arguments) {
  if (arguments.kind == "cs") arguments.run.kind = Kind::coSimulation;
  if (arguments.kind == "me") arguments.run.kind = Kind::modelExchange;
  std::istringstream list(arguments.intervals);
  for (std::string one; std::getline(list, one, ',');) arguments.run.intervals.push_back(parseInterval(one));
  if (arguments.stepTimeout) {
    const double seconds = *arguments.stepTimeout;
    if (!(seconds > 0.0)) throw RunnerError("--step-timeout: " + numberText(seconds) + " is no positive number");
    if (!arguments.run.isolate) throw RunnerError("--step-timeout goes with --isolate");
    arguments.run.stepTimeout = seconds;
  }
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

void addSweepOptions(CLI::App& app, Arguments& arguments) {
  SweepOptions& sweep = arguments.sweep;
  app.add_option("--table", sweep.table, "CSV file: a column per parameter, a row per run");
  addMany(app, "--grid", sweep.grids, "NAME=a:b:n: n values from a to b; again for all combinations");
  addMany(app, "--sample", sweep.samples, "NAME=normal(mean,deviation) or NAME=uniform(least,most); again for more");
  app.add_option("--runs", sweep.runs, "Number of runs of samples")->check(wholeNumber);
  app.add_option("--seed", sweep.seed, "Of the samples (0)");
  addMany(app, "--final", arguments.run.finals,
          "Keep the last values of the logged scalars that match; again for more");
  app.add_option("-j,--jobs", sweep.jobs, "Runs at a time (1)")->check(wholeNumber);
  app.add_flag("--resume", sweep.resume, "Make the runs that the output does not have as done");
}

void addRunOptions(CLI::App& app, Arguments& arguments) {
  RunOptions& run = arguments.run;
  app.add_option("--kind", arguments.kind, "cs or me; cs where the FMU offers it")->check(CLI::IsMember({"cs", "me"}));
  app.add_option("--start", run.start, "Start time in seconds");
  app.add_option("--stop", run.stop, "Stop time in seconds");
  app.add_option("--step", run.step, "Communication step in seconds");
  app.add_option("--output-step", run.outputStep, "Log on this grid, at events and at the end; else at every step");
  app.add_option("--tolerance", run.tolerance, "Relative tolerance for the FMU");
  addMany(app, "--set", run.set, "NAME=VALUE: start value of a parameter, input or state; again for more");
  app.add_option("--rewind", run.rewind, "At the stop, go back to this time and on again, the log with it");
  addMany(app, "--max-change", run.maxChange, "NAME=VALUE: halve steps in which it moves by more; again for more");
  app.add_option("--input", run.input, "CSV file: a column time and one per input");
  addMany(app, "--signals", run.signals, "Log the variables that match the pattern; again for more");
  app.add_flag("--parameters", run.parameters, "Log parameters, once");
  app.add_flag("--locals", run.locals, "Log local variables");
  app.add_option("--decimate", run.decimation, "Log every N-th sample")->check(wholeNumber);
  app.add_option("--max-points", run.maxPoints, "Keep the newest N samples of each signal")->check(wholeNumber);
  app.add_option("--intervals", arguments.intervals, "Log in these times only: a:b,c:d");
  app.add_option("--selection", run.selection, "JSON file: a logging selection");
  addMany(app, "--log", run.logCategories, "Show the FMU's messages of this category, * for all; again for more");
  app.add_flag("--stream", run.stream,
               "Write the results file while the run goes on: others read it, a kill leaves it");
  app.add_flag("--isolate", run.isolate, "Run the FMU in a process of its own, so that a crash keeps the log");
  app.add_option("--step-timeout", arguments.stepTimeout, "With --isolate: seconds that a call may take (10)");
  app.add_option("-o,--output", run.output, "Results file (results.qat; of a sweep: sweep.qat)");
}

class Program {
 public:
  Program() {
    app_.require_subcommand(1);
    app_.footer(kExamples);
    app_.set_version_flag("--version", "vtio-run " VTIO_RUNNER_VERSION, "Print the version and exit");
    run_ = app_.add_subcommand("run", "Run an FMU and log what it says");
    info_ = app_.add_subcommand("info", "Print what an FMU is, and its variables");
    check_ = app_.add_subcommand("check", "List the mistakes in an FMU");
    sweep_ = app_.add_subcommand("sweep", "Run an FMU many times with other parameters");
    for (CLI::App* command : {run_, info_, check_, sweep_}) {
      command->add_option("MODEL.fmu", arguments_.run.fmu, "The FMU")->required();
    }
    addRunOptions(*run_, arguments_);
    addRunOptions(*sweep_, arguments_);
    addSweepOptions(*sweep_, arguments_);
    info_->add_flag("--json", arguments_.json, "Print one JSON object");
  }

  int run(int argc, const char* const* argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      std::cout << app_.help();
      return static_cast<int>(ExitStatus::done);
    } catch (const CLI::CallForVersion& version) {
      std::cout << version.what() << "\n";
      return static_cast<int>(ExitStatus::done);
    } catch (const CLI::ParseError& error) {
      return fail(error.what(), ExitStatus::refused);
    }
    try {
      return static_cast<int>(runCommand());
    } catch (const RunnerError& error) {
      return fail(error.what(), error.status());
    } catch (const std::exception& error) {
      return fail(error.what(), ExitStatus::failed);
    }
  }

 private:
  ExitStatus runCommand() {
    if (run_->parsed()) {
      settle(arguments_);
      return runFmu(arguments_.run, std::cout, std::cerr);
    }
    if (sweep_->parsed()) {
      if (sweep_->get_option("--output")->empty()) arguments_.run.output = "sweep.qat";
      settle(arguments_);
      arguments_.sweep.run = arguments_.run;
      return runSweep(arguments_.sweep, std::cout, std::cerr);
    }
    const FmuFile fmu(arguments_.run.fmu);
    if (check_->parsed()) return printMistakes(fmu, std::cout);
    arguments_.json ? printInfoAsJson(fmu, std::cout) : printInfo(fmu, std::cout);
    return ExitStatus::done;
  }

  int fail(const std::string& what, ExitStatus status) const {
    const std::string file = arguments_.run.fmu.string();
    std::cerr << "vtio-run: " << (file.empty() ? "" : printable(file) + ": ") << printable(what, 2000) << "\n";
    return static_cast<int>(status);
  }

  CLI::App app_{"Runs FMUs and logs what they say", "vtio-run"};
  CLI::App* run_ = nullptr;
  CLI::App* info_ = nullptr;
  CLI::App* check_ = nullptr;
  CLI::App* sweep_ = nullptr;
  Arguments arguments_;
};

}  // namespace

int runProgram(int argc, const char* const* argv) { return Program().run(argc, argv); }

}  // namespace vtio::runner
