/// @file
/// Arrays over samples in a table: one row per time, one column per leaf.
///
///     std::shared_ptr<const vtu::SampleTable> table = ...;              // from a recorder
///     vtu::SampleColumn speed{u"speed", u"m/s", {}, qxDOUBLE, false, 0, 0, table->rows()};
///     vtu::qxArrayWrapper data = vtu::sampledArray(table, speed);      // N-by-1; nothing is read yet
///     vtu::qxArrayWrapper time = vtu::sampledTimes(table, 0, table->rows());
///
/// A Qat file stores arrays over one table as one table. Related: qalc.hpp, text_bytes.hpp for the bytes of texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/export.hpp"
#include "platform/qalc.hpp"

namespace vtu {

/// A text of a row: the range of its bytes in the table's text bytes.
struct TextCell {
  static constexpr std::size_t kBytesInRow = 12;  ///< `start`, then `bytes`, without padding

  std::uint64_t start = 0;
  std::uint32_t bytes = 0;

  /// Reads a cell from kBytesInRow bytes of a row.
  [[nodiscard]] static TextCell fromRow(const std::byte* row) {
    TextCell cell;
    std::memcpy(&cell.start, row, sizeof cell.start);
    std::memcpy(&cell.bytes, row + sizeof cell.start, sizeof cell.bytes);
    return cell;
  }

  /// Writes the cell to kBytesInRow bytes of a row.
  void toRow(std::byte* row) const {
    std::memcpy(row, &start, sizeof start);
    std::memcpy(row + sizeof start, &bytes, sizeof bytes);
  }
};

/// The place of a table that is already in a Qat file, all of its rows.
struct StoredTable {
  std::string file;                                        ///< path
  std::uint32_t table = 0;                                 ///< member of `qat.samples`
  std::unordered_map<std::size_t, std::uint32_t> records;  ///< of its leaves, by their offsets in a row
};

/// Rows that were recorded at the same times. Its contents never change; its functions may be called from any thread.
///
/// Implemented by recorders. Arrays over a table share it.
class VTIO_PLATFORM_EXPORT SampleTable {
 public:
  SampleTable();
  SampleTable(const SampleTable&) = delete;
  SampleTable& operator=(const SampleTable&) = delete;
  virtual ~SampleTable();

  /// Number of rows.
  [[nodiscard]] virtual std::uint64_t rows() const = 0;

  /// Copies the times in seconds of rows [first, first + count).
  virtual void readTimes(std::uint64_t first, std::uint64_t count, double* out) const = 0;

  /// Copies bytes [offset, offset + bytes) of each of rows [first, first + count) to out, out + stride, …
  virtual void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                        std::size_t stride) const = 0;

  /// Sets `utf8` to the bytes of a text: UTF-8, an unpaired surrogate as its three-byte form.
  /// @throws std::logic_error unless overridden: a table without texts.
  virtual void readText(TextCell cell, std::string& utf8) const;

  /// The table's place if it is already in a file, valid as long as the table; null unless overridden.
  [[nodiscard]] virtual const StoredTable* stored() const { return nullptr; }

 private:
  friend VTIO_PLATFORM_EXPORT qxArrayWrapper sampledTimes(std::shared_ptr<const SampleTable> table, std::uint64_t first,
                                                          std::uint64_t count);
  struct KnownTimes;

  std::unique_ptr<KnownTimes> knownTimes_;  // arrays of times made before and still in use
};

/// One leaf of a table.
struct SampleColumn {
  std::u16string name;            ///< the signal's name, not yet made unique in a file
  std::u16string unit;            ///< of the values
  std::vector<std::size_t> dims;  ///< of one sample; empty for a scalar
  qxClassID id = qxDOUBLE;        ///< numeric or logical; qxCELL: texts, a TextCell per element
  bool isComplex = false;
  std::size_t offset =
      0;  ///< of the values in a row: side by side, last index fastest, parts interleaved, logicals 0 or 1
  std::uint64_t first = 0;  ///< the leaf's first row
  std::uint64_t count = 0;  ///< number of its rows

  /// Bytes of one sample in a row.
  /// @throws std::length_error if they are too many.
  [[nodiscard]] VTIO_PLATFORM_EXPORT std::size_t bytes() const;
};

/// An array of dimensions (count, dims…) whose values are read from the table on first access; the sample is the
/// first index. Texts give a cell array of 1-by-N char arrays.
///
/// Such an array is stored row-major. Writing it makes it an ordinary array with values of its own.
/// @throws std::invalid_argument if the table is null, std::out_of_range if the rows are not in the table,
///   std::length_error if the values are too many; the diagnostic "Vortan:Qalc" for a class that has no samples.
[[nodiscard]] VTIO_PLATFORM_EXPORT qxArrayWrapper sampledArray(std::shared_ptr<const SampleTable> table,
                                                               const SampleColumn& column);

/// The times of rows [first, first + count), count-by-1, read on first access. Arrays of the same rows of one table
/// share their storage.
/// @throws std::invalid_argument if the table is null, std::out_of_range if the rows are not in the table.
[[nodiscard]] VTIO_PLATFORM_EXPORT qxArrayWrapper sampledTimes(std::shared_ptr<const SampleTable> table,
                                                               std::uint64_t first, std::uint64_t count);

}  // namespace vtu
