/// @file
/// Finds buses that are the elements of an array.
#pragma once

#include <vector>

#include "runner/signals/signal_tree.hpp"

namespace vtio::runner {

/// Replaces each complete family of like buses among the siblings, `a[1]`, `a[2]`, …, by one array of buses `a` at the
/// place of the first. Like are buses of the same members in the same order, with equal types, dimensions and units.
/// Families with texts or binaries, whose values have no fixed size, stay as they are.
void mergeFamilies(std::vector<SignalNode>& siblings, const ModelDescription& model);

}  // namespace vtio::runner
