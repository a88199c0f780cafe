/// @file
/// How far a variable may move in one step.
#pragma once

#include <cstdint>

namespace vtio::runner {

/// A variable that may move by so much in one step.
struct ChangeLimit {
  std::uint32_t reference = 0;  ///< of a scalar Float64
  double most = 0.0;
};

}  // namespace vtio::runner
