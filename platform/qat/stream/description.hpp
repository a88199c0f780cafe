/// @file
/// How the log of strays describes signals that came late.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/stray_format.hpp"

namespace vtu::qat {

/// Descriptions of the leaves of an element, as JSON: what a record of a table says (`name`, `unit`, `class`, `dims`),
/// `column` by which strays call the leaf, `variable` and `dataset` of the element, `element` and `leaf` with their
/// plain fields. The first one has the element exactly, as `value`.
/// @param placeOf Gives the place of a leaf's values; none for any other array.
[[nodiscard]] std::vector<std::string> describeElement(
    const std::string& variable, const std::string& dataset, const qxArray& element,
    const std::function<std::optional<LeafPlace>(const qalc::Samples&)>& placeOf);

}  // namespace vtu::qat
