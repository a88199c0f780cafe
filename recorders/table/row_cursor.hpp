/// @file
/// Where the next sample of a stream goes, and where such places are kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace vtio::recorders {

/// What appending a sample reads and writes of a stream, and nothing else: half a cache line. With the cursors of a
/// session side by side, a step through many signals touches few lines beside the samples themselves.
struct alignas(32) RowCursor {
  const double* times = nullptr;  // of the chunk of times in which the stream stands; never read while row == end
  std::byte* rows = nullptr;      // of the chunk of rows in which the stream stands
  std::uint32_t row = 0;          // the next one in the chunk of rows
  std::uint32_t end = 0;          // rows that may be written without looking further
  std::int32_t timeShift = 0;     // from `row` to the next one in the chunk of times
  std::uint32_t bytes = 0;  // of a row that is the beginning of the delivered bytes as it stands; any other row: 0

  /// Does the time of the next row stand there already, and is it this one?
  [[nodiscard]] bool standsAt(double time) const {
    return row != end && times[static_cast<std::int32_t>(row) + timeShift] == time;
  }

  /// Appends a row as delivered whose time another stream has recorded before.
  /// @return False if that is not the case; nothing has changed then.
  bool append(double time, const void* data) {
    if (!standsAt(time)) [[unlikely]]
      return false;
    std::byte* out = rows + static_cast<std::size_t>(row) * bytes;
    switch (bytes) {
      case 8:
        std::memcpy(out, data, 8);
        break;
      case 4:
        std::memcpy(out, data, 4);
        break;
      case 2:
        std::memcpy(out, data, 2);
        break;
      case 1:
        std::memcpy(out, data, 1);
        break;
      case 0:
        return false;
      default:
        std::memcpy(out, data, bytes);
    }
    ++row;
    return true;
  }
};

/// Keeps cursors in blocks that never move, those taken one after another side by side.
class CursorPool final {
 public:
  CursorPool() = default;
  CursorPool(const CursorPool&) = delete;
  CursorPool& operator=(const CursorPool&) = delete;

  /// Gives a run of cursors back.
  struct Release {
    CursorPool* pool = nullptr;
    std::size_t count = 0;
    void operator()(RowCursor* cursors) const noexcept { pool->giveBack(cursors, count); }
  };
  using Run = std::unique_ptr<RowCursor[], Release>;

  /// `count` cursors side by side. The pool must outlive them.
  [[nodiscard]] Run take(std::size_t count);

 private:
  void addBlock();
  void giveBack(RowCursor* cursors, std::size_t count) noexcept;

  std::vector<std::unique_ptr<RowCursor[]>> blocks_;
  std::vector<RowCursor*> free_;  // the next one last; has room for all cursors of the blocks
  std::size_t total_ = 0;         // in the blocks
};

}  // namespace vtio::recorders
