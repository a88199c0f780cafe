#include "options.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <sstream>
#include <vector>

#include "results/commands/check.hpp"
#include "results/commands/complete.hpp"
#include "results/commands/diff.hpp"
#include "results/commands/export_signals.hpp"
#include "results/commands/ls.hpp"
#include "results/commands/plot.hpp"
#include "results/commands/show.hpp"
#include "results/commands/watch.hpp"
#include "results/signals/near_names.hpp"
#include "view.hpp"

namespace vtio::tools {
namespace {

using namespace results;

/// Settings of all commands, filled by the parser.
struct Settings {
  LsSettings ls;
  ShowSettings show;
  ExportSettings exported;
  DiffSettings diff;
  PlotSettings plot;
  WatchSettings watch;
  ViewSettings view;
  CheckSettings check;
  CompleteSettings complete;
};

using Command = std::function<int(const Console&)>;

// What is wrong with a text as a number; empty if nothing is.
template <class Number>
std::string numberProblem(const std::string& text, const char* kind) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? "" : "'" + text + "' is no " + kind;
}

std::string realProblem(const std::string& text) { return numberProblem<double>(text, "number"); }
std::string countProblem(const std::string& text) { return numberProblem<std::uint64_t>(text, "count"); }

std::string portProblem(const std::string& text) { return numberProblem<std::uint16_t>(text, "port"); }

/// Settings of a command that may write the viewer's page.
template <class CommandSettings>
CommandSettings withPage(CommandSettings settings) {
  settings.page = viewerPage();
  return settings;
}

constexpr const char* kCompletion = "complete-signals";  // what the shell asks for; not shown

class Parser {
 public:
  Parser() {
    app_.set_version_flag("--version", "qat " VTIO_VERSION);
    app_.require_subcommand(1);
    app_.option_defaults()->delimiter('\0');
    app_.footer("Try 'qat COMMAND --help' for its options and examples.");
    addLs();
    addShow();
    addExport();
    addDiff();
    addPlot();
    addWatch();
    addView();
    addCheck();
    addComplete();
  }

  Request parse(int argc, const char* const* argv) {
    Request request;
    if (argc < 2) {
      request.error = "no command; see qat --help";
      return request;
    }
    if (argc > 1 && !isKnown(argv[1])) {
      request.error = "no command '" + std::string(argv[1]) + "'" + didYouMean(argv[1], names_) + "; see qat --help";
      return request;
    }
    try {
      app_.parse(argc, argv);
      request.command = chosen_;
    } catch (const CLI::ParseError& error) {
      std::ostringstream out;
      std::ostringstream err;
      if (app_.exit(error, out, err) == 0) {
        request.text = out.str();
      } else {
        const std::string unknown = unknownOption(argc, argv);
        request.error = unknown.empty() ? error.what() : unknown;
      }
    }
    return request;
  }

 private:
  bool isKnown(const std::string& word) const {
    const bool isCommand = std::find(names_.begin(), names_.end(), word) != names_.end();
    return isCommand || word == kCompletion || word.starts_with("-");
  }

  // What is wrong if a word is an option that the command does not have; else empty.
  std::string unknownOption(int argc, const char* const* argv) const {
    std::vector<std::string> known;
    for (const CLI::App* command : app_.get_subcommands()) {
      for (const CLI::Option* option : command->get_options()) {
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
      }
    }
    for (int i = 2; i < argc && !known.empty(); ++i) {
      std::string word = argv[i];
      if (word == "--") break;
      word = word.substr(0, word.find('='));
      if (!word.starts_with("--") || std::find(known.begin(), known.end(), word) != known.end()) continue;
      return "no option '" + word + "'" + didYouMean(word, known);
    }
    return "";
  }

  CLI::App* add(const char* name, const char* description, const char* examples, Command command) {
    CLI::App* sub = app_.add_subcommand(name, description);
    sub->footer(std::string("Examples:\n") + examples);
    sub->callback([this, command = std::move(command)] { chosen_ = command; });
    names_.emplace_back(name);
    return sub;
  }

  static void addTime(CLI::App* sub, TimeOptions& time) {
    sub->add_option("--from", time.from, "First time in seconds, included")->type_name("T")->check(realProblem);
    sub->add_option("--to", time.to, "Last time in seconds, included")->type_name("T")->check(realProblem);
  }

  static void addRuns(CLI::App* sub, RunChoice& runs) {
    sub->add_option("--run", runs.run, "Of a sweep the run of this number")->type_name("N")->check(countProblem);
    sub->add_option("--runs", runs.conditions, "Of a sweep the runs for which this holds, or all; again for more")
        ->type_name("CONDITION")
        ->expected(1)
        ->allow_extra_args(false)  // the next word is another argument
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  }

  static void addFile(CLI::App* sub, const char* name, std::string& file, const char* description) {
    sub->add_option(name, file, description)->required()->type_name("");
  }

  static void addPatterns(CLI::App* sub, std::vector<std::string>& patterns) {
    sub->add_option("PATTERN", patterns, "Names of signals; * is any text, ? one character")->type_name("");
  }

  void addLs() {
    LsSettings& settings = settings_.ls;
    CLI::App* sub = add("ls", "List the signals of a file.",
                        "  qat ls results.qat\n"
                        "  qat ls results.qat 'wheels.*' --long",
                        [&](const Console& console) { return listSignals(settings, console); });
    addFile(sub, "FILE", settings.file, "The results file");
    addPatterns(sub, settings.patterns);
    sub->add_flag("--json", settings.json, "Print JSON");
    addRuns(sub, settings.runs);
    sub->add_flag("--tree", settings.tree, "Print datasets, elements and the levels of buses as a tree");
    sub->add_flag("--long", settings.isLong, "Print dataset, port, interpolation, labels and scaling, too");
  }

  void addShow() {
    ShowSettings& settings = settings_.show;
    CLI::App* sub = add("show", "Print the values and statistics of a signal.",
                        "  qat show results.qat wheels.speed\n"
                        "  qat show results.qat wheels.speed --from 1.5 --to 2 --json",
                        [&](const Console& console) { return showSignal(settings, console); });
    addFile(sub, "FILE", settings.file, "The results file");
    sub->add_option("SIGNAL", settings.signal, "Name of the signal, or a pattern that only it matches")
        ->required()
        ->type_name("");
    addRuns(sub, settings.runs);
    sub->add_option("--head", settings.head, "Print the first N samples")->type_name("N")->check(countProblem);
    sub->add_option("--tail", settings.tail, "Print the last N samples")->type_name("N")->check(countProblem);
    addTime(sub, settings.time);
    sub->add_flag("--json", settings.json, "Print JSON");
  }

  void addExport() {
    ExportSettings& settings = settings_.exported;
    CLI::App* sub = add("export", "Write samples for other programs.",
                        "  qat export results.qat -o results.csv\n"
                        "  qat export results.qat 'wheels.*' --every 0.01 -o wheels.npz",
                        [&](const Console& console) { return exportSignals(settings, console); });
    addFile(sub, "FILE", settings.file, "The results file");
    addPatterns(sub, settings.patterns);
    addRuns(sub, settings.runs);
    sub->add_option("--format", settings.format, "csv, json, sqlite or npz; without it the ending of OUT says")
        ->type_name("FORMAT");
    sub->add_option("-o,--output", settings.output, "The file to write; - is standard output, for csv and json")
        ->required()
        ->type_name("OUT");
    sub->add_flag("--split", settings.split, "A CSV file per sample table: OUT.0.csv, OUT.1.csv, ...");
    sub->add_flag("--raw", settings.raw, "Stored integers in place of labels and fixed-point values");
    addTime(sub, settings.time);
    sub->add_option("--every", settings.every, "Resample to a step of H seconds, held or interpolated")
        ->type_name("H")
        ->check(realProblem);
  }

  void addDiff() {
    DiffSettings& settings = settings_.diff;
    CLI::App* sub = add("diff", "Compare two files signal by signal: status 0 equal, 1 different.",
                        "  qat diff yesterday.qat today.qat\n"
                        "  qat diff yesterday.qat today.qat 'wheels.*' --rtol 1e-6 --atol 1e-9",
                        [&](const Console& console) { return diffFiles(withPage(settings), console); });
    addFile(sub, "A", settings.a, "The first file");
    addFile(sub, "B", settings.b, "The second file, to which --rtol refers");
    addPatterns(sub, settings.patterns);
    addRuns(sub, settings.runs);
    sub->add_option("--rtol", settings.rtol, "Tolerance relative to |b|")->type_name("R")->check(realProblem);
    sub->add_option("--atol", settings.atol, "Absolute tolerance")->type_name("A")->check(realProblem);
    sub->add_option("--time-tol", settings.timeTolerance, "Tolerance of times in seconds")
        ->type_name("T")
        ->check(realProblem);
    sub->add_option("--tolerances", settings.tolerances, "A file with lines 'pattern, rtol, atol'; the last match wins")
        ->type_name("FILE");
    sub->add_flag("--json", settings.json, "Print JSON");
    sub->add_option("--plot", settings.plot, "Draw the first signals that differ to a .svg, .png or .html")
        ->type_name("OUT");
  }

  void addPlot() {
    PlotSettings& settings = settings_.plot;
    CLI::App* sub = add("plot", "Draw signals, in the terminal or to a file.",
                        "  qat plot results.qat wheels.speed\n"
                        "  qat plot results.qat 'wheels.*' mode --compare yesterday.qat -o wheels.svg",
                        [&](const Console& console) { return plotSignals(withPage(settings), console); });
    addFile(sub, "FILE", settings.file, "The results file");
    addRuns(sub, settings.runs);
    sub->add_option("SIGNAL", settings.signals, "Names or patterns of signals")->required()->type_name("");
    sub->add_option("-o,--output", settings.output,
                    "A .svg, .png or .html; without it the plot is drawn in the terminal")
        ->type_name("OUT");
    addTime(sub, settings.time);
    sub->add_option("--over", settings.over, "Of a sweep draw final values over this parameter")->type_name("NAME");
    sub->add_flag("--xy", settings.xy, "Draw all signals over the first");
    sub->add_option("--compare", settings.compare, "Draw the same signals of another file, too")->type_name("OTHER");
  }

  void addWatch() {
    WatchSettings& settings = settings_.watch;
    CLI::App* sub = add("watch", "Follow a file while a run writes it; q ends it.",
                        "  qat watch signals.qat\n"
                        "  qat watch signals.qat 'wheels.*' mode",
                        [&](const Console& console) { return watchFile(settings, console); });
    addFile(sub, "FILE", settings.file, "The results file");
    addPatterns(sub, settings.patterns);
  }

  void addView() {
    ViewSettings& settings = settings_.view;
    CLI::App* sub = add("view", "Look at a file, or two beside each other, in the browser.",
                        "  qat view results.qat\n"
                        "  qat view today.qat yesterday.qat --export report",
                        [&](const Console& console) { return viewFiles(settings, console); });
    addFile(sub, "FILE", settings.file, "The results file; it may still be growing");
    sub->add_option("OTHER", settings.other, "Another file to compare it with")->type_name("");
    CLI::Option* port =
        sub->add_option("--port", settings.port, "Port of the local address; 0, as without it: a free one")
            ->type_name("N")
            ->check(portProblem);
    sub->add_option("--export", settings.folder, "Write static files that need no server, beginning with index.html")
        ->type_name("DIR")
        ->excludes(port);
  }

  void addCheck() {
    CheckSettings& settings = settings_.check;
    CLI::App* sub = add("check", "Read everything once and say whether the file is whole: status 0 yes, 1 no.",
                        "  qat check results.qat\n"
                        "  qat check killed.qat --mend",
                        [&](const Console& console) { return checkFile(settings, console); });
    addFile(sub, "FILE", settings.file, "The results file");
    sub->add_flag("--mend", settings.mend, "First close a file whose writer ended before it did");
  }

  void addComplete() {
    CompleteSettings& settings = settings_.complete;
    CLI::App* sub = app_.add_subcommand(kCompletion, "Names of signals that begin with a text.")->group("");
    sub->callback([&, this] { chosen_ = [&](const Console& console) { return completeSignals(settings, console); }; });
    sub->add_option("FILE", settings.file)->required();
    sub->add_option("TEXT", settings.beginning);
  }

  CLI::App app_{"Shows, compares and exports results files.", "qat"};
  Settings settings_;
  Command chosen_;
  std::vector<std::string> names_;
};

}  // namespace

Request readCommandLine(int argc, const char* const* argv) {
  // The command refers to the settings in the parser.
  auto parser = std::make_shared<Parser>();
  Request request = parser->parse(argc, argv);
  if (request.command) {
    request.command = [parser, command = request.command](const results::Console& console) { return command(console); };
  }
  return request;
}

}  // namespace vtio::tools
