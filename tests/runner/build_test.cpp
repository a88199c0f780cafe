// FMUs of sources: what their descriptions may name, compiling them, and what the compiler says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "runner/build/source_set.hpp"
#include "runner/error.hpp"
#include "runner/sweep/sweep.hpp"
#include "tests/runner/run_fixture.hpp"

namespace {

using namespace vtio::runner;
using runner_test::bytesOf;
using runner_test::RunFolder;
using runner_test::writeBytes;
using runner_test::ZipMaker;
using testing::HasSubstr;

namespace fs = std::filesystem;

/// A variable of the environment for the time of a test.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~Variable() { before_ ? setenv(name_, before_->c_str(), 1) : unsetenv(name_); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

constexpr const char* kSet =
    "<SourceFileSet language=\"C11\"><SourceFile name=\"examples/fmus/bouncing_ball.c\"/>"
    "<SourceFile name=\"examples/fmus/fmi3.c\"/><SourceFile name=\"examples/fmus/fmi3_values.c\"/>"
    "<PreprocessorDefinition name=\"FMU_TOKEN\" value=\"&quot;{bouncing_ball_fmi3}&quot;\"/></SourceFileSet>";

std::string buildDescription(const std::string& content) {
  return "<fmiBuildDescription fmiVersion=\"3.0\"><BuildConfiguration modelIdentifier=\"bouncing_ball\" "
         "platform=\"c64\"/><BuildConfiguration modelIdentifier=\"bouncing_ball\">" +
         content + "</BuildConfiguration></fmiBuildDescription>";
}

class BuildTest : public RunFolder {
 protected:
  BuildTest() { fs::create_directory(file("tmp")); }

  /// The bouncing ball as sources.
  RunOptions sources(int version, const std::string& buildContent = kSet, const std::string& moreCode = "") {
    const std::string name = "bouncing_ball_fmi" + std::to_string(version);
    const fs::path project = fs::path(VTIO_RUNNER_FOLDER).parent_path();
    std::string description = Archive(options(name).fmu).read("modelDescription.xml");
    ZipMaker zip;
    const auto add = [&](const std::string& source, const std::string& before = "") {
      zip.add("sources/" + source, before + bytesOf(project / source));
    };
    add("examples/fmus/model.h");
    add("runner/fmi/fmi" + std::to_string(version) + ".h");
    add("examples/fmus/bouncing_ball.c", moreCode);
    if (version == 2) {
      add("examples/fmus/fmi2.c", "#define FMU_TOKEN \"{bouncing_ball_fmi2}\"\n");
      const std::string end = "canGetAndSetFMUstate=\"true\"/>\n  <UnitDefinitions>";
      description = replaced(description, end,
                             "canGetAndSetFMUstate=\"true\"><SourceFiles><File name=\"examples/fmus/bouncing_ball.c\"/>"
                             "<File name=\"examples/fmus/fmi2.c\"/></SourceFiles></CoSimulation>\n  <UnitDefinitions>");
    } else {
      add("examples/fmus/fmi3.c");
      add("examples/fmus/fmi3_values.c");
      zip.add("sources/buildDescription.xml", buildDescription(buildContent));
    }
    zip.add("modelDescription.xml", description);
    zip.write(file("source.fmu"));
    RunOptions run = options(name);
    run.fmu = file("source.fmu");
    run.build = true;
    return run;
  }

  /// What a run says that is refused.
  std::string refusal(const RunOptions& chosen) {
    try {
      static_cast<void>(run(chosen));
    } catch (const RunnerError& error) {
      EXPECT_EQ(error.status(), ExitStatus::refused);
      return error.what();
    }
    return "done";
  }

  [[nodiscard]] std::size_t leftovers() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(file("tmp")), fs::directory_iterator()));
  }

  const Variable temporary_{"TMPDIR", file("tmp").string()};
};

TEST_F(BuildTest, sourcesRunAsTheBinaryDoes) {
  for (const int version : {2, 3}) {
    RunOptions binary = options("bouncing_ball_fmi" + std::to_string(version));
    binary.locals = binary.parameters = true;
    ASSERT_EQ(run(binary), ExitStatus::done);
    const std::vector<std::string> expected = content();
    RunOptions built = sources(version);
    built.locals = built.parameters = true;
    ASSERT_EQ(run(built), ExitStatus::done) << messages_.str();
    EXPECT_EQ(content(), expected);
    EXPECT_EQ(leftovers(), 0U);
  }
}

TEST_F(BuildTest, withoutTheOptionNothingIsCompiled) {
  RunOptions chosen = sources(3);
  chosen.build = false;
  EXPECT_THAT(refusal(chosen), HasSubstr("--build compiles sources"));
}

TEST_F(BuildTest, saysWhatTheCompilerSays) {
  EXPECT_THAT(refusal(sources(3, kSet, "int x = undeclared;\n")),
              testing::MatchesRegex("--build: ./examples/fmus/bouncing_ball.c:1:9: error: .*undeclared.*"));
  EXPECT_THAT(refusal(sources(3, kSet, "int missing(void); int (*at)(void) = missing;\n")),
              HasSubstr("undefined reference to `missing'"));
  const Variable compiler("CC", "no-such-compiler");
  EXPECT_EQ(refusal(sources(3)),
            "--build: the compiler 'no-such-compiler' cannot be started: No such file or directory");
  EXPECT_EQ(leftovers(), 0U);
}

TEST_F(BuildTest, descriptionsNameNothingButSources) {
  const auto says = [&](const std::string& content) { return refusal(sources(3, content)); };
  const auto file = [](const std::string& name) {
    return "<SourceFileSet><SourceFile name=\"" + name + "\"/></SourceFileSet>";
  };
  for (const char* name : {"../modelDescription.xml", "/etc/passwd", "none.c", "", "-fplugin=x.so", "examples/fmus",
                           "examples/fmus/../fmus/bouncing_ball.c"}) {
    EXPECT_EQ(says(file(name)), "the archive has no source 'sources/" + std::string(name) +
                                    "', sources/buildDescription.xml line 1, SourceFile");
  }
  const auto inSet = [](const std::string& element) {
    return "<SourceFileSet><SourceFile name=\"examples/fmus/fmi3.c\"/>" + element + "</SourceFileSet>";
  };
  for (const char* name : {"..", "a/../../b", "/usr/include", ""}) {
    EXPECT_THAT(says(inSet("<IncludeDirectory name=\"" + std::string(name) + "\"/>")),
                HasSubstr("'" + std::string(name) + "' is no folder below sources/"));
  }
  for (const char* name : {"", "A B", "A=1", "1A", "-A"}) {
    EXPECT_THAT(says(inSet("<PreprocessorDefinition name=\"" + std::string(name) + "\"/>")),
                HasSubstr("is no name of a definition"));
  }
  for (const char* name : {"", "-Wl,-x", "a b", "../m", "m;n"}) {
    EXPECT_THAT(says(inSet("") + "<Library name=\"" + name + "\" external=\"true\"/>"),
                HasSubstr("is no name of a library"));
  }
  EXPECT_THAT(says(inSet("") + "<Library name=\"m\"/>"), HasSubstr("inside the archive cannot be used"));
  EXPECT_THAT(says("<SourceFileSet language=\"-x c\"><SourceFile name=\"examples/fmus/fmi3.c\"/></SourceFileSet>"),
              HasSubstr("the language '-x c' is not known"));
  EXPECT_THAT(says(""), HasSubstr("no source files are listed for 'bouncing_ball'"));
}

TEST_F(BuildTest, whatHasNoSourcesSaysSo) {
  RunOptions chosen = options("bouncing_ball_fmi2");
  chosen.build = true;
  EXPECT_EQ(refusal(chosen), "--build: no source files are listed for 'bouncing_ball', modelDescription.xml");
  chosen = options("bouncing_ball_fmi3");
  chosen.build = true;
  EXPECT_EQ(refusal(chosen), "--build: the archive has no sources/buildDescription.xml");
}

TEST_F(BuildTest, aSweepCompilesOnce) {
  const fs::path compiler = file("cc.sh");
  writeBytes(compiler, "#!/bin/sh\necho x >> '" + file("calls").string() + "'\nexec cc \"$@\"\n");
  fs::permissions(compiler, fs::perms::owner_all);
  const Variable chosen("CC", compiler.string());
  SweepOptions sweep;
  sweep.run = sources(2);
  sweep.run.output = file("sweep.qat");
  sweep.grids = {"e=0.5:0.9:3"};
  EXPECT_EQ(runSweep(sweep, out_, messages_), ExitStatus::done) << messages_.str();
  EXPECT_EQ(bytesOf(file("calls")), "x\nx\nx\n");  // two sources and the library
  EXPECT_EQ(leftovers(), 0U);
}

}  // namespace
