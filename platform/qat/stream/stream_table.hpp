/// @file
/// One sample table of a file that is being streamed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/qat/sample_format.hpp"
#include "platform/qat/stream/growing_dataset.hpp"
#include "platform/qat/stream/row_counts.hpp"
#include "platform/qat/write/signal_names.hpp"
#include "platform/qat_stream.hpp"

namespace vtu::qat {

/// Appends rows to the datasets of a table and keeps account of the leaves' valid rows. Every function throws Failure.
class StreamedTable final {
 public:
  /// Makes the datasets and writes the records; no rows yet. Borrows the kit and the guard.
  /// @param chunkBytes Memory for a chunk of each dataset.
  StreamedTable(Kit& kit, const DiskGuard& guard, Handle group, const std::vector<SampleColumn>& leaves,
                std::size_t chunkBytes, SignalNames& names);

  /// To be called when the table is in the file: makes the counts of rows known.
  void linkCounts() const { rowCounts_->link(group_.get()); }

  /// Opens the datasets again after close(); the counts are not linked. @param group As it is in the file now.
  void reopen(Kit& kit, const DiskGuard& guard, Handle group);

  void append(const SampleTable& source, std::uint64_t first, std::uint64_t count);

  /// Puts rows in place of those from `at` on. Samples that readers know of keep their values, and where they stand.
  void overwrite(std::uint64_t at, const SampleTable& source, std::uint64_t first, std::uint64_t count);

  [[nodiscard]] std::uint64_t rows() const { return rows_; }

  /// Sets the row before which a leaf ended; none: it takes part in all rows.
  void endLeaf(std::uint32_t leaf, std::optional<std::uint64_t> row);

  /// Takes rows back, and with them the ends of leaves after them. Readers still see the old counts.
  void rewind(std::uint64_t rows);

  /// Gives all rows to the file system; readers still see the old counts.
  void flushRows();

  /// Makes the valid rows known to readers.
  void writeCounts();

  /// Lets readers forget the samples that have been taken back.
  void takeBackCounts();

  /// Elements of one class: `width` columns of `count` rows.
  struct Block {
    ElementKind kind;
    std::uint64_t column, width;
    std::uint64_t first, count;
  };

  /// Calls use(block, offset) for each block of elements in bytes [offset, offset + bytes) of a row.
  template <typename Use>
  void forEachBlock(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                    const Use& use) const {
    for (const Part& part : parts_) {
      const std::size_t element = elementBytes(part.kind);
      for (const Run& run : part.runs) {
        const std::size_t from = std::max(offset, run.offset), to = std::min(offset + bytes, run.offset + run.bytes);
        if (from >= to) continue;
        use(Block{part.kind, run.column + (from - run.offset) / element, (to - from) / element, first, count}, from);
      }
    }
  }

  /// Read while the file is written.
  void read(const Block& block, void* out);
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) { times_->read(first, count, 0, 1, out); }
  /// @return utf8
  const std::string& readText(TextCell cell, std::string& utf8);
  /// Bytes [offset, offset + bytes) of samples of one leaf; texts as cells.
  void readLeaf(std::uint32_t leaf, std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                std::byte* out);

  /// Samples of a leaf.
  [[nodiscard]] std::uint64_t count(std::uint32_t leaf) const;

  /// Lets go of the file.
  void close();

 private:
  /// Leaves that stand side by side in the dataset and in the rows.
  struct Run {
    std::uint64_t column;  // first in the dataset
    std::size_t offset;    // in a row, in bytes
    std::size_t bytes;
  };
  struct Part {
    ElementKind kind;
    std::uint64_t width = 0;
    std::vector<Run> runs;
    std::optional<GrowingDataset> dataset;
  };
  struct Leaf {
    ElementKind kind;
    std::uint64_t column;  // first in the dataset of its kind
    std::uint64_t begin;
    std::optional<std::uint64_t> end;
  };

  [[nodiscard]] bool mustTakeBack() const;
  void makeParts(const std::vector<SampleColumn>& leaves);
  void appendTimes(const SampleTable& source, std::uint64_t first, std::uint64_t count);
  void appendPart(Part& part, const SampleTable& source, std::uint64_t first, std::uint64_t count);
  void rewindDatasets();
  void takeTexts(const SampleTable& source, std::byte* rows, std::uint64_t first, std::uint64_t count,
                 const Part& part);
  void keepTexts(std::uint64_t first, std::uint64_t count);
  [[nodiscard]] TextCell keptText(std::uint64_t row, std::uint64_t column, std::uint64_t width);
  [[nodiscard]] std::vector<std::uint64_t> counts() const;
  [[nodiscard]] GrowingDataset::Row rowOf(Kit& kit, const Part& part) const;

  Handle group_;
  std::optional<RowCounts> rowCounts_;
  std::vector<Part> parts_;
  std::optional<GrowingDataset> times_, texts_;
  std::vector<Leaf> leaves_;
  std::uint64_t rows_ = 0;
  std::vector<std::uint64_t> counted_;  // samples that readers know of, by leaf
  bool countsChanged_ = false;
  std::string text_, keptText_;
  std::vector<std::byte> keptTexts_;  // cells of rows that are overwritten
  std::uint64_t firstKept_ = 0;       // the first of these rows
};

}  // namespace vtu::qat
