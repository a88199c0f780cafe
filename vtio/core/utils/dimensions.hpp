/// @file
/// Products of dimension vectors, as the tree model counts them.
///
///     dimensionProduct({3, 2});             // 6
///     dimensionProduct({});                 // 1, a scalar
///     normalizedDimensionProduct({-1});     // -2
#pragma once

#include <limits>
#include <vector>

namespace vtio::core::utils {

/// Product of all dimensions in wrapping 64-bit arithmetic; 1 for no dimensions.
[[nodiscard]] inline long long dimensionProduct(const std::vector<long long>& dimensions) noexcept {
  unsigned long product = 1;
  for (const long long dimension : dimensions) product *= static_cast<unsigned long>(dimension);
  return static_cast<long long>(product);
}

/// The product with two values replaced: -1 by -2, and the largest signed 64-bit value by -1.
[[nodiscard]] inline long long normalizedDimensionProduct(const std::vector<long long>& dimensions) noexcept {
  const long long product = dimensionProduct(dimensions);
  if (product == -1) return -2;
  if (product == std::numeric_limits<long long>::max()) return -1;
  return product;
}

}  // namespace vtio::core::utils
