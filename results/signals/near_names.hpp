/// @file
/// Names that a mistyped one may have meant.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "results/export.hpp"

namespace vtio::results {

/// Least number of inserted, deleted, replaced or swapped neighbouring bytes that make `b` of `a`; `limit` + 1 if it
/// is more than `limit`. In `a` `*` is any text and `?` any byte.
[[nodiscard]] VTIO_RESULTS_EXPORT std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit);

/// At most `most` of the candidates that are near a name or pattern, nearest first: a third of its characters other
/// than `*` and `?` may differ, upper and lower case count as the same. A candidate is near, too, if `name` is that of
/// its last levels (behind a `.`, `/` or `|`).
[[nodiscard]] VTIO_RESULTS_EXPORT std::vector<std::string> nearNames(std::string_view name,
                                                                     std::span<const std::string> candidates,
                                                                     std::size_t most = 3);

/// "" or "; did you mean 'a', 'b' or 'c'?".
[[nodiscard]] VTIO_RESULTS_EXPORT std::string didYouMean(std::string_view name,
                                                         std::span<const std::string> candidates);

}  // namespace vtio::results
