/// @file
/// Recorded values as a tree of structures in the shape of the signal's tree.
#pragma once

#include <vector>

#include "platform/qalc.hpp"
#include "recorders/table/sample_stream.hpp"
#include "vtio/core/utils/node.hpp"

namespace vtio::recorders {

/// The structure of a node: a leaf with its times, data and description, or a bus with one field per child.
/// @param root The tree that the streams were made for.
/// @param streams One per leaf position.
[[nodiscard]] vtu::qxArrayWrapper nodeStructure(const core::utils::Node& root,
                                                const std::vector<SampleStream>& streams);

}  // namespace vtio::recorders
