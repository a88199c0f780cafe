#include "vtio/mdlref_simtarget/block_path.hpp"

namespace mdlref_simtarget {

void computeFullBlockPath(const vtu::ustring& encodedPath, const vtu::ustring& blockPath,
                          vtu::FullBlkPathToTopMdl& fullPath) {
  if (!encodedPath.empty()) vtu::BlockPathUtil::decodeBlockPath(encodedPath, fullPath);
  fullPath.append(vtu::InternedUstring(blockPath));
}

}  // namespace mdlref_simtarget
