/// @file
/// Numbers as text: most read back as the same number.
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdio>
#include <string>

namespace vtio::results {

/// Appends the shortest decimal form that reads back as the same value; `NaN`, `Inf` and `-Inf`.
template <std::floating_point T>
void appendNumber(std::string& out, T value) {
  if (!std::isfinite(value)) {
    out += std::isnan(value) ? "NaN" : value < 0 ? "-Inf" : "Inf";
    return;
  }
  char text[32];
  out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

/// Appends an integer in decimal.
template <std::integral T>
void appendNumber(std::string& out, T value) {
  char text[24];
  out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

/// The same as a text of its own.
template <class T>
[[nodiscard]] std::string numberText(T value) {
  std::string text;
  appendNumber(text, value);
  return text;
}

/// Seconds to ten digits, for people: a grid of 0.025 s is not shown with its rounding errors.
[[nodiscard]] inline std::string timeText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", seconds);
  return text;
}

}  // namespace vtio::results
