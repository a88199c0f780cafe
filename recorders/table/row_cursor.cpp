#include "recorders/table/row_cursor.hpp"

#include <algorithm>

namespace vtio::recorders {
namespace {

constexpr std::size_t kSmallestBlock = 4;   // cursors
constexpr std::size_t kLargestBlock = 128;  // cursors, a page

}  // namespace

CursorPool::Run CursorPool::take(std::size_t count) {
  if (count != 1) return {new RowCursor[count](), Release{this, count}};
  if (free_.empty()) addBlock();
  RowCursor* cursor = free_.back();
  free_.pop_back();
  *cursor = RowCursor();
  return {cursor, Release{this, 1}};
}

void CursorPool::addBlock() {
  const std::size_t size = std::clamp(total_, kSmallestBlock, kLargestBlock);
  free_.reserve(total_ + size);
  RowCursor* block = blocks_.emplace_back(std::make_unique<RowCursor[]>(size)).get();
  total_ += size;
  for (std::size_t i = size; i-- > 0;) free_.push_back(block + i);
}

void CursorPool::giveBack(RowCursor* cursors, std::size_t count) noexcept {
  if (count == 1) {
    free_.push_back(cursors);
  } else {
    delete[] cursors;
  }
}

}  // namespace vtio::recorders
