#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "results/signals/near_names.hpp"
#include "runner/commands/commands.hpp"
#include "runner/commands/options.hpp"
#include "runner/compare/compare_run.hpp"
#include "runner/run/run_fmu.hpp"
#include "runner/sweep/sweep.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

class Program {
 public:
  Program() {
    app_.require_subcommand(1);
    app_.footer("Try 'vtio-run COMMAND --help' for its options and examples.");
    app_.set_version_flag("--version", "vtio-run " VTIO_RUNNER_VERSION, "Print the version and exit");
    run_ = add("run", "Run an FMU and log what it says",
               "  vtio-run run Ball.fmu --stop 3 --output-step 0.01 --set e=0.8 -o ball.qat\n"
               "  vtio-run run Axle.fmu --input road.csv --signals 'wheel*' --decimate 10");
    sweep_ = add("sweep", "Run an FMU many times with other parameters",
                 "  vtio-run sweep Ball.fmu --grid e=0.5:0.9:20 --final h -j 2\n"
                 "  vtio-run sweep Ball.fmu --sample 'e=normal(0.7,0.05)' --runs 100 --seed 1 --resume");
    compare_ = add("compare", "Run an FMU and compare it with a reference: status 0 equal, 1 different",
                   "  vtio-run compare Ball.fmu reference.csv --rtol 1e-6\n"
                   "  vtio-run compare Ball.fmu yesterday.qat --set e=0.8 --atol 1e-9");
    info_ = add("info", "Print what an FMU is, and its variables",
                "  vtio-run info Ball.fmu --json\n"
                "  vtio-run info House.fmu --set rooms=7");
    check_ = add("check", "List the mistakes in an FMU: status 0 none, 1 some",
                 "  vtio-run check Ball.fmu\n"
                 "  vtio-run check Ball.fmu && vtio-run run Ball.fmu");
    addCompareOptions(*compare_, arguments_);
    for (CLI::App* command : {run_, sweep_, compare_}) addRunOptions(*command, arguments_);
    addSweepOptions(*sweep_, arguments_);
    addSetOption(*info_, arguments_);
    info_->add_flag("--json", arguments_.json, "Print one JSON object");
  }

  int run(int argc, const char* const* argv) {
    if (argc > 1 && argv[1][0] != '-' && !isCommand(argv[1])) {
      return fail(
          "no command '" + printable(argv[1]) + "'" + results::didYouMean(argv[1], names_) + "; see vtio-run --help",
          ExitStatus::refused);
    }
    try {
      app_.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      const auto chosen = app_.get_subcommands();
      std::cout << (chosen.empty() ? app_.help() : chosen.front()->help());
      return static_cast<int>(ExitStatus::done);
    } catch (const CLI::CallForVersion& version) {
      std::cout << version.what() << "\n";
      return static_cast<int>(ExitStatus::done);
    } catch (const CLI::ExtrasError& error) {
      return fail(unknownOption(argc, argv).value_or(error.what()), ExitStatus::refused);
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
  CLI::App* add(const char* name, const char* description, const char* examples) {
    CLI::App* command = app_.add_subcommand(name, description);
    command->add_option("MODEL.fmu", arguments_.run.fmu, "The FMU")->required();
    command->footer(std::string("Examples:\n") + examples);
    names_.emplace_back(name);
    return command;
  }

  [[nodiscard]] bool isCommand(const std::string& word) const {
    return std::find(names_.begin(), names_.end(), word) != names_.end();
  }

  // What is wrong if a word is an option that the command does not have.
  [[nodiscard]] std::optional<std::string> unknownOption(int argc, const char* const* argv) const {
    std::vector<std::string> known;
    for (const CLI::App* command : app_.get_subcommands()) {
      for (const CLI::Option* option : command->get_options()) {
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
      }
    }
    for (int i = 1; i < argc; ++i) {
      std::string word = argv[i];
      word = word.substr(0, word.find('='));
      if (!word.starts_with("--") || std::find(known.begin(), known.end(), word) != known.end()) continue;
      return "no option '" + printable(word) + "'" + results::didYouMean(word, known);
    }
    return std::nullopt;
  }

  ExitStatus runCommand() {
    if (run_->parsed()) {
      settle(arguments_);
      arguments_.run.showsProgress = true;
      return runFmu(arguments_.run, std::cout, std::cerr);
    }
    if (sweep_->parsed()) {
      if (sweep_->get_option("--output")->empty()) arguments_.run.output = "sweep.qat";
      settle(arguments_);
      arguments_.run.showsProgress = true;
      arguments_.sweep.run = arguments_.run;
      return runSweep(arguments_.sweep, std::cout, std::cerr);
    }
    if (compare_->parsed()) {
      settle(arguments_);
      arguments_.run.showsProgress = true;
      arguments_.compare.run = arguments_.run;
      arguments_.compare.keepsResults = !compare_->get_option("--output")->empty();
      return compareRun(arguments_.compare, std::cout, std::cerr);
    }
    const FmuFile fmu(arguments_.run.fmu);
    if (check_->parsed()) return printMistakes(fmu, std::cout);
    ModelDescription model = fmu.model();
    (void)readAssignments(model, arguments_.run.set);
    arguments_.json ? printInfoAsJson(fmu, model, std::cout) : printInfo(fmu, model, std::cout);
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
  CLI::App* compare_ = nullptr;
  std::vector<std::string> names_;
  Arguments arguments_;
};

}  // namespace

int runProgram(int argc, const char* const* argv) { return Program().run(argc, argv); }

}  // namespace vtio::runner
