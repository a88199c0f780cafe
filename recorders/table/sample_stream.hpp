/// @file
/// The samples that arrive at one leaf position. What recording does most of the time stands in row_cursor.hpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/ref.hpp"
#include "recorders/table/row_chunk.hpp"
#include "recorders/table/row_cursor.hpp"
#include "recorders/table/time_base.hpp"

namespace vtio::recorders {

/// What a stream holds at one moment. A copy costs one share per chunk, and stays what it is whatever is recorded later.
struct StreamState {
  std::vector<Ref<RowChunk>> rows;    // oldest first; all are full but the last one
  std::vector<Ref<TimeChunk>> times;  // oldest first
  std::uint64_t frontRow = 0;         // sample number of row 0 of the first chunk
  std::uint64_t tailRow = 0;          // sample number of row 0 of the last chunk
  std::uint32_t row = 0;              // rows of this stream in the last chunk

  /// Samples recorded since the beginning, the dropped ones included.
  [[nodiscard]] std::uint64_t count() const { return tailRow + row; }
};

/// Keeps the samples of one position in arrival order, at least the newest maxPoints.
///
/// Samples never move once they are recorded. Appending allocates only when a chunk is full, and takes a chunk that it
/// has just dropped where it can. Not synchronised.
class SampleStream final {
 public:
  /// @param position Where the values stand in the delivered bytes; must outlive the stream.
  /// @param maxPoints Most samples kept; 0 means no limit.
  /// @param cursor Used by this stream alone; must outlive it.
  SampleStream(const LayoutPosition& position, std::uint64_t maxPoints, TimeBase& base, RowCursor& cursor);

  /// Appends one sample. RowCursor::append() does the same where it can, and is faster.
  /// @param data The delivered bytes, copied; texts are followed and copied.
  void append(double time, const void* data);

  [[nodiscard]] const LayoutPosition& position() const { return position_; }

  /// Samples recorded since the beginning, the dropped ones included.
  [[nodiscard]] std::uint64_t count() const { return state_.tailRow + cursor_.row; }

  /// Number of the oldest sample that is kept.
  [[nodiscard]] std::uint64_t first() const {
    return maxPoints_ != 0 && count() > maxPoints_ ? count() - maxPoints_ : 0;
  }

  /// Time of a kept sample in seconds.
  [[nodiscard]] double timeOf(std::uint64_t sample) const;

  /// The times of the kept samples, N-by-1, shared among streams with the same times.
  [[nodiscard]] vtu::qxArrayWrapper timeArray() const;

  /// Gives the kept bytes of a column, oldest first, in contiguous runs of rows.
  /// @param use Called with the first byte, the number of rows, and the chunk for texts.
  void visit(std::size_t column, const std::function<void(const std::byte*, std::size_t, RowChunk&)>& use) const;

  [[nodiscard]] StreamState capture();
  void restore(const StreamState& state);

 private:
  [[nodiscard]] bool isBlock() const;
  void findTime(double time);
  void enterTimeChunk(Ref<TimeChunk> chunk, bool replacesTail);
  void standIn(const TimeChunk& chunk);
  void makeRoom();
  void copyTail();
  [[nodiscard]] Ref<RowChunk> dropExpired(std::uint32_t rows);
  void dropExpiredTimes();
  void useTail();
  void rewindText();
  void gather(const std::byte* data);
  void gatherTexts(const LeafColumn& column, const std::byte* data, std::byte* out);
  void noteUsed();

  RowCursor& cursor_;
  std::size_t rowBytes_ = 0;  // of all columns
  bool hasText_ = false;
  std::uint64_t maxPoints_;
  StreamState state_;  // its `row` is kept in the cursor
  const LayoutPosition& position_;
  TimeBase& base_;
};

}  // namespace vtio::recorders
