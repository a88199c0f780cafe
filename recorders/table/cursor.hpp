/// @file
/// Where the next sample of a position is written: all that most updates read and write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace vtio::recorders {

/// Copies a value; one of the usual sizes without a function call.
inline void copyValue(void* to, const void* from, std::size_t bytes) {
  switch (bytes) {
    case 8:
      std::memcpy(to, from, 8);
      break;
    case 4:
      std::memcpy(to, from, 4);
      break;
    case 2:
      std::memcpy(to, from, 2);
      break;
    case 1:
      std::memcpy(to, from, 1);
      break;
    default:
      std::memcpy(to, from, bytes);
  }
}

/// The row of a table that is being written.
struct CurrentRow {
  double time = std::numeric_limits<double>::quiet_NaN();  // NaN equals no time: then append() is called
  std::byte* bytes = nullptr;                              // read only while `time` is not NaN
  std::uint64_t number = 0;
  std::uint64_t written = 0;  // positions of the table that have a sample in the row
};

/// Where one position is in its table. The cursors of positions that are added in one call are contiguous.
struct Cursor {
  CurrentRow* table = nullptr;  // never null once the position is added
  std::uint64_t next = 0;       // the row after the position's newest sample
  std::uint32_t offset = 0;     // in a row
  std::uint32_t bytes = 0;      // of a sample that is stored as it is delivered; any other: 0

  /// True if the next sample is one of the current row.
  [[nodiscard]] bool standsAt(double time) const { return table->time == time && table->number == next; }

  /// Writes a sample as delivered to the current row.
  /// @return False if it is not one of that row or is not stored as delivered; nothing has changed then.
  bool write(double time, const void* data) {
    if (!standsAt(time) || bytes == 0) [[unlikely]]
      return false;
    copyValue(table->bytes + offset, data, bytes);
    ++next;
    ++table->written;
    return true;
  }
};

}  // namespace vtio::recorders
