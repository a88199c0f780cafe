/// @file
/// Texts and numbers as fields of structures.
#pragma once

#include <string_view>

#include "platform/qalc.hpp"
#include "platform/text.hpp"

namespace vtio::runner {

/// A char row of UTF-8 text.
[[nodiscard]] inline vtu::qxArrayWrapper textArray(std::string_view text) {
  const vtu::ustring units = vtu::to_ustring(text);
  return vtu::qxArrayWrapper(qxCreateUString(units.data(), units.size()));
}

/// A double scalar.
[[nodiscard]] inline vtu::qxArrayWrapper numberArray(double value) {
  return vtu::qxArrayWrapper(qxCreateDoubleScalar(value));
}

}  // namespace vtio::runner
