#include "results/terminal/full_screen.hpp"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kUsualHeight = 24;

bool writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

FullScreen::FullScreen() {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0 || tcgetattr(STDIN_FILENO, &before_) != 0) {
    throw ResultsError("this needs a terminal");
  }
  termios raw = before_;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  raw.c_cc[VSUSP] = _POSIX_VDISABLE;  // a program that is stopped could not give the terminal back
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw);
  writeAll("\x1b[?1049h\x1b[?25l");
}

FullScreen::~FullScreen() {
  writeAll("\x1b[?25h\x1b[?1049l");
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
}

std::size_t FullScreen::height() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : kUsualHeight;
}

void FullScreen::show(const std::string& frame) {
  std::string text = "\x1b[H";
  for (const char c : frame) {
    if (c == '\n')
      text += "\x1b[K\r\n";
    else
      text += c;
  }
  if (!writeAll(text + "\x1b[K\x1b[J")) throw ResultsError("the terminal is gone");
}

std::optional<std::string> FullScreen::keys(std::chrono::milliseconds patience) {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  if (poll(&input, 1, static_cast<int>(patience.count())) <= 0) return "";
  std::array<char, 256> sent;
  const ssize_t count = read(STDIN_FILENO, sent.data(), sent.size());
  if (count < 0 && errno == EINTR) return "";
  if (count <= 0) return std::nullopt;
  return std::string(sent.data(), static_cast<std::size_t>(count));
}

}  // namespace vtio::results
