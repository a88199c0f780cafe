/// @file
/// One sample table in a file, read in parts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/source.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat_parts.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {

/// A table that is open. Every function throws Failure.
class OpenTable {
 public:
  /// The values of one element class.
  struct Values {
    Handle dataset;  // null if they are in several
    std::uint64_t rows = 0;
    std::uint64_t columns = 0;
    std::uint64_t blockRows = 1;  // rows and columns that are best read at once: whole chunks, about a megabyte
    std::uint64_t blockColumns = 1;
  };

  /// @param path Of the table, for errors.
  explicit OpenTable(std::string path) : path_(std::move(path)) {}
  OpenTable(const OpenTable&) = delete;
  OpenTable& operator=(const OpenTable&) = delete;
  virtual ~OpenTable();

  [[nodiscard]] virtual std::uint64_t rows() = 0;

  /// False while the table is written: it counts its valid rows then.
  [[nodiscard]] virtual bool isComplete() = 0;

  /// One per record, checked to fit the table's rows. Valid until the tables are refreshed.
  [[nodiscard]] virtual const std::vector<StoredColumn>& columns() = 0;
  [[nodiscard]] const StoredColumn& column(std::uint32_t number);

  /// The values of an element class. Valid until the tables are refreshed.
  [[nodiscard]] virtual const Values& values(ElementKind kind) = 0;

  virtual void readTimes(std::uint64_t first, std::uint64_t count, double* out) = 0;

  /// Reads elements of one class, count rows of width; logicals as 0 and 1, texts as cells of a row.
  virtual void readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                         std::uint64_t count, void* out) = 0;

  /// The bytes of a text, valid until the next call.
  [[nodiscard]] virtual std::string_view text(TextCell cell) = 0;

  /// Bytes that the samples of a leaf take in the file: as QatSamples::storedBytes().
  [[nodiscard]] std::uint64_t storedBytes(std::uint32_t number);

  /// Calls `take` with the cell of each text of a leaf in rows [firstRow, firstRow + count), row by row.
  template <typename Take>
  void forEachCell(const StoredColumn& leaf, std::uint64_t firstRow, std::uint64_t count, Take&& take) {
    constexpr std::uint64_t kCells = 1U << 14U;
    const std::uint64_t rowsAtOnce = kCells / std::max<std::uint64_t>(leaf.width, 1) + 1;
    std::vector<std::byte> cells;
    for (std::uint64_t row = 0; row < count; row += rowsAtOnce) {
      const std::uint64_t rows = std::min(rowsAtOnce, count - row);
      cells.resize(rows * leaf.width * TextCell::kBytesInRow);
      readBlock({qxCELL, false}, leaf.first, leaf.width, firstRow + row, rows, cells.data());
      for (std::size_t at = 0; at < cells.size(); at += TextCell::kBytesInRow) {
        take(TextCell::fromRow(cells.data() + at));
      }
    }
  }

  /// The same with the bytes of each text.
  template <typename Take>
  void forEachText(const StoredColumn& leaf, std::uint64_t firstRow, std::uint64_t count, Take&& take) {
    forEachCell(leaf, firstRow, count, [&](TextCell cell) { take(text(cell)); });
  }

 protected:
  [[nodiscard]] const std::string& path() const { return path_; }

  /// How the elements of a class are stored.
  struct Storage {
    double part = 1;                     // stored bytes per byte of the elements: under 1 if they are compressed
    double textPart = 1;                 // the same of the texts' bytes
    std::optional<double> bytesPerText;  // mean of all texts of a table, if they are too many to be read
  };
  [[nodiscard]] virtual Storage storage(ElementKind kind);

 private:
  [[nodiscard]] double textBytes(const StoredColumn& leaf);

  std::string path_;
};

/// A table in the group of tables. Opens its datasets on first use.
class FileTable final : public OpenTable {
 public:
  /// @param path Of the group, for errors.
  FileTable(const Source& source, std::string path, Handle group)
      : OpenTable(std::move(path)), source_(source), group_(std::move(group)) {}

  [[nodiscard]] std::uint64_t rows() override;
  [[nodiscard]] bool isComplete() override;
  [[nodiscard]] const std::vector<StoredColumn>& columns() override;
  [[nodiscard]] const Values& values(ElementKind kind) override;
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) override;
  void readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                 std::uint64_t count, void* out) override;
  [[nodiscard]] std::string_view text(TextCell cell) override;

  /// Closes what is open and discards what was read.
  void refresh();

 private:
  /// A range of the texts' bytes in memory.
  struct Window {
    Handle dataset;
    std::uint64_t size = 0;  // of the dataset
    std::uint64_t first = 0;
    std::string bytes;
  };

  /// Runs work on a member, which its failure names.
  template <typename Work>
  decltype(auto) onMember(const std::string& name, Work&& work) const {
    return atPlace(path(), [&]() -> decltype(auto) { return atPlace(name, std::forward<Work>(work)); });
  }

  [[nodiscard]] Storage storage(ElementKind kind) override;
  [[nodiscard]] Handle open(const std::string& name) const;
  void openTimes();
  Window& openTexts();
  [[nodiscard]] std::vector<StoredColumn> readRecords();
  void takeValidRows(std::vector<StoredColumn>& columns);
  void moveWindow(std::uint64_t first, std::uint64_t count);

  Source source_;
  bool refreshed_ = false;
  Handle group_;
  Handle times_;
  std::uint64_t rows_ = 0;
  std::optional<std::vector<StoredColumn>> columns_;
  std::map<std::string, Values> values_;    // by name of the class
  std::map<std::string, Storage> storage_;  // likewise
  std::optional<Window> texts_;
};

}  // namespace vtu::qat
