/// @file
/// Structured names of variables: "axle.wheel[2].speed" is the parts "axle", "wheel[2]", "speed".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runner/export.hpp"

namespace vtio::runner {

/// One part of a structured name.
struct NamePart {
  std::string_view text;  ///< with its indices
  std::string_view base;  ///< without them
  std::vector<std::uint64_t> indices;
};

/// The parts of a structured name, which must outlive them. `der(…)` and quoted names are never taken apart; a name
/// that does not follow the convention is one part.
[[nodiscard]] VTIO_RUNNER_EXPORT std::vector<NamePart> splitName(std::string_view name);

}  // namespace vtio::runner
