/// @file
/// A dataset that grows by rows, and whose newest rows may be taken back.
///
///     GrowingDataset times(kit, guard, group, "Time", {type, 8, 0}, 8192);
///     times.append(bytes, rows);
///     times.flush();
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/qat/hdf5.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/stream/disk_guard.hpp"

namespace vtu::qat {

/// Makes a dataset of no rows, which may grow. @param columns 0: it has one axis only. @throws Failure
[[nodiscard]] Handle makeGrowingDataset(Kit& kit, hid_t group, const std::string& name, hid_t type,
                                        std::uint64_t columns, std::uint64_t chunkRows);

/// Collects rows in the memory of one chunk. A full chunk is written directly; flush() writes what is new of the last.
/// The extents grow by whole chunks and never shrink while the file is written. Every function throws Failure.
class GrowingDataset final {
 public:
  /// What a row is.
  struct Row {
    hid_t type;             ///< of an element; borrowed
    std::size_t element;    ///< bytes
    std::uint64_t columns;  ///< 0: the dataset has one axis only
  };

  /// Makes the dataset. Borrows the guard.
  GrowingDataset(Kit& kit, const DiskGuard& guard, hid_t group, const std::string& name, Row row,
                 std::uint64_t chunkRows);
  /// Goes on with a dataset that is there; all its rows are valid.
  GrowingDataset(const DiskGuard& guard, hid_t group, const std::string& name, Row row);

  [[nodiscard]] std::uint64_t rows() const { return rows_; }
  [[nodiscard]] std::size_t rowBytes() const { return rowBytes_; }

  /// Room in memory for rows after the last one. @param count In: wanted; out: there is room for so many, at least 1.
  [[nodiscard]] std::byte* room(std::uint64_t& count);

  /// Takes over rows that were put into room().
  void commit(std::uint64_t count);

  /// Copies rows.
  void append(const void* bytes, std::uint64_t count);

  /// Gives all rows to the file system.
  void flush();

  /// Reads `width` columns of rows; those of a dataset with one axis are its elements.
  void read(std::uint64_t first, std::uint64_t count, std::uint64_t column, std::uint64_t width, void* out);

  /// Takes rows back; `rows` stay.
  void rewind(std::uint64_t rows);

 private:
  [[nodiscard]] std::uint64_t inChunk() const { return rows_ - chunkStart_; }
  void grow();
  void writeChunk();
  void writeNew();
  void setExtent(std::uint64_t rows);

  const DiskGuard* guard_;
  Row row_;
  Handle dataset_;
  std::size_t rowBytes_;
  std::uint64_t chunkRows_ = 1;
  std::uint64_t extent_ = 0;      // rows of the dataset
  std::uint64_t rows_ = 0;        // valid ones, those in memory included
  std::uint64_t chunkStart_ = 0;  // first row of the chunk in memory
  std::uint64_t written_ = 0;     // rows that the file system has; at least chunkStart_
  bool stored_ = false;           // the chunk is in the file already
  std::vector<std::byte> chunk_;  // rows before written_ may be missing
};

}  // namespace vtu::qat
