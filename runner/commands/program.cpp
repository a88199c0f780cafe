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
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr const char* kExamples = R"(Examples:
  vtio-run info Ball.fmu
  vtio-run run Ball.fmu --stop 3 --output-step 0.01 --set e=0.8 -o ball.qat
  vtio-run run Axle.fmu --input road.csv --signals 'wheel*' --decimate 10
)";

// What the command line gives as text and a run takes as values.
struct Arguments {
  RunOptions run;
  std::string kind;
  std::string intervals;
  bool json = false;
  bool stream = false;
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
  if (arguments.stream) throw RunnerError("--stream is not supported yet: results are saved at the end of the run");
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

void addRunOptions(CLI::App& app, Arguments& arguments) {
  RunOptions& run = arguments.run;
  app.add_option("--kind", arguments.kind, "cs or me; cs where the FMU offers it")->check(CLI::IsMember({"cs", "me"}));
  app.add_option("--start", run.start, "Start time in seconds");
  app.add_option("--stop", run.stop, "Stop time in seconds");
  app.add_option("--step", run.step, "Communication step in seconds");
  app.add_option("--output-step", run.outputStep, "Log on this grid, at events and at the end; else at every step");
  app.add_option("--tolerance", run.tolerance, "Relative tolerance for the FMU");
  app.add_option("--set", run.set, "NAME=VALUE: start value of a parameter, input or state; again for more")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_option("--rewind", run.rewind, "At the stop, go back to this time and on again, the log with it");
  app.add_option("--max-change", run.maxChange, "NAME=VALUE: halve steps in which it moves by more; again for more")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_option("--input", run.input, "CSV file: a column time and one per input");
  app.add_option("--signals", run.signals, "Log the variables that match the pattern; again for more")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_flag("--parameters", run.parameters, "Log parameters, once");
  app.add_flag("--locals", run.locals, "Log local variables");
  app.add_option("--decimate", run.decimation, "Log every N-th sample")->check(wholeNumber);
  app.add_option("--max-points", run.maxPoints, "Keep the newest N samples of each signal")->check(wholeNumber);
  app.add_option("--intervals", arguments.intervals, "Log in these times only: a:b,c:d");
  app.add_option("--selection", run.selection, "JSON file: a logging selection");
  app.add_option("--log", run.logCategories, "Show the FMU's messages of this category, * for all; again for more")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_flag("--stream", arguments.stream, "Write while the run goes on (not yet)");
  app.add_flag("--isolate", run.isolate, "Run the FMU in a process of its own, so that a crash keeps the log");
  app.add_option("--step-timeout", arguments.stepTimeout, "With --isolate: seconds that a call may take (10)");
  app.add_option("-o,--output", run.output, "Results file")->capture_default_str();
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
    for (CLI::App* command : {run_, info_, check_}) {
      command->add_option("MODEL.fmu", arguments_.run.fmu, "The FMU")->required();
    }
    addRunOptions(*run_, arguments_);
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
  Arguments arguments_;
};

}  // namespace

int runProgram(int argc, const char* const* argv) { return Program().run(argc, argv); }

}  // namespace vtio::runner
