/// @file
/// Numbers as text that reads back as the same number.
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
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

}  // namespace vtio::results
