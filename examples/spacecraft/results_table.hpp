/// @file
/// Table of the logged signals.
#pragma once

#include <iosfwd>

#include "results.hpp"

namespace spacecraft {

/// Prints one line per leaf: name, block path, type, dimensions, unit, samples, rate.
void printTable(std::ostream& out, const Results& results);

}  // namespace spacecraft
