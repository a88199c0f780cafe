/// @file
/// Sample times, stored once for all the streams that are recorded sample for sample at the same times.
///
/// Times stand in chunks, and the chunks form a tree. A chunk continues its parent from one row on: from its end (the
/// next chunk of the same history) or from a row inside it (a history that went another way there; the rows before are
/// copied). Two streams whose times agree so far always stand in the same chunk: each looks for a chunk that goes on
/// with its time before it makes one. Rows are only ever added to a chunk, never changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <unordered_map>

#include "platform/qalc.hpp"
#include "recorders/table/ref.hpp"
#include "recorders/table/row_cursor.hpp"

namespace vtio::recorders {

class TimeBase;

/// A run of sample times. The `rows` times follow it in memory, and one more entry that is always NaN.
struct TimeChunk {
  std::uint32_t refs = 0;
  std::uint32_t used = 0;      // rows written, by whichever stream came first; the others are NaN
  std::uint32_t rows = 0;      // capacity
  std::uint32_t forkRow = 0;   // row of the parent from which this chunk goes its own way; the parent's rows: its end
  std::uint64_t firstRow = 0;  // sample number of row 0
  TimeBase* base = nullptr;
  TimeChunk* parent = nullptr;
  TimeChunk* firstChild = nullptr;
  TimeChunk* nextSibling = nullptr;

  [[nodiscard]] double* times() { return reinterpret_cast<double*>(this + 1); }
  [[nodiscard]] const double* times() const { return reinterpret_cast<const double*>(this + 1); }

  /// Called with the last share: leaves the tree and gives the memory back to the base.
  static void destroy(TimeChunk* chunk);
};

/// Equal as times: equal numbers, or the same NaN.
[[nodiscard]] bool sameTime(double a, double b);

/// What the streams of one session share: the tree of chunks of times, and the place of their cursors. Must outlive every chunk: whoever holds a chunk also holds a share of the base.
class TimeBase final {
 public:
  TimeBase() = default;
  TimeBase(const TimeBase&) = delete;
  TimeBase& operator=(const TimeBase&) = delete;
  ~TimeBase();

  /// The streams' cursors.
  [[nodiscard]] CursorPool& cursors() { return cursors_; }

  /// Makes known how many samples a stream keeps, which bounds the size of chunks. 0 means all of them.
  void addWindow(std::uint64_t maxPoints);

  /// The chunk that follows `tail` (null: the beginning) with the time of sample number `sample`; made if it is not
  /// there. The time is already in it. `tail` must be full or its row for this sample must hold another time.
  [[nodiscard]] Ref<TimeChunk> follow(TimeChunk* tail, std::uint64_t sample, double time);

  /// The times of samples [first, count) as an N-by-1 array, shared by all callers that ask for the same times.
  /// @param times The chunks, oldest first; the first one holds `first`.
  [[nodiscard]] vtu::qxArrayWrapper timeArray(const Ref<TimeChunk>* times, std::size_t chunks, std::uint64_t first,
                                              std::uint64_t count);

 private:
  friend struct TimeChunk;

  struct Key {
    const TimeChunk* last;
    std::uint64_t first;
    std::uint64_t count;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const noexcept;
  };
  struct Cached {
    Ref<TimeChunk> last;  // keeps the key's address from being used again
    vtu::qxArrayWrapper array;
  };

  [[nodiscard]] std::uint32_t rowsFor(std::uint64_t sample) const;
  [[nodiscard]] TimeChunk* allocate(std::uint32_t rows);
  void recycle(TimeChunk* chunk) noexcept;

  TimeChunk root_;                                   // no rows of its own; parent of the chunks that hold sample 0
  TimeChunk* spare_ = nullptr;                       // one released chunk, for the next allocation of its size
  std::uint64_t window_ = 0;                         // largest number of samples that a stream keeps
  std::unordered_map<Key, Cached, KeyHash> arrays_;  // emptied when recording goes on
  CursorPool cursors_;
};

}  // namespace vtio::recorders
