#include "results/commands/watch.hpp"

#include <unistd.h>

#include <chrono>
#include <optional>
#include <ostream>
#include <string_view>

#include "results/terminal/full_screen.hpp"
#include "results/watch/watch_view.hpp"

namespace vtio::results {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{250};

// Shows the view until it is to end.
void follow(WatchView& view, const Job& job) {
  FullScreen screen;
  while (true) {
    view.update(job);
    screen.show(view.frame(styleOf(STDOUT_FILENO), FullScreen::height()));
    const std::optional<std::string> sent = screen.keys(kBetweenLooks);
    job.step(0);
    if (!sent) return;
    std::string_view rest = *sent;
    while (!rest.empty()) {
      if (!view.press(takeKey(rest))) return;
    }
  }
}

}  // namespace

int watchFile(const WatchSettings& settings, const Console& console) {
  WatchView view(settings.file, settings.patterns);
  follow(view, {{}, console.job.interrupted});  // a progress bar would disturb the screen
  console.out << view.summary() << '\n';
  return kDone;
}

}  // namespace vtio::results
