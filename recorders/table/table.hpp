/// @file
/// One table of the builder: rows of samples that were recorded at the same times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "recorders/table/cursor.hpp"
#include "recorders/table/recorded_table.hpp"
#include "recorders/table/ref.hpp"
#include "recorders/table/row_sink.hpp"
#include "recorders/table/tile.hpp"

namespace vtio::recorders {

/// True for equal numbers, and for the same NaN.
[[nodiscard]] bool sameTime(double a, double b);

/// The part of a table that changes, for snapshots: copying it takes the same time however many rows there are.
struct TableState {
  std::uint64_t current = 0;        // number of the current row
  std::uint64_t written = 0;        // attached positions that have a sample in it
  std::uint64_t previous = 0;       // attached positions that have missed no row before it
  double time = 0;                  // of the current row
  std::uint64_t attachedBytes = 0;  // of a row: those of attached positions
  std::uint32_t attached = 0;       // positions whose open run is in this table
  std::uint32_t rowBytes = 0;
  std::uint32_t starter = 0;  // position that began the current row
  bool grows = false;         // accepts new positions; it has only one row then
  bool hasArchives = false;   // limited: an attached position may still need older samples from elsewhere
  bool ended = false;         // nothing is recorded in it any more
  std::size_t cuts = 0;       // how often rows of the file had been removed
  Ref<TileList> tiles;
  TextStore::Mark texts;  // end of the texts of the last tile
};

/// Rows in tiles. The current row, which is the last one, is in the last tile; there is always one.
///
/// Rows that are shown (to a snapshot or an array) never change: where one would, the tile is copied first.
class Table final : public CurrentRow {
 public:
  /// A table with one row of no bytes.
  /// @param maxPoints Rows that are kept at least; 0 keeps all.
  Table(double time, std::uint64_t maxPoints, bool grows);
  /// A table of these rows.
  /// @param rows All of them in the tile; at least 1.
  /// @param ended Nothing is recorded in it any more.
  Table(Ref<Tile> tile, std::uint64_t rows, bool ended);
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  [[nodiscard]] std::uint64_t maxPoints() const { return maxPoints_; }

  /// The parts of the state that the builder keeps up to date. Number, time and written of the current row are not
  /// valid in it: number() and so on are.
  [[nodiscard]] TableState& state() { return state_; }

  /// Time of the current row.
  [[nodiscard]] double rowTime() const { return state_.time; }

  /// True if a sample of this time is one of the current row.
  [[nodiscard]] bool isAt(double rowTime) const { return sameTime(state_.time, rowTime); }

  /// Adds bytes to the only row of a table that grows; returns their offset.
  [[nodiscard]] std::uint32_t addColumns(std::uint32_t bytes);

  /// True if the last tile has no room for another row.
  [[nodiscard]] bool isFull() const;

  /// Bytes of the rows of the last tile.
  [[nodiscard]] std::size_t lastTileBytes() const { return std::size_t{last().capacity} * last().rowBytes; }

  /// Adds an empty tile; removes those that hold only rows before the newest maxPoints.
  void addTile();

  /// Begins the next row. The last tile must have room.
  void beginRow(double time, std::uint32_t starter);

  /// Lets the current row be written.
  void openRow();

  /// True if snapshots or arrays may refer to the current row.
  [[nodiscard]] bool isRowShown() const;

  /// Removes the current row; there must be one before it. The row before is the current one again, and complete.
  /// @param sink Takes it back, too; may be null.
  void takeBackRow(RowSink* sink);

  /// Marks all rows as shown: they do not change any more. The table accepts no more positions.
  void show();

  /// Where the texts of the current row are appended.
  [[nodiscard]] TextStore& texts();

  /// The bytes of the current row, whether it may be written or not.
  [[nodiscard]] const std::byte* currentRow() const { return last().row(rowInTile()); }

  /// From now on the sink takes the rows, and only the last ones stay in memory. The table accepts no more positions.
  /// @param stored Its place in the file.
  /// @param rows Those of the file.
  /// @param hasTexts Rows are cleared, so that a leaf without a sample has no text.
  void stream(std::shared_ptr<const vtu::StoredTable> stored, std::shared_ptr<const vtu::SampleTable> rows,
              bool hasTexts);
  [[nodiscard]] bool isStreamed() const { return streamed_ != nullptr; }

  /// The number of a streamed table in the sink.
  [[nodiscard]] std::uint32_t streamNumber() const { return streamed_->stored->table; }

  /// Gives the sink the rows before `end` that it does not have. Those after the current row's predecessor may
  /// change and are given again.
  void spill(RowSink& sink, std::uint64_t end);

  /// Ends a streamed table that is not part of a state that was restored. What positions have left stays in the file.
  void giveUp(RowSink& sink, const RowSink::Left& left);
  [[nodiscard]] bool isGivenUp() const { return streamed_->isGivenUp; }

  /// Another table takes the place in the file of one that was given up.
  void replace() { streamed_->isReplaced = true; }

  /// False if rows of the state are neither in memory nor in the file any more.
  [[nodiscard]] bool holds(const TableState& state) const;

  /// The rows of a state. @param end Number of the row after the last one.
  [[nodiscard]] std::shared_ptr<const RecordedTable> rowsOf(const TableState& state, std::uint64_t end) const;

  /// The rows as arrays read them. The same object until something is recorded.
  [[nodiscard]] std::shared_ptr<const RecordedTable> view();

  /// The state to be kept, all of it. The rows must be shown.
  [[nodiscard]] TableState capture() const;
  /// @param left What positions have in the state.
  void restore(const TableState& state, RowSink* sink, const RowSink::Left& left);

  static void destroy(Table* table) { delete table; }

  std::uint32_t refs = 0;
  std::size_t place = 0;  // in the builder's list

 private:
  // What the file has of a streamed table.
  struct Streamed {
    std::shared_ptr<const vtu::StoredTable> stored;
    std::shared_ptr<const vtu::SampleTable> older;
    bool hasTexts;
    std::uint64_t final;              // rows that need not be given to the sink again
    std::uint64_t rows;               // rows that the sink has
    bool hasCurrent;                  // it has the current row as it is
    std::vector<std::uint64_t> cuts;  // rows that were left each time some were removed
    bool isGivenUp = false;           // since the last restore()
    bool isReplaced = false;          // another table of the builder is this one of the file now
  };

  [[nodiscard]] Tile& last() const { return *state_.tiles->tiles.back(); }
  [[nodiscard]] bool isLastTileShared() const;
  [[nodiscard]] std::uint64_t rowInTile() const { return number - last().firstRow; }
  TileList& ownTiles();
  void replaceLast(Ref<Tile> tile);
  void copyLast(std::uint64_t rows);
  void makeRoomInRow(std::uint32_t bytes);
  Ref<Tile> dropExpired(std::uint32_t capacity);
  Ref<Tile> dropStreamed(std::uint32_t capacity);
  void cutTo(std::optional<std::uint64_t> rows, RowSink& sink, const RowSink::Left& left);
  void block() { time = std::numeric_limits<double>::quiet_NaN(); }

  TableState state_;
  const std::uint64_t maxPoints_;
  std::shared_ptr<const RecordedTable> view_;
  Ref<Tile> spare_;  // removed before, to be used again
  std::unique_ptr<Streamed> streamed_;
};

}  // namespace vtio::recorders
