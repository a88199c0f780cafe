/// @file
/// Assigns samples to tables by finding out which positions are recorded at the same times.
///
///     auto builder = std::make_shared<TableBuilder>();
///     const TableBuilder::Added added = builder->add(layout, maxPoints);
///     if (!added.cursors[0].write(time, data)) builder->append(added.first, time, data);
///     const TableBuilder::Samples samples = builder->samples(added.first);
///
/// See also: cursor.hpp (what most updates do), table.hpp, position_states.hpp, builder_snapshot.hpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/sample_table.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/builder_snapshot.hpp"
#include "recorders/table/cursor.hpp"
#include "recorders/table/position_states.hpp"
#include "recorders/table/recorded_table.hpp"
#include "recorders/table/row_sink.hpp"
#include "recorders/table/stored_row.hpp"
#include "recorders/table/table.hpp"

namespace vtio::recorders {

/// Keeps the samples of positions in tables. Used from one thread, that of the simulation; what samples() gives may be
/// read on any.
///
/// What always holds:
///
/// 1. A position is attached to one table, in which its run is open, or to none. Its samples are its closed runs,
///    oldest first, then the rows from `begin` up to its cursor's `next` in the table to which it is attached. Recorded
///    samples are not moved, except by 5 and 6.
/// 2. Rows are added at the end only, and only the last one, the current row, is written. An attached position either
///    has a sample in it (`next` is its number + 1), or has the row before as its newest one (`next` is its number), or
///    has missed rows; `written` counts the first kind. A position that has missed rows closes its run with its
///    next sample.
/// 3. A table takes new columns only in its first row: positions that get a sample at one time and have no table
///    share a new one. A position returns to the table that it left if it missed few rows there (kGap); else it joins a
///    new table with all others that need one at the same time; after kMostShortRuns short runs it gets its own.
/// 4. When a table needs its next tile and more than 1/20 of the bytes of its rows are of detached positions, it ends:
///    the positions that are left get a new table together.
/// 5. A row with samples of a minority only is removed from the table: these positions move to another table together
///    with it. So a position that gets an extra sample does not slow the others.
/// 6. A table with a limit of N rows drops older ones tile by tile. The N newest samples of a position that leaves such
///    a table are copied.
/// 7. Rows that a snapshot or an array shows do not change. While a table's rows are shown, its `time` is NaN: the
///    first update after that calls append().
/// 8. The rows of a streamed table are in a file; in memory are those of its last two tiles and what snapshots and
///    arrays refer to. It does not end by 4. A position that has missed a row does not return to it, and goes to no
///    other table: its samples are strays, which the builder does not keep.
/// 9. A snapshot holds the states of the tables, and shares those of the positions; of the cursors it
///    holds only those that are not after their table's last row: the positions that have missed it.
class TableBuilder final {
 public:
  TableBuilder() = default;
  TableBuilder(const TableBuilder&) = delete;
  TableBuilder& operator=(const TableBuilder&) = delete;

  /// Positions that were added: numbered from `first` on, their cursors contiguous.
  struct Added {
    std::uint32_t first;
    Cursor* cursors;
  };

  /// @param layout Must outlive the positions.
  /// @param maxPoints Most samples kept of each; 0 means no limit.
  /// @throws std::length_error if a sample is too large for a row.
  [[nodiscard]] Added add(std::span<const LayoutPosition> layout, std::uint64_t maxPoints);

  /// Lets a position, which is never appended to, have the samples of another one as long as that is there.
  /// @param source A position of samples of the same size that has no source itself.
  void share(std::uint32_t position, std::uint32_t source) { positions_[position].source = source; }

  /// The position whose samples it has: itself, or that of share().
  [[nodiscard]] std::uint32_t sourceOf(std::uint32_t position) const { return positions_[position].source; }

  /// Removes positions and their samples.
  void remove(std::uint32_t first, std::size_t count);

  /// Appends one sample. Cursor::write() does the same where it can, and is faster.
  /// @param data The delivered bytes, copied; texts are copied, not their addresses.
  /// @throws std::bad_alloc, std::length_error: the sample is lost, and everything else is as it was.
  void append(std::uint32_t position, double time, const void* data);

  /// Samples recorded since the beginning, the dropped ones included.
  [[nodiscard]] std::uint64_t recorded(std::uint32_t position);

  /// Samples that are kept.
  [[nodiscard]] std::uint64_t held(std::uint32_t position);

  /// The kept samples of a position: rows [first, first + count) of a table, from `offset` in each row on.
  struct Samples {
    std::shared_ptr<const vtu::SampleTable> table;
    std::size_t offset;
    std::uint64_t first;
    std::uint64_t count;
  };

  /// Positions that were recorded together get the same table.
  [[nodiscard]] Samples samples(std::uint32_t position);

  /// The kept samples of a position in the tables that they were recorded in, oldest first; a run without rows if there
  /// are none.
  [[nodiscard]] std::vector<Samples> runs(std::uint32_t position);

  /// From now on the sink is told of rows; null: of none any more. It must outlive its use.
  void streamTo(RowSink* sink) { sink_ = sink; }
  [[nodiscard]] RowSink* sink() const { return sink_; }

  /// Carries out what rollBack() has asked for.
  void settle();

  /// Positions that have been recorded at the same times from the beginning until now, and have no limit of points.
  /// @param among Of these positions only.
  [[nodiscard]] std::vector<std::vector<std::uint32_t>> together(std::span<const std::uint32_t> among);

  /// Moves all samples of positions that were recorded together to a new table.
  /// @param offsets Of each position in a row. @param rowBytes Of a row.
  Ref<Table> gather(std::span<const std::uint32_t> positions, std::span<const std::uint32_t> offsets,
                    std::uint32_t rowBytes);

  /// Makes a position's samples strays, those recorded so far included unless they are rows of its streamed table.
  /// @return False if the file does not take them.
  bool makeStray(std::uint32_t position);

  /// The samples of a position that takes strays are in the file, and none of them in a table of the builder.
  void forgetRows(std::uint32_t position);

  /// True if the builder went back to a snapshot since this was asked last.
  [[nodiscard]] bool takeWentBack() { return std::exchange(wentBack_, false); }

  /// True if a position went back to a snapshot without the others, since all did together.
  [[nodiscard]] bool hasOneGoneBack() const { return oneWentBack_; }

  /// Most samples kept of a position; 0 means no limit.
  [[nodiscard]] std::uint64_t maxPoints(std::uint32_t position) const { return positions_[position].maxPoints; }

  /// Takes note that a table is streamed as the one of this number.
  void setStreamed(std::uint32_t number, Ref<Table> table);

  [[nodiscard]] const std::vector<Ref<Table>>& streamed() const { return streamed_; }

  /// Bytes of a position in a row.
  [[nodiscard]] std::uint32_t bytes(std::uint32_t position) const { return positions_[position].bytes; }

  /// Gives the sink all rows of streamed tables that are complete.
  /// @param all The current rows as well, whether they are complete or not.
  void spill(bool all);

  /// The row after the last one of the run of a position that begins with row `begin` of a table; `begin` if there is
  /// no such run any more.
  [[nodiscard]] std::uint64_t endOfRun(std::uint32_t position, const Table& table, std::uint64_t begin) const;

  /// True if a position has samples that are not those of one run in a streamed table.
  [[nodiscard]] bool hasOthers(std::uint32_t position);

  /// Number of positions, the removed ones included.
  [[nodiscard]] std::size_t size() const { return positions_.size(); }

  /// The state of all positions. The same object until something is recorded.
  [[nodiscard]] std::shared_ptr<const BuilderSnapshot> capture();

  /// Restores the state of positions from a snapshot.
  ///
  /// Takes effect with the next call: if by then all positions have gone back to one snapshot, the tables go back to
  /// it, which copies nothing; else each position gets a copy of its samples.
  void rollBack(std::uint32_t first, std::size_t count, const std::shared_ptr<const BuilderSnapshot>& snapshot);

 private:
  static constexpr std::uint64_t kGap = 128;  // samples that a run needs for each row missed after it
  static constexpr std::uint32_t kMostShortRuns = 4;

  struct Position {
    const LayoutPosition* layout;  // null once it is removed
    Cursor* cursor;
    std::uint64_t maxPoints;
    std::uint32_t bytes;
    std::uint32_t source;  // the position whose samples it has: itself, or that of share()
    bool hasTexts;
    bool goesBack;       // is in goingBack_
    bool isStray;        // its samples go to the sink's strays
    std::size_t offset;  // in a row without rows, of all positions
    std::vector<SampleRun> runs;
  };

  // Rows that hold samples of a position.
  struct Piece {
    Ref<Table> table;
    std::uint32_t offset;
    std::uint64_t first;
    std::uint64_t count;
  };

  [[nodiscard]] Cursor* takeCursors(std::size_t count);
  // The analyzer does not count references. NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete)
  [[nodiscard]] Table& tableOf(const Cursor& cursor) const { return static_cast<Table&>(*cursor.table); }
  [[nodiscard]] bool isAttached(const Cursor& cursor) const { return cursor.table != &nowhere_; }

  // Finding the row of a sample.
  void findRow(std::uint32_t position, double time);
  void comeBack(std::uint32_t position, double time);
  [[nodiscard]] bool reopen(std::uint32_t position, double time);
  void join(std::uint32_t position, double time);
  [[nodiscard]] bool beginRow(Table& table, double time, std::uint32_t position);

  // Attaching.
  void attach(std::uint32_t position, PositionState& state, Ref<Table> table, std::uint32_t offset,
              std::uint64_t begin);
  void close(std::uint32_t position);
  void detach(std::uint32_t position, PositionState& state);
  void finish(Table& table);
  void closeStragglers(Table& table);
  void dropArchives(Table& table);

  // Rows of a minority.
  [[nodiscard]] static bool isOfMinority(Table& table);
  void moveMinority(Table& table);
  void moveSample(Table& table, std::uint32_t position);

  // Streaming.
  [[nodiscard]] StraySink* straySink() const { return sink_ != nullptr ? sink_->strays() : nullptr; }
  [[nodiscard]] StraySink* strayed(std::uint32_t position) const {
    return positions_[position].isStray ? straySink() : nullptr;
  }
  void addStray(std::uint32_t position, double time, const void* data);
  void addRowsAsStrays(std::uint32_t position, std::uint64_t inFile, StraySink& strays);
  void copyRows(std::uint32_t position, std::uint32_t offset, Tile& tile);
  void moveTo(const Ref<Table>& table, std::uint32_t position, std::uint32_t offset);

  // Reading.
  [[nodiscard]] std::vector<Piece> kept(std::uint32_t position) const;
  [[nodiscard]] static std::vector<Piece> pieces(const PositionState& state, std::uint64_t next,
                                                 std::uint64_t maxPoints);
  [[nodiscard]] Ref<Run> archive(std::uint32_t position, const std::vector<Piece>& pieces,
                                 const BuilderSnapshot* snapshot) const;
  [[nodiscard]] Samples noSamples(std::uint32_t position);
  [[nodiscard]] Samples joined(std::uint32_t position, const std::vector<Piece>& pieces);

  // Stepping back.
  [[nodiscard]] bool hadSamples(const BuilderSnapshot& snapshot, std::uint32_t position) const;
  [[nodiscard]] bool allGoBackTo(const BuilderSnapshot& snapshot) const;
  void restoreAll(const BuilderSnapshot& snapshot);
  void restoreCursor(std::uint32_t position, const BuilderSnapshot& snapshot);
  void restoreOne(std::uint32_t position, const BuilderSnapshot& snapshot);
  void giveUpOthers(const BuilderSnapshot& snapshot, const RowSink::Left& left);
  void requireHeld(const BuilderSnapshot& snapshot) const;

  using JoinedKey = std::vector<std::tuple<const RecordedTable*, std::uint64_t, std::uint64_t>>;

  CurrentRow nowhere_;  // the table of cursors that are attached to none
  std::vector<Position> positions_;
  PositionStates states_;
  std::vector<std::unique_ptr<Cursor[]>> cursors_;
  std::size_t cursorsLeft_ = 0;                            // in the last block
  std::size_t lastBlock_ = 0;                              // cursors in the last block
  std::vector<Ref<Table>> tables_;                         // those that positions are attached to
  Ref<FinishedTable> finished_;                            // those that closed runs refer to
  std::unordered_map<std::uint64_t, Ref<Table>> growing_;  // the newest table that takes positions, by limit
  std::weak_ptr<const BuilderSnapshot> latest_;            // what capture() gave, if nothing was recorded since
  std::vector<std::pair<std::uint32_t, std::shared_ptr<const BuilderSnapshot>>> goingBack_;
  std::map<JoinedKey, std::weak_ptr<JoinedTable>> joined_;
  std::size_t joinedSwept_ = 0;  // entries that were in use when unused ones were last removed
  std::shared_ptr<const vtu::SampleTable> empty_;
  std::string scratch_;
  std::vector<std::byte> strayRow_;
  TextStore strayTexts_;
  double strayTime_ = std::numeric_limits<double>::quiet_NaN();
  std::size_t rowOfAll_ = 0;  // bytes of a row of all positions
  bool wentBack_ = false;
  bool oneWentBack_ = false;  // since all went back together
  RowSink* sink_ = nullptr;
  std::vector<Ref<Table>> streamed_;  // by their numbers in the file
};

}  // namespace vtio::recorders
