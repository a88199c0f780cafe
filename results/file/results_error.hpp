/// @file
/// What goes wrong with results, as one line for the user.
#pragma once

#include <stdexcept>
#include <string>

namespace vtio::results {

/// Unreadable input or a wrong request. The message is `FILE: what, where`, or only what is wrong.
class ResultsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ResultsError(const std::string& file, const std::string& what) : std::runtime_error(file + ": " + what) {}

  /// What the file service says about a file; it begins with the file's name in quotes.
  static ResultsError ofService(const std::string& file, std::string what) {
    for (const std::string& beginning : {"'" + file + "': ", "'" + file + "' "}) {
      if (what.starts_with(beginning)) what.erase(0, beginning.size());
    }
    if (what.ends_with('.')) what.pop_back();
    return ResultsError(file, what);
  }
};

}  // namespace vtio::results
