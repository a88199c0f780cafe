/// @file
/// Arrays as JSON, for the descriptions of signals that came late.
///
/// Texts, double and logical scalars are JSON's own; an array of samples is {"table", "column", "part"}; any other
/// array is {"class", "dims", …} with its values in column-major order.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "platform/qalc_internal.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {

/// Gives the reference for an array of samples, and none for any other. @param owner The structure with the array as a
/// field, or null.
using ReferenceOf = std::function<std::optional<Reference>(const qxArray& array, const qxArray* owner)>;

/// The array exactly. @param owner The structure with the array as a field, or null.
[[nodiscard]] nlohmann::ordered_json jsonOf(const qxArray& array, const ReferenceOf& referenceOf,
                                            const qxArray* owner = nullptr);

/// The array that jsonOf() was given; null for null. @param samplesOf Gives the array for a reference. @throws Failure
[[nodiscard]] qalc::ArrayPtr arrayOf(const nlohmann::ordered_json& json,
                                     const std::function<qalc::ArrayPtr(const Reference&)>& samplesOf);

/// The array as a reader of JSON expects it: texts, numbers, lists and objects. What these cannot hold is null.
[[nodiscard]] nlohmann::ordered_json plainJsonOf(const qxArray& array);

}  // namespace vtu::qat
