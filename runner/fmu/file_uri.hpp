/// @file
/// Paths as URIs.
#pragma once

#include <filesystem>
#include <string>

namespace vtio::runner {

/// "file:///a/b%20c" of an absolute path.
[[nodiscard]] inline std::string fileUri(const std::filesystem::path& path) {
  static constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string uri = "file://";
  for (const char c : path.string()) {
    if (kPlain.find(c) != std::string_view::npos) {
      uri += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    uri += '%';
    uri += kDigits[byte >> 4];
    uri += kDigits[byte & 15];
  }
  return uri;
}

}  // namespace vtio::runner
