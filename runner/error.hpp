/// @file
/// The one exception by which the runner tells a user what is wrong, where, and how the program ends.
#pragma once

#include <stdexcept>
#include <string>

#include "runner/export.hpp"

namespace vtio::runner {

/// How a program ends.
enum class ExitStatus : int {
  done = 0,
  failed = 1,         ///< the model failed, or the answer is no
  refused = 2,        ///< wrong usage, archive, description, name or value
  interrupted = 130,  ///< Ctrl-C
  terminated = 143    ///< SIGTERM
};

/// An expected failure. what() is "what" or "what, where".
class VTIO_RUNNER_EXPORT RunnerError : public std::runtime_error {
 public:
  /// Wrong input: the program ends with ExitStatus::refused.
  explicit RunnerError(const std::string& what, const std::string& where = std::string())
      : RunnerError(ExitStatus::refused, what, where) {}

  RunnerError(ExitStatus status, const std::string& what, const std::string& where = std::string())
      : std::runtime_error(where.empty() ? what : what + ", " + where), status_(status) {}

  [[nodiscard]] ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace vtio::runner
