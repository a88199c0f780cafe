/// @file
/// One sample of one signal in memory.
#pragma once

#include <cstddef>
#include <string>

#include "results/values/element_type.hpp"

namespace vtio::results {

/// A sample: `width` elements side by side, last index fastest, parts of complex ones interleaved. Valid as long as
/// what it points into.
struct SampleView {
  ElementType type;
  std::size_t width = 1;
  const std::byte* bytes = nullptr;    ///< the elements; null for texts
  const std::string* texts = nullptr;  ///< the elements of a text signal, UTF-8; else null

  /// Whether there is a sample at all.
  [[nodiscard]] bool exists() const { return bytes != nullptr || texts != nullptr; }
};

}  // namespace vtio::results
