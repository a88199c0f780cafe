/// @file
/// A bar for work that takes long.
#pragma once

#include <chrono>
#include <iosfwd>
#include <string_view>

#include "results/export.hpp"
#include "results/terminal/style.hpp"

namespace vtio::results {

/// Draws nothing in the first second, and nothing at all unless it is on a terminal; removes itself at its end.
class VTIO_RESULTS_EXPORT ProgressBar final {
 public:
  /// @param out Where the bar is drawn, standard error as a rule; must outlive this object.
  ProgressBar(std::ostream& out, const Style& style) : out_(out), style_(style) {}
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  /// @param done 0 to 1.
  /// @param note Text behind the bar.
  void show(double done, std::string_view note = {});

  /// Whether show() would draw now, for notes that take time to write.
  [[nodiscard]] bool isDue() const { return style_.isTerminal && Clock::now() >= next_; }

 private:
  using Clock = std::chrono::steady_clock;

  std::ostream& out_;
  Style style_;
  Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
  bool isDrawn_ = false;
};

}  // namespace vtio::results
