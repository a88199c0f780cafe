/// @file
/// The full path of a block, from what generated code knows of it.
#pragma once

#include "platform/block_path.hpp"
#include "vtio/export.hpp"
#include "vtio/ustring.hpp"

namespace mdlref_simtarget {

/// Appends the decoded model references, if any, and then the block's own path as the last element.
/// @param encodedPath Encoded path of the model references above the model; empty in the top model.
/// @param blockPath Path inside the model.
/// @throws vtsv::IException "Vortan:BlockPath" / "BadEncoding"; fullPath stays as it was.
VTIO_EXPORT void computeFullBlockPath(const vtu::ustring& encodedPath, const vtu::ustring& blockPath,
                                      vtu::FullBlkPathToTopMdl& fullPath);

}  // namespace mdlref_simtarget
