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
};

}  // namespace vtio::results
