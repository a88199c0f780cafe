/// @file
/// `qat ls` of a sweep.
#pragma once

#include "results/commands/ls.hpp"

namespace vtio::results {

/// Prints a line for each of the chosen runs. Patterns choose columns; the number and the status are always there.
/// @throws ResultsError
int listRuns(const LsSettings& settings, const Console& console);

}  // namespace vtio::results
