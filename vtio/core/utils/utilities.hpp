/// @file
/// Helpers shared by accessors and by those who build datasets.
#pragma once

#include "platform/block_path.hpp"
#include "platform/qalc.hpp"
#include "vtio/core/utils/node.hpp"
#include "vtio/export.hpp"

namespace vtio::core::utils {

class VTIO_EXPORT Utilities {
 public:
  Utilities() = delete;

  /// Applies the node's first transformation policy; further ones are never applied.
  /// @param node A node whose transformationPolicies() is not null.
  /// @return The transformed data, valid until the next call for the same node.
  [[nodiscard]] static const void* policyDataTransformations(const Node& node, const void* data);

  /// The elements of a path, top model first, as an N-by-1 cell array of char arrays.
  [[nodiscard]] static vtu::qxArrayWrapper createBlockPathCellArray(const vtu::FullBlkPathToTopMdl& path);
};

}  // namespace vtio::core::utils
