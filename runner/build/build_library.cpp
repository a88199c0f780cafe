#include "runner/build/build_library.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "runner/build/source_set.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

extern char** environ;

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

std::string programOf(const char* variable, const char* otherwise) {
  const char* named = std::getenv(variable);
  return named != nullptr && *named != '\0' ? named : otherwise;
}

bool isCpp(const std::string& file) {
  const std::string ending = fs::path(file).extension().string();
  return ending == ".cpp" || ending == ".cc" || ending == ".cxx" || ending == ".C";
}

std::vector<char*> pointersTo(Words& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// Compiles in one folder.
class Compiler {
 public:
  explicit Compiler(const fs::path& folder) : folder_(folder), said_(folder / "compiler.txt") {
    for (char** variable = environ; *variable != nullptr; ++variable) {
      const std::string_view one = *variable;
      // Its words are read, and its temporary files are to go with the folder.
      if (!one.starts_with("TMPDIR=") && !one.starts_with("LC_ALL=")) environment_.emplace_back(one);
    }
    environment_.push_back("TMPDIR=" + folder_.string());
    environment_.emplace_back("LC_ALL=C.UTF-8");
  }

  /// Runs a compiler within `sources/`.
  void run(Words command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, said_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addchdir_np(&actions, (folder_ / "sources").c_str());
    pid_t process = 0;
    const int failure = posix_spawnp(&process, command.front().c_str(), &actions, nullptr, pointersTo(command).data(),
                                     pointersTo(environment_).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
      throw RunnerError("--build: the compiler '" + printable(command.front()) +
                        "' cannot be started: " + std::strerror(failure));
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) throw RunnerError("--build: " + firstError(command.front()));
  }

 private:
  // The compiler's first line that says what is wrong.
  std::string firstError(const std::string& program) const {
    std::ifstream said(said_);
    std::string first;
    for (std::string line; std::getline(said, line);) {
      if (first.empty()) first = line;
      if (line.find("error") != std::string::npos || line.find("undefined reference") != std::string::npos) {
        return printable(line, 1000);
      }
    }
    return first.empty() ? printable(program) + " failed and said nothing" : printable(first, 1000);
  }

  const fs::path& folder_;
  fs::path said_;
  Words environment_;
};

// What the files of a set are compiled with. The functions shall have their plain names.
Words optionsOf(const SourceSet& set) {
  Words options = {"-c", "-O2", "-fPIC", "-DFMI2_OVERRIDE_FUNCTION_PREFIX", "-DFMI3_OVERRIDE_FUNCTION_PREFIX", "-I."};
  for (const std::string& folder : set.folders) options.push_back("-I./" + folder);
  for (const std::string& definition : set.definitions) options.push_back("-D" + definition);
  return options;
}

/// Compiles the files of a library one by one, then links them.
class LibraryBuild {
 public:
  explicit LibraryBuild(const fs::path& folder) : folder_(folder), compiler_(folder) {}

  void compile(const SourceSet& set) {
    const Words options = optionsOf(set);
    const bool isStandardOfCpp = set.standard.find('+') != std::string::npos;
    for (const std::string& file : set.files) {
      const bool cpp = isCpp(file);
      hasCpp_ = hasCpp_ || cpp;
      Words command = {cpp ? forCpp_ : forC_};
      command.insert(command.end(), options.begin(), options.end());
      if (!set.standard.empty() && isStandardOfCpp == cpp) command.push_back("-std=" + set.standard);
      objects_.push_back((folder_ / ("object" + std::to_string(objects_.size()) + ".o")).string());
      command.insert(command.end(), {"-o", objects_.back(), "./" + file});
      compiler_.run(std::move(command));
    }
  }

  fs::path link(const Words& libraries) {
    fs::path library = folder_ / "built.so";
    Words command = {hasCpp_ ? forCpp_ : forC_, "-shared", "-Wl,-z,defs", "-o", library.string()};
    command.insert(command.end(), objects_.begin(), objects_.end());
    for (const std::string& name : libraries) command.push_back("-l" + name);
    command.emplace_back("-lm");
    compiler_.run(std::move(command));
    return library;
  }

 private:
  const fs::path& folder_;
  Compiler compiler_;
  std::string forC_ = programOf("CC", "cc");
  std::string forCpp_ = programOf("CXX", "c++");
  bool hasCpp_ = false;
  Words objects_;
};

}  // namespace

fs::path buildLibrary(const FmuFile& fmu, const Interface& way, const fs::path& folder) {
  const BuildPlan plan = planBuild(fmu, way);
  fmu.archive().extract("sources/", folder);
  LibraryBuild build(folder);
  for (const SourceSet& set : plan.sets) build.compile(set);
  return build.link(plan.libraries);
}

}  // namespace vtio::runner
