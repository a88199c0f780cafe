// The program as a user starts it: exit statuses, what is printed to which stream, what is left behind.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <utility>

#include "platform/qat_parts.hpp"
#include "platform/qat_stream.hpp"
#include "tests/runner/descriptions.hpp"
#include "tests/runner/results_reader.hpp"
#include "tests/runner/zip_maker.hpp"

namespace {

using namespace runner_test;  // NOLINT(google-build-using-namespace): readers of results
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
namespace fs = std::filesystem;

class ProgramTest : public WorkFolder {
 protected:
  void SetUp() override { fs::create_directory(file("tmp")); }

  static std::string fmu(const std::string& name) { return std::string(VTIO_FMU_DIR) + "/" + name + ".fmu"; }

  // Starts vtio-run in the work folder with its temporary files there.
  pid_t start(const std::vector<std::string>& arguments) {
    const pid_t child = fork();
    if (child != 0) return child;
    enterFolder();
    const int out = open("stdout", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open("stderr", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    become(arguments);
  }

  // Starts vtio-run on a terminal, whose other end is `terminal`.
  pid_t startOnTerminal(const std::vector<std::string>& arguments, int& terminal) {
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child != 0) return child;
    enterFolder();
    setenv("TERM", "xterm", 1);
    become(arguments);
  }

  // In the child.
  void enterFolder() {
    fs::current_path(folder_);
    setenv("TMPDIR", file("tmp").c_str(), 1);
  }

  [[noreturn]] static void become(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VTIO_RUN);
    std::vector<char*> words;
    for (std::string& word : arguments) words.push_back(word.data());
    words.push_back(nullptr);
    execv(VTIO_RUN, words.data());
    _exit(99);
  }

  static int finish(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  int run(const std::vector<std::string>& arguments) { return finish(start(arguments)); }

  [[nodiscard]] std::string out() const { return bytesOf(file("stdout")); }
  [[nodiscard]] std::string err() const { return bytesOf(file("stderr")); }

  [[nodiscard]] bool temporaryFilesAppear() const {
    for (int i = 0; i < 2000 && fs::is_empty(file("tmp")); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return !fs::is_empty(file("tmp"));
  }

  [[nodiscard]] bool temporaryFilesVanish() const {
    for (int i = 0; i < 2000 && !fs::is_empty(file("tmp")); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return fs::is_empty(file("tmp"));
  }

  // Samples in the outputs of a results file that may still be written; 0 when it cannot be read.
  [[nodiscard]] std::uint64_t rowsIn(const std::string& name) const {
    const vtu::QatFileWrapper results(file(name), "r");
    if (!results) return 0;
    const vtu::QatSamples samples(*results.get());
    std::uint64_t most = 0;
    for (const std::uint32_t table : samples.tables()) {
      for (const vtu::StoredColumn& column : samples.columns(table)) most = std::max(most, column.count);
    }
    return most;
  }

  std::string archiveOf(const std::string& description) {
    ZipMaker().add("modelDescription.xml", description).write(file("m.fmu"));
    return file("m.fmu").string();
  }
};

TEST_F(ProgramTest, RunNamesTheResultsLastAndTheNextLineBefore) {
  EXPECT_EQ(run({"run", fmu("bouncing_ball_fmi2")}), 0) << err();
  EXPECT_THAT(out(), EndsWith("qat plot results.qat 'h'\nresults.qat\n"));
  EXPECT_EQ(err(), "");
  EXPECT_TRUE(fs::exists(file("results.qat")));
  EXPECT_TRUE(fs::is_empty(file("tmp")));
}

TEST_F(ProgramTest, OptionsMayStandBeforeTheFmu) {
  EXPECT_EQ(run({"run", "--set", "e=0.5", "--set", "v=0.1", fmu("bouncing_ball_fmi2")}), 0) << err();
}

TEST_F(ProgramTest, MistypedWordsGetNearOnes) {
  EXPECT_EQ(run({"rum"}), 2);
  EXPECT_EQ(err(), "vtio-run: no command 'rum'; did you mean 'run'?; see vtio-run --help\n");
  EXPECT_EQ(run({"run", fmu("bouncing_ball_fmi2"), "--stpo", "3"}), 2);
  EXPECT_THAT(err(), EndsWith(": no option '--stpo'; did you mean '--stop' or '--step'?\n"));
  EXPECT_EQ(run({"run", fmu("bouncing_ball_fmi2"), "--signals", "hh"}), 2);
  EXPECT_THAT(err(), EndsWith("no variable matches 'hh'; did you mean 'h'?\n"));
}

TEST_F(ProgramTest, EveryCommandHasHelpWithTwoExamples) {
  for (const std::string command : {"run", "sweep", "compare", "info", "check"}) {
    EXPECT_EQ(run({command, "--help"}), 0);
    const std::string help = out();
    const std::size_t at = help.find("Examples:\n");
    ASSERT_NE(at, std::string::npos) << help;
    const std::string example = "  vtio-run " + command + " ";
    const std::size_t first = help.find(example, at);
    ASSERT_NE(first, std::string::npos) << help;
    EXPECT_NE(help.find(example, first + 1), std::string::npos) << help;
  }
}

TEST_F(ProgramTest, ManPageAndCompletionKnowEveryOption) {
  std::string page = bytesOf(VTIO_RUNNER_FOLDER "/vtio-run.1");
  page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
  const std::string completion = bytesOf(VTIO_RUNNER_FOLDER "/completion.bash");
  std::size_t options = 0;
  for (const std::string command : {"run", "sweep", "compare", "info", "check"}) {
    EXPECT_EQ(run({command, "--help"}), 0);
    const std::string help = out().substr(0, out().find("Examples:"));
    for (std::size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2)) {
      const std::string option = help.substr(at, help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at) - at);
      EXPECT_THAT(page, HasSubstr(option));
      EXPECT_THAT(completion, HasSubstr(option));
      ++options;
    }
  }
  EXPECT_GT(options, 60U);
}

// As a shell asks for it; what the functions of the package bash-completion do is stood in for.
TEST_F(ProgramTest, CompletionOffersWhatFits) {
  writeBytes(file("complete.sh"), R"(
    _init_completion() { words=("${COMP_WORDS[@]}"); cword=$COMP_CWORD; cur=${words[cword]}; prev=${words[cword-1]}; }
    _filedir() { COMPREPLY=("files $1"); }
    source "$1"; shift
    COMP_WORDS=(vtio-run "$@"); COMP_CWORD=$#; _vtio_run
    echo "${COMPREPLY[*]}")");
  const auto complete = [this](const std::string& words) {
    const std::string line = "bash " + file("complete.sh").string() + " " VTIO_RUNNER_FOLDER "/completion.bash " +
                             words + " >" + file("stdout").string();
    EXPECT_EQ(std::system(line.c_str()), 0) << line;
    return out();
  };
  EXPECT_EQ(complete("sw"), "sweep\n");
  EXPECT_EQ(complete("run ''"), "files fmu\n");
  EXPECT_EQ(complete("run x.fmu --kind ''"), "cs me\n");
  EXPECT_EQ(complete("run x.fmu --input ''"), "files @(csv|qat)\n");
  EXPECT_EQ(complete("sweep x.fmu --sh"), "--shard\n");
  EXPECT_EQ(complete("run x.fmu --sh"), "\n");
  EXPECT_EQ(complete("compare x.fmu ''"), "files @(csv|qat)\n");
}

TEST_F(ProgramTest, CompareSaysWhetherARunIsAsBefore) {
  EXPECT_EQ(run({"run", fmu("bouncing_ball_fmi2"), "-o", "before.qat"}), 0) << err();
  EXPECT_EQ(run({"compare", fmu("bouncing_ball_fmi2"), "before.qat"}), 0) << err();
  EXPECT_EQ(out(), "2 equal, 0 different, 0 in one file only\n");
  EXPECT_EQ(run({"compare", fmu("bouncing_ball_fmi2"), "before.qat", "--set", "e=0.6"}), 1) << err();
  EXPECT_EQ(run({"compare", fmu("bouncing_ball_fmi2")}), 2);
  EXPECT_TRUE(fs::is_empty(file("tmp")));
}

TEST_F(ProgramTest, WrongUsageIsStatus2InOneLine) {
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {},
           {"walk"},
           {"run"},
           {"run", fmu("bouncing_ball_fmi2"), "--fast"},
           {"run", fmu("bouncing_ball_fmi2"), "--stop", "soon"},
           {"run", fmu("bouncing_ball_fmi2"), "--decimate", "0"},
           {"run", fmu("bouncing_ball_fmi2"), "--max-points", "99999999999999999999"},
           {"run", fmu("bouncing_ball_fmi2"), "--kind", "se"},
           {"run", fmu("bouncing_ball_fmi2"), "--solver", "adams"},
           {"run", fmu("bouncing_ball_fmi2"), "-o", "no/such/folder.qat"},
           {"run", fmu("bouncing_ball_fmi2"), "--intervals", "2:1"},
           {"run", fmu("bouncing_ball_fmi2"), "--step-timeout", "1"},
           {"run", fmu("bouncing_ball_fmi2"), "--isolate", "--step-timeout", "0"},
           {"run", fmu("bouncing_ball_fmi2"), "--set", "h=high"},
           {"sweep", fmu("bouncing_ball_fmi2"), "--grid", "e=0:1:2", "--shard", "0/2"},
           {"sweep", fmu("bouncing_ball_fmi2"), "--grid", "e=0:1:2", "--shard", "3/2"},
           {"sweep", fmu("bouncing_ball_fmi2"), "--grid", "e=0:1:2", "--shard", "2"},
           {"info", "nothing.fmu"}}) {
    EXPECT_EQ(run(words), 2) << ::testing::PrintToString(words);
    EXPECT_THAT(err(), StartsWith("vtio-run: "));
    const std::string text = err();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_EQ(out(), "");
  }
  EXPECT_THAT(err(), StartsWith("vtio-run: nothing.fmu: cannot open: No such file"));
  EXPECT_FALSE(fs::exists(file("results.qat")));
}

TEST_F(ProgramTest, WithoutVariableStepsTheRunEndsAtTheLastWholeOne) {
  EXPECT_EQ(run({"run", fmu("spacecraft_fmi3"), "--step", "0.5", "--stop", "1.75"}), 0) << err();
  EXPECT_THAT(err(), HasSubstr("the FMU cannot vary its steps: the run ends at 1.5\n"));
  EXPECT_THAT(out(), HasSubstr(" to 1.5 s\n"));
  EXPECT_EQ(run({"run", fmu("spacecraft_fmi3"), "--step", "0.5", "--output-step", "0.75"}), 2);
  EXPECT_THAT(err(), HasSubstr("the output step 0.75 is no multiple of the step 0.5"));
}

TEST_F(ProgramTest, VersionIsThatOfTheProject) {
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(out(), ::testing::MatchesRegex("vtio-run [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ProgramTest, CheckListsMistakesWithoutLoadingABinary) {
  EXPECT_EQ(run({"check", fmu("bouncing_ball_fmi3")}), 0);
  EXPECT_THAT(out(), HasSubstr("no mistakes found"));
  EXPECT_EQ(run({"check", archiveOf(fmi3(float64("x", 1, "unit='furlong'")))}), 1);
  EXPECT_THAT(out(), HasSubstr("the unit 'furlong' is not defined, line 5, attribute 'unit'"));
  EXPECT_THAT(out(), HasSubstr("no binary 'm.so' for this machine"));
  EXPECT_TRUE(fs::is_empty(file("tmp")));
}

TEST_F(ProgramTest, MissingAndForeignBinariesAreRefused) {
  EXPECT_EQ(run({"run", archiveOf(fmi3(float64("x", 1)))}), 2);
  EXPECT_THAT(err(), HasSubstr("no binary 'm.so' for this machine"));
  ZipMaker()
      .add("modelDescription.xml", fmi3(float64("x", 1)))
      .add("binaries/x86_64-linux/m.so", "this is no library")
      .add("binaries/aarch64-linux/m.so", "nor this")
      .write(file("foreign.fmu"));
  EXPECT_EQ(run({"run", "foreign.fmu"}), 2);
  EXPECT_THAT(err(), HasSubstr("the binary cannot be loaded"));
  EXPECT_TRUE(fs::is_empty(file("tmp")));
}

TEST_F(ProgramTest, HostileArchivesWriteNothingOutside) {
  ZipMaker().add("modelDescription.xml", fmi3(float64("x", 1))).add("../evil", "x").write(file("evil.fmu"));
  EXPECT_EQ(run({"run", "evil.fmu"}), 2);
  EXPECT_THAT(err(), HasSubstr("entry '../evil'"));
  EXPECT_FALSE(fs::exists(file("tmp/evil")));
  EXPECT_TRUE(fs::is_empty(file("tmp")));
}

TEST_F(ProgramTest, InfoShowsWhatTheFmuIsAndItsVariablesAsATree) {
  EXPECT_EQ(run({"info", fmu("every_kind_fmi3")}), 0);
  EXPECT_THAT(out(), HasSubstr("Model         EveryKind\n"));
  EXPECT_THAT(out(), HasSubstr("FMI version   3.0\n"));
  EXPECT_THAT(out(), HasSubstr("Kind          Co-Simulation: canHandleVariableCommunicationStepSize, "));
  EXPECT_THAT(out(), HasSubstr("Kind          Model Exchange: canGetAndSetFMUState\n"));
  EXPECT_THAT(out(), HasSubstr("Experiment    start 0, stop 2, step 0.25\n"));
  std::string text = out();  // with single blanks
  text.erase(std::unique(text.begin(), text.end(), [](char a, char b) { return a == ' ' && b == ' '; }), text.end());
  EXPECT_THAT(text,
              HasSubstr("\n axle\n load Float64 N output continuous \n alias Float64 N output continuous alias of "
                        "axle.load\n"));
  EXPECT_THAT(text, HasSubstr("\n wheel[2]\n speed Float64 m/s output continuous \n teeth Int32 output discrete \n"));
  EXPECT_THAT(text, HasSubstr("\n matrix Float64[2, 3] output continuous \n"));
  EXPECT_THAT(text, HasSubstr("\n columns UInt64 structuralParameter fixed = 3\n"));
}

TEST_F(ProgramTest, InfoAsJson) {
  EXPECT_EQ(run({"info", "--json", fmu("every_kind_fmi3")}), 0);
  std::string text = out();  // without blanks and lines
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\n'; }), text.end());
  EXPECT_THAT(text, HasSubstr(R"("fmiVersion":"3.0","modelName":"EveryKind","description":"Variablesofeverytype",)"
                              R"("kinds":["cs","me"],"platforms":[)"));
  EXPECT_THAT(text, HasSubstr(R"("capabilities":{"cs":{"modelIdentifier":"every_kind",)"));
  EXPECT_THAT(text, HasSubstr(R"("hasEventMode":true)"));
  EXPECT_THAT(text, HasSubstr(R"("defaultExperiment":{"start":0.0,"stop":2.0,"tolerance":null,"step":0.25},)"));
  EXPECT_THAT(text, HasSubstr(R"({"name":"axle.load",)"));
  EXPECT_THAT(text, HasSubstr(R"("type":"Float64","causality":"output","variability":"continuous","initial":null,)"
                              R"("unit":"N","dimensions":[],"start":null,"description":null})"));
  EXPECT_THAT(text, HasSubstr(R"("dimensions":[2,3])"));
}

// The bar is drawn from the first second on.
TEST_F(ProgramTest, ARunShowsItsTimeAndSpeedOnATerminal) {
  int terminal = -1;
  const pid_t child = startOnTerminal({"run", fmu("van_der_pol_fmi3"), "--stop", "1e7", "--step", "0.1"}, terminal);
  std::string shown;
  bool isTold = false;
  char text[4096];
  for (ssize_t got = read(terminal, text, sizeof text); got > 0; got = read(terminal, text, sizeof text)) {
    shown.append(text, static_cast<std::size_t>(got));
    if (shown.find(" times real time") == std::string::npos || std::exchange(isTold, true)) continue;
    kill(child, SIGINT);
  }
  close(terminal);
  EXPECT_EQ(finish(child), 130) << shown;
  EXPECT_THAT(shown, ::testing::ContainsRegex("[0-9] s, [0-9.e+]+ times real time"));
}

TEST_F(ProgramTest, InfoShowsTheSizesThatAreSet) {
  EXPECT_EQ(run({"info", fmu("thermostat_fmi3"), "--set", "rooms=7"}), 0) << err();
  EXPECT_THAT(out(), HasSubstr("Mode[7]"));
  EXPECT_THAT(out(), HasSubstr("Float64[7, 7]"));
  EXPECT_THAT(out(), HasSubstr("= 7"));
  EXPECT_THAT(out(), Not(HasSubstr("293.15"))) << "three start values for seven rooms";
  EXPECT_EQ(run({"info", "--json", fmu("thermostat_fmi3"), "--set", "rooms=2"}), 0) << err();
  EXPECT_THAT(out(), HasSubstr("\"dimensions\": [\n        2,\n        2\n      ]"));
  EXPECT_EQ(run({"info", fmu("thermostat_fmi3"), "--set", "rooms=65"}), 2);
  EXPECT_THAT(err(), HasSubstr("65 is above the maximum 64, variable 'rooms'"));
}

TEST_F(ProgramTest, AnInterruptEndsTheRunWithTheFileComplete) {
  for (const auto& [number, status] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
    const pid_t child = start({"run", fmu("van_der_pol_fmi3"), "--stop", "1e7"});
    ASSERT_TRUE(temporaryFilesAppear());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    kill(child, number);
    EXPECT_EQ(finish(child), status) << err();
    EXPECT_THAT(out(), EndsWith("\nresults.qat\n"));
    const vtu::qxArrayWrapper record = Results(file("results.qat")).variable("fmu");
    EXPECT_EQ(text(qxGetField(record.get(), 0, "Status")), "interrupted");
    EXPECT_TRUE(fs::is_empty(file("tmp")));
  }
}

TEST_F(ProgramTest, ASecondInterruptEndsAnFmuThatNeverReturns) {
  const pid_t child = start({"run", fmu("misbehaving_fmi2"), "--set", "way=endless"});
  ASSERT_TRUE(temporaryFilesAppear());
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  kill(child, SIGINT);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  kill(child, SIGINT);
  EXPECT_EQ(finish(child), -SIGINT);
  EXPECT_TRUE(temporaryFilesVanish());
}

TEST_F(ProgramTest, AnInterruptEndsAnIsolatedRunToo) {
  const pid_t child = start({"run", fmu("van_der_pol_fmi3"), "--stop", "1e7", "--isolate"});
  ASSERT_TRUE(temporaryFilesAppear());
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  kill(child, SIGINT);
  EXPECT_EQ(finish(child), 130) << err();
  EXPECT_THAT(out(), EndsWith("\nresults.qat\n"));
  EXPECT_TRUE(fs::is_empty(file("tmp")));
}

// Nothing can be saved at the end of such a run.
TEST_F(ProgramTest, AKilledRunLeavesWhatItStreamed) {
  const pid_t child = start({"run", fmu("van_der_pol_fmi3"), "--stop", "1e7", "--step", "0.01", "--stream"});
  ASSERT_TRUE(temporaryFilesAppear());
  for (int i = 0; i < 300 && rowsIn("results.qat") == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  kill(child, SIGKILL);
  EXPECT_EQ(finish(child), -SIGKILL) << err();
  EXPECT_GE(rowsIn("results.qat"), 100U);
}

TEST_F(ProgramTest, AFileThatAnotherRunStreamsIsLeftAlone) {
  const vtu::QatStream other(file("results.qat"));
  EXPECT_EQ(run({"run", fmu("bouncing_ball_fmi2"), "--stream"}), 1);
  EXPECT_THAT(err(), HasSubstr("results.qat"));
}

// The runs that are not finished stay pending, and are made when the sweep is resumed.
TEST_F(ProgramTest, AnInterruptedSweepIsResumed) {
  const std::vector<std::string> words{"sweep", fmu("van_der_pol_fmi3"), "--grid", "mu=0.5:1.5:3", "-j", "2"};
  std::vector<std::string> endless = words;
  endless.insert(endless.end(), {"--stop", "1e7"});
  const pid_t child = start(endless);
  ASSERT_TRUE(temporaryFilesAppear());
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  kill(child, SIGINT);
  EXPECT_EQ(finish(child), 130) << err();
  EXPECT_EQ(out(), "3 runs: 3 pending\nsweep.qat\n");
  EXPECT_TRUE(temporaryFilesVanish());
  std::vector<std::string> again = words;
  again.insert(again.end(), {"--stop", "1", "--resume"});
  EXPECT_EQ(run(again), 0) << err();
  EXPECT_EQ(out(), "3 runs: 3 done\nsweep.qat\n");
}

// The process of the FMU holds the folder of its files open: the folder vanishes after both processes.
TEST_F(ProgramTest, AKilledRunTakesTheProcessOfItsFmuWithIt) {
  const pid_t child = start({"run", fmu("misbehaving_fmi2"), "--set", "way=endless", "--isolate"});
  ASSERT_TRUE(temporaryFilesAppear());
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  kill(child, SIGKILL);
  EXPECT_EQ(finish(child), -SIGKILL);
  EXPECT_TRUE(temporaryFilesVanish());
}

TEST_F(ProgramTest, ACrashLeavesNoTemporaryFiles) {
  EXPECT_NE(run({"run", fmu("misbehaving_fmi2"), "--set", "way=crash"}), 0);
  EXPECT_TRUE(temporaryFilesVanish());
}

}  // namespace
