/// @file
/// The order in which a model delivers the elements of a matrix.
#pragma once

#include <cstdint>

namespace vtio::recorders {

/// The order in memory of the elements of one sample. It concerns leaves and arrays of buses of two or more dimensions
/// above 1; the order of all others is the same either way.
///
/// What is recorded does not depend on it: element (n, i, j) of `Data` is sample n at (i, j).
enum class SampleOrder : std::uint8_t {
  rowMajor = 0,    ///< last index fastest, as in C arrays
  columnMajor = 1  ///< first index fastest, as in Qalc arrays
};

}  // namespace vtio::recorders
