#include "recorders/table/row_chunk.hpp"

#include <algorithm>
#include <new>

namespace vtio::recorders {

static_assert(sizeof(TextArena) % alignof(std::max_align_t) == 0, "the header stands behind the arena");

std::uint64_t TextArena::append(std::u16string_view text) {
  const std::uint64_t position = size_;
  while (blocks_.size() * kBlock < size_ + text.size()) {
    blocks_.push_back(std::make_unique_for_overwrite<char16_t[]>(kBlock));
  }
  while (!text.empty()) {
    const std::size_t inBlock = size_ % kBlock;
    const std::size_t part = std::min(text.size(), kBlock - inBlock);
    std::copy_n(text.data(), part, blocks_[size_ / kBlock].get() + inBlock);
    text.remove_prefix(part);
    size_ += part;
  }
  return position;
}

std::u16string TextArena::read(std::uint64_t position, std::size_t length) const {
  std::u16string text;
  text.reserve(length);
  while (text.size() < length) {
    const std::size_t inBlock = position % kBlock;
    const std::size_t part = std::min(length - text.size(), kBlock - inBlock);
    text.append(blocks_[position / kBlock].get() + inBlock, part);
    position += part;
  }
  return text;
}

Ref<RowChunk> RowChunk::make(std::uint32_t rows, std::size_t rowBytes, bool hasText) {
  const std::size_t front = hasText ? sizeof(TextArena) : 0;
  auto* memory = static_cast<std::byte*>(::operator new(front + sizeof(RowChunk) + rows * rowBytes));
  if (hasText) new (memory) TextArena();
  auto* chunk = new (memory + front) RowChunk();
  chunk->rows = rows;
  chunk->hasText = hasText ? 1 : 0;
  return Ref<RowChunk>(chunk);
}

void RowChunk::destroy(RowChunk* chunk) {
  void* memory = chunk;
  if (chunk->hasText != 0) {
    memory = &chunk->text();
    chunk->text().~TextArena();
  }
  ::operator delete(memory);
}

}  // namespace vtio::recorders
