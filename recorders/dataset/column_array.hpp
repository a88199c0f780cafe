/// @file
/// The recorded samples of one leaf as one array.
#pragma once

#include <cstddef>

#include "platform/qalc.hpp"
#include "recorders/table/sample_stream.hpp"

namespace vtio::recorders {

/// The kept samples of a column: N first, then the dimensions of the arrays of buses above the leaf from the outermost
/// inwards, then the leaf's own; stored row-major. Texts give a cell array. A fixed-point type of more than 64 bits gives
/// unsigned 64-bit words, one more dimension at the end, least significant word first as delivered.
[[nodiscard]] vtu::qxArrayWrapper columnArray(const SampleStream& stream, std::size_t column);

}  // namespace vtio::recorders
