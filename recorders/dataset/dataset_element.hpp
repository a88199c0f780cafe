/// @file
/// The structure that a recorder contributes to a dataset, around the recorded values.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/qalc.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"

namespace vtio::recorders {

/// The element of a signal: its names, path, port and limits, and the values.
/// @param iterations Numbers of the for-each iterations in `values`, the leader's first; used with for-each dimensions.
/// @param values The root's node structure, or a cell array of them.
[[nodiscard]] vtu::qxArrayWrapper datasetElementOf(const core::utils::SignalDescriptor& descriptor,
                                                   const std::vector<std::uint64_t>& iterations,
                                                   vtu::qxArrayWrapper values);

/// The field Values of an element that another client made; empty if there is none.
[[nodiscard]] vtu::qxArrayWrapper valuesOfElement(const vtu::qxArrayWrapper& element);

/// A 1-by-N char array.
[[nodiscard]] vtu::qxArrayWrapper charArray(std::u16string_view text);

/// An N-by-1 uint64 array.
[[nodiscard]] vtu::qxArrayWrapper uint64Array(const std::vector<std::uint64_t>& values);

}  // namespace vtio::recorders
