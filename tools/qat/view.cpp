#include "view.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <ostream>

#include "results/file/results_error.hpp"
#include "results/viewer/static_page.hpp"
#include "results/viewer/viewer.hpp"
#include "view_server.hpp"

extern char** environ;

namespace vtio::tools {
namespace {

using namespace results;

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// Without a desktop, and if it fails, the printed address has to do.
void openBrowser(const std::string& address) {
  if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) return;
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&quiet, descriptor, "/dev/null", O_RDWR, 0);
  }
  std::string program = "xdg-open";
  std::string argument = address;
  char* arguments[] = {program.data(), argument.data(), nullptr};
  pid_t process = 0;
  posix_spawnp(&process, program.c_str(), &quiet, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&quiet);
}

}  // namespace

int viewFiles(const ViewSettings& settings, const Console& console) {
  const std::string_view page = viewerPage();
  if (page.empty()) {
    throw ResultsError("this qat was built without its page; install nodejs and npm and build it again");
  }
  Viewer viewer(ViewedFile::opener(settings.file), ViewedFile::opener(settings.other), console.job);
  if (!settings.folder.empty()) {
    exportPage(viewer, page, settings.folder, console.job);
    return kDone;
  }
  ViewServer server(viewer, page, settings.port);
  console.out << server.address() << std::endl;
  if (console.style.isTerminal) openBrowser(server.address());
  static const std::atomic<bool> never{false};
  server.run(console.job.interrupted != nullptr ? *console.job.interrupted : never);
  throw Interrupted();
}

}  // namespace vtio::tools
