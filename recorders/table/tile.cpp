#include "recorders/table/tile.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>

namespace vtio::recorders {

static_assert(sizeof(Tile) % alignof(double) == 0, "the times stand behind the header");

vtu::TextCell TextStore::append(std::string_view bytes) {
  constexpr std::size_t kBlock = 512;
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("A text of " + std::to_string(bytes.size()) + " bytes is too long to be recorded");
  }
  Mark at = at_;
  while (at.block < blocks_.size() && blocks_[at.block].size - at.used < bytes.size()) at = {at.block + 1, 0};
  if (at.block == blocks_.size()) {
    const std::size_t size = std::max(bytes.size(), kBlock);
    blocks_.push_back({std::make_unique_for_overwrite<char[]>(size), size});
  }
  char* start = blocks_[at.block].bytes.get() + at.used;
  if (!bytes.empty()) std::memcpy(start, bytes.data(), bytes.size());
  at_ = {at.block, at.used + bytes.size()};
  return {reinterpret_cast<std::uintptr_t>(start), static_cast<std::uint32_t>(bytes.size())};
}

std::string_view TextStore::read(vtu::TextCell cell) {
  // A cell holds the address of its text. NOLINTNEXTLINE(performance-no-int-to-ptr)
  return {reinterpret_cast<const char*>(static_cast<std::uintptr_t>(cell.start)), cell.bytes};
}

Ref<Tile> Tile::make(std::uint64_t firstRow, std::uint32_t capacity, std::uint32_t rowBytes) {
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(sizeof(double) + rowBytes, std::size_t{capacity}, &bytes) ||
      __builtin_add_overflow(bytes, sizeof(Tile), &bytes)) {
    throw std::bad_alloc();
  }
  auto* tile = new (::operator new(bytes)) Tile();
  tile->capacity = capacity;
  tile->rowBytes = rowBytes;
  tile->firstRow = firstRow;
  return Ref<Tile>(tile);
}

void Tile::destroy(Tile* tile) {
  tile->~Tile();
  ::operator delete(tile);
}

std::size_t TileList::find(std::uint64_t row) const {
  const auto next = std::upper_bound(tiles.begin(), tiles.end(), row,
                                     [](std::uint64_t r, const Ref<Tile>& tile) { return r < tile->firstRow; });
  return static_cast<std::size_t>(next - tiles.begin()) - 1;
}

}  // namespace vtio::recorders
