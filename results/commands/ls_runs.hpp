/// @file
/// `qat ls` of a sweep.
#pragma once

#include "results/commands/ls.hpp"

namespace vtio::results {

/// Prints a line per run of those that were chosen. Patterns choose columns; the number and the status are always there.
/// @throws ResultsError
int listRuns(const LsSettings& settings, const Console& console);

}  // namespace vtio::results
