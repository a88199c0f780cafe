/// @file
/// Numeric arrays over values that the caller owns, in several runs. They are copied only when all values are read in
/// one run; a Qat file is written from the runs. Related: qalc.hpp.
///
///     qxPiece pieces[] = {{first.data(), first.size() * 8}, {second.data(), second.size() * 8}};
///     const std::size_t rows[] = {first.size() + second.size()};
///     qxArray* array = qxCreateNumericArrayOfPieces(1, rows, qxDOUBLE, false, pieces, 2, keeper, &dropKeeper);
#pragma once

#include <cstddef>

#include "platform/qalc.hpp"

/// A run of elements.
struct qxPiece {
  const void* values;  ///< complex values interleaved re, im
  std::size_t bytes;
};

/// Makes an array that is stored row-major, as qxCreateNumericArrayRowMajor() does, over values in pieces.
///
/// The values must not change until `release` is called. That happens once, on whichever thread drops the last share of
/// the array, or when the array is about to be written; the first reader of the values copies them.
/// @param pieces In row-major order of the elements; together exactly the elements. The list is copied.
/// @param owner Passed to `release`.
/// @throws std::invalid_argument if the pieces have another size; `release` is not called when this function throws.
VTIO_PLATFORM_EXPORT qxArray* qxCreateNumericArrayOfPieces(std::size_t ndim, const std::size_t* dims, qxClassID id,
                                                           bool isComplex, const qxPiece* pieces, std::size_t count,
                                                           void* owner, void (*release)(void* owner));
