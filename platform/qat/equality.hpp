/// @file
/// Whether two arrays hold the same, bit by bit.
#pragma once

#include "platform/qalc_internal.hpp"

namespace vtu::qat {

/// True if class, complexity, dimensions, field order and every bit of every value agree. Null equals null only.
[[nodiscard]] bool sameValue(const qxArray* a, const qxArray* b);

}  // namespace vtu::qat
