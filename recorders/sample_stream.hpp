/// @file
/// The samples that arrive at one leaf position: the hot path of recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "recorders/ref.hpp"
#include "recorders/row_chunk.hpp"
#include "recorders/signal_layout.hpp"
#include "recorders/time_base.hpp"

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
  SampleStream(const LayoutPosition& position, std::uint64_t maxPoints, TimeBase& base);

  /// Appends one sample.
  /// @param data The delivered bytes, copied; texts are followed and copied.
  void append(double time, const void* data) {
    if (row_ != rowEnd_ && *timeCursor_ == time) [[likely]] {
      ++timeCursor_;
    } else {
      appendTime(time);
    }
    store(static_cast<const std::byte*>(data));
    ++row_;
  }

  [[nodiscard]] const LayoutPosition& position() const { return position_; }

  /// Samples recorded since the beginning, the dropped ones included.
  [[nodiscard]] std::uint64_t count() const { return state_.tailRow + row_; }

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
  enum class Store : std::uint8_t { none, one, two, four, eight, block, gather };

  void store(const std::byte* data) {
    std::byte* out = rowData_ + static_cast<std::size_t>(row_) * rowBytes_;
    switch (store_) {
      case Store::eight:
        std::memcpy(out, data, 8);
        break;
      case Store::four:
        std::memcpy(out, data, 4);
        break;
      case Store::two:
        std::memcpy(out, data, 2);
        break;
      case Store::one:
        std::memcpy(out, data, 1);
        break;
      case Store::block:
        std::memcpy(out, data, rowBytes_);
        break;
      case Store::gather:
        gather(data);
        break;
      case Store::none:
        break;
    }
  }

  [[nodiscard]] Store chooseStore() const;
  void appendTime(double time);
  void enterTimeChunk(Ref<TimeChunk> chunk, bool replacesTail);
  void makeRoom();
  void copyTail();
  [[nodiscard]] Ref<RowChunk> dropExpired(std::uint32_t rows);
  void dropExpiredTimes();
  void useTail();
  void rewindText();
  void gather(const std::byte* data);
  void gatherTexts(const LeafColumn& column, const std::byte* data, std::byte* out);
  void noteUsed();

  // What an append touches.
  const double* timeCursor_;
  std::byte* rowData_ = nullptr;
  std::uint32_t row_ = 0;
  std::uint32_t rowEnd_ = 0;  // rows that may be written in the last chunk without looking further
  std::size_t rowBytes_ = 0;  // of all columns
  Store store_ = Store::none;
  bool hasText_ = false;

  std::uint64_t maxPoints_;
  StreamState state_;  // its `row` is kept in row_
  const LayoutPosition& position_;
  TimeBase& base_;
};

}  // namespace vtio::recorders
