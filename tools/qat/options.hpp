// The command line of qat: a command with its settings, or what to print instead.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "results/commands/command.hpp"

namespace vtio::tools {

/// What a command line asks for: to run something, or to print a text and end.
struct Request {
  std::function<int(const results::Console&)> command;  ///< empty: only print
  std::string text;                                     ///< help or version for standard output
  std::string error;                                    ///< what is wrong with the command line
};

/// Reads a command line. Never throws for what a user typed.
Request readCommandLine(int argc, const char* const* argv);

}  // namespace vtio::tools
