// qat: shows and compares results files. Everything it does is a function of vtio::results.
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <exception>
#include <iostream>

#include "options.hpp"
#include "results/terminal/progress_bar.hpp"

namespace {

using namespace vtio::results;

std::atomic<bool> interrupted{false};
std::atomic<int> signalSeen{SIGINT};
static_assert(std::atomic<bool>::is_always_lock_free);  // or a signal handler could not set it

constexpr int kSignalStatus = 128;  // what shells add to the number of a signal
static_assert(kSignalStatus + SIGINT == kInterrupted);

extern "C" void onInterrupt(int signal) {
  signalSeen = signal;
  // A second one ends at once, should the first go unheard.
  if (interrupted.exchange(true)) _exit(kSignalStatus + signal);
}

int run(const vtio::tools::Request& request) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, onInterrupt);
  std::ios::sync_with_stdio(false);
  ProgressBar bar(std::cerr, styleOf(STDERR_FILENO));
  Console console{std::cout, styleOf(STDOUT_FILENO), {[&](double done) { bar.show(done); }, &interrupted}};
  const int status = request.command(console);
  std::cout.flush();
  if (!std::cout) {
    std::cerr << errorLine("standard output: cannot write");
    return kWrong;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const vtio::tools::Request request = vtio::tools::readCommandLine(argc, argv);
    if (!request.error.empty()) {
      std::cerr << errorLine(request.error);
      return kWrong;
    }
    if (!request.command) {
      std::cout << request.text << std::flush;
      return std::cout ? kDone : kWrong;
    }
    const int status = runCommand([&] { return run(request); }, std::cerr);
    return status == kInterrupted ? kSignalStatus + signalSeen : status;
  } catch (const std::exception& error) {
    std::cerr << errorLine(error.what());
    return kWrong;
  }
}
