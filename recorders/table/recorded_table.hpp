/// @file
/// Recorded rows as arrays read them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "platform/sample_table.hpp"
#include "recorders/table/ref.hpp"
#include "recorders/table/tile.hpp"

namespace vtio::recorders {

/// Rows of a streamed table that are not in memory any more.
struct OlderRows {
  std::shared_ptr<const vtu::SampleTable> rows;      ///< those of the file, from row 0 on; null: there are none
  std::shared_ptr<const vtu::StoredTable> complete;  ///< set if the file has all rows of the table
};

/// The rows of one table at one moment. Row 0 is the oldest one that is kept.
class RecordedTable final : public vtu::SampleTable {
 public:
  /// @param tiles Null: a table without rows.
  /// @param end Number of the row after the last one.
  RecordedTable(Ref<TileList> tiles, std::uint64_t end, OlderRows older = {});

  /// Number that row 0 has in the recorder's table.
  [[nodiscard]] std::uint64_t begin() const { return begin_; }

  [[nodiscard]] std::uint64_t rows() const override { return end_ - begin_; }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override;
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override;
  void readText(vtu::TextCell cell, std::string& utf8) const override;
  [[nodiscard]] const vtu::StoredTable* stored() const override { return older_.complete.get(); }

 private:
  [[nodiscard]] std::uint64_t olderRows(std::uint64_t row, std::uint64_t count) const;

  Ref<TileList> tiles_;
  OlderRows older_;
  std::uint64_t begin_;
  std::uint64_t end_;
};

/// Rows of several tables one after another: the samples of positions that were in the same tables at the same times.
class JoinedTable final : public vtu::SampleTable {
 public:
  /// Rows of one table.
  struct Part {
    std::shared_ptr<const RecordedTable> table;
    std::uint64_t first;
    std::uint64_t count;
    friend bool operator==(const Part&, const Part&) = default;
  };

  explicit JoinedTable(std::vector<Part> parts);

  [[nodiscard]] const std::vector<Part>& parts() const { return parts_; }

  /// Adds the columns of a position, unless they are there.
  /// @param offsets Of the columns in the rows of each part.
  /// @return Their offset in this table.
  [[nodiscard]] std::size_t addColumns(std::size_t bytes, std::vector<std::uint32_t> offsets);

  [[nodiscard]] std::uint64_t rows() const override { return rows_; }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override;
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override;
  void readText(vtu::TextCell cell, std::string& utf8) const override;

 private:
  struct Columns {
    std::size_t offset;  // in this table
    std::size_t bytes;
    std::vector<std::uint32_t> offsets;  // in the parts
  };

  template <typename Use>
  void forEachPart(std::uint64_t first, std::uint64_t count, const Use& use) const;

  std::vector<Part> parts_;
  std::uint64_t rows_ = 0;
  mutable std::shared_mutex mutex_;                          // columns are added while arrays of others may be read
  std::vector<Columns> columns_;                             // by offset
  std::map<std::vector<std::uint32_t>, std::size_t> known_;  // offset in this table, by offsets in the parts
};

}  // namespace vtio::recorders
