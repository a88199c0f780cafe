/// @file
/// Where text goes: a terminal with colours and a width, or a file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "results/export.hpp"

namespace vtio::results {

/// Colours and width of output. The default is that of a file or pipe.
struct Style {
  bool isTerminal = false;
  bool hasColour = false;
  std::size_t width = 80;  ///< columns of the terminal

  [[nodiscard]] std::string bold(std::string_view text) const { return wrapped("1", text); }
  [[nodiscard]] std::string dim(std::string_view text) const { return wrapped("2", text); }
  [[nodiscard]] std::string red(std::string_view text) const { return wrapped("31", text); }
  [[nodiscard]] std::string green(std::string_view text) const { return wrapped("32", text); }
  /// One of six colours that differ on dark and light ground.
  [[nodiscard]] std::string series(std::size_t index, std::string_view text) const {
    constexpr const char* kCodes[] = {"36", "33", "35", "32", "34", "31"};
    return wrapped(kCodes[index % 6], text);
  }

 private:
  [[nodiscard]] std::string wrapped(const char* code, std::string_view text) const {
    if (!hasColour) return std::string(text);
    return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
  }
};

/// The style of a file descriptor: colours on a terminal unless the environment variable NO_COLOR is set and not empty.
[[nodiscard]] VTIO_RESULTS_EXPORT Style styleOf(int fileDescriptor);

/// Text that is safe to print in one line: control characters become `\xHH`.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string printable(std::string_view text);

/// Columns that a UTF-8 text takes, one per character.
[[nodiscard]] VTIO_RESULTS_EXPORT std::size_t displayWidth(std::string_view text);

/// At most `width` columns, the middle replaced by `…` where the text is longer.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string shortened(std::string_view text, std::size_t width);

}  // namespace vtio::results
