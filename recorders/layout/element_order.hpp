/// @file
/// Puts the elements of a leaf in row-major order where a model delivers them first index fastest.
#pragma once

#include <vector>

#include "recorders/layout/signal_layout.hpp"

namespace vtio::recorders {

/// Reorders a column whose offsets are listed in the order in memory, first index fastest in each array. Afterwards
/// they are listed last index fastest; a leaf of several dimensions is taken element by element.
/// @param arrays Dimensions of each array of buses above the leaf, outermost first.
void takeColumnMajor(LeafColumn& column, const std::vector<std::vector<long long>>& arrays);

}  // namespace vtio::recorders
