#include "results/terminal/progress_bar.hpp"

#include <algorithm>
#include <ostream>

namespace vtio::results {

ProgressBar::~ProgressBar() {
  if (isDrawn_) out_ << "\r\x1b[K" << std::flush;
}

void ProgressBar::show(double done, std::string_view note) {
  if (!isDue()) return;
  next_ = Clock::now() + std::chrono::milliseconds(100);
  const std::size_t beside = 8 + displayWidth(note);
  const std::size_t width = std::max<std::size_t>(std::clamp<std::size_t>(style_.width, 20, 60), beside + 4) - beside;
  const auto filled = static_cast<std::size_t>(std::clamp(done, 0.0, 1.0) * static_cast<double>(width));
  std::string bar;
  for (std::size_t i = 0; i < width; ++i) bar += i < filled ? "█" : "░";
  out_ << '\r' << bar << ' ' << static_cast<int>(std::clamp(done, 0.0, 1.0) * 100) << " %" << (note.empty() ? "" : "  ")
       << note << "\x1b[K" << std::flush;
  isDrawn_ = true;
}

}  // namespace vtio::results
