#include "runner/run/interrupt.hpp"

namespace vtio::runner {
namespace {

volatile std::sig_atomic_t received_ = 0;
int guards_ = 0;

// SA_RESETHAND has put the default back: the next signal of this number ends the program. The other number, too.
void note(int number) {
  received_ = number;
  std::signal(number == SIGINT ? SIGTERM : SIGINT, SIG_DFL);
}

}  // namespace

InterruptGuard::InterruptGuard() {
  if (guards_++ == 0) received_ = 0;
  struct sigaction action {};
  action.sa_handler = &note;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &interrupt_);
  sigaction(SIGTERM, &action, &terminate_);
}

InterruptGuard::~InterruptGuard() {
  --guards_;
  sigaction(SIGINT, &interrupt_, nullptr);
  sigaction(SIGTERM, &terminate_, nullptr);
}

int InterruptGuard::received() { return received_; }

}  // namespace vtio::runner
