// The index of chunks that files of an older form have: a tree without checksums.
#include "platform/qat/integrity/chunk_walk.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kMostChildren = 64;
constexpr unsigned kDeepest = 16;

void checkNode(ChunkWalk& walk, std::uint64_t address, unsigned level) {
  const std::uint64_t key = 8 + 8 * (walk.rank() + 1);
  const std::uint64_t size = 24 + kMostChildren * 8 + (kMostChildren + 1) * key;
  const Block block = walk.blocks().take({"tree of chunks", address}, size);
  Cursor at = block.cursor();
  at.expect("TREE", 1);  // the version's place has the kind
  const unsigned found = at.u8();
  at.require(level == kDeepest ? found < kDeepest : found == level, "it has another level");
  const unsigned count = at.u16();
  at.require(count <= kMostChildren, "it has more chunks than fit");
  at.skip(16);
  for (unsigned i = 0; i < count; ++i) {
    StoredChunk chunk;
    chunk.size = at.u32();
    chunk.skippedFilters = at.u32();
    for (std::size_t axis = 0; axis <= walk.rank(); ++axis) {
      at.require(at.u64() % walk.index().chunk[axis] == 0, "a chunk that begins between others");
    }
    chunk.address = at.u64();
    if (found > 0) {
      checkNode(walk, chunk.address, found - 1);
    } else {
      walk.checkChunk(chunk);
    }
  }
}

}  // namespace

void checkOldTree(ChunkWalk& walk) { checkNode(walk, walk.index().address, kDeepest); }

}  // namespace vtu::qat
