/// @file
/// Recorded values as a tree of structures like the signal's tree.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/sample_table.hpp"
#include "platform/text.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/table_builder.hpp"
#include "vtio/core/utils/node.hpp"

namespace vtio::recorders {

/// A leaf's samples in the tables that they were recorded in.
struct LeafRun {
  std::uint32_t position;                         ///< in the builder
  std::shared_ptr<const vtu::SampleTable> table;  ///< that of TableBuilder::runs()
  vtu::SampleColumn column;
};

/// The runs of all leaves below a node. Parameters: see nodeStructure().
[[nodiscard]] std::vector<LeafRun> leafRuns(const core::utils::Node& root, const vtu::ustring& name,
                                            const std::vector<LayoutPosition>& layout, TableBuilder& builder,
                                            std::uint32_t first);

/// The structure of a node: a leaf with its times, data and description, or a bus with one field per child.
///
/// A leaf's data has N first, then the dimensions of the arrays of buses above the leaf from the outermost inwards,
/// then the leaf's own. Texts give a cell array. A fixed-point type of more than 64 bits gives unsigned 64-bit words,
/// one more dimension at the end, least significant word first as delivered.
/// @param root The tree that the layout was read from.
/// @param name Of the signal in sample tables.
/// @param first Number of its first position in the builder.
[[nodiscard]] vtu::qxArrayWrapper nodeStructure(const core::utils::Node& root, const vtu::ustring& name,
                                                const std::vector<LayoutPosition>& layout, TableBuilder& builder,
                                                std::uint32_t first);

}  // namespace vtio::recorders
