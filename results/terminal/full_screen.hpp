/// @file
/// The whole terminal, for programs that draw on it until a key ends them.
#pragma once

#include <termios.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "results/export.hpp"

namespace vtio::results {

/// Shows a screen of its own and gets keys at once, unechoed, as long as it exists; then all is as it was before.
/// Ctrl-C still raises SIGINT.
class VTIO_RESULTS_EXPORT FullScreen final {
 public:
  /// @throws ResultsError if standard input or standard output is no terminal.
  FullScreen();
  FullScreen(const FullScreen&) = delete;
  FullScreen& operator=(const FullScreen&) = delete;
  ~FullScreen();

  /// Lines of the terminal.
  [[nodiscard]] static std::size_t height();

  /// Replaces what is shown. @param frame Lines that fit, separated by line feeds.
  /// @throws ResultsError if the terminal is gone.
  void show(const std::string& frame);

  /// Waits for keys, a signal or the end of the time.
  /// @return What the terminal sent; none if it is gone.
  [[nodiscard]] std::optional<std::string> keys(std::chrono::milliseconds patience);

 private:
  termios before_{};
};

}  // namespace vtio::results
