/// @file
/// One sample table of a file that is being streamed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/qat/stream/growing_dataset.hpp"
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

  /// Opens the datasets again after close(). @param group As it is in the file now.
  void reopen(Kit& kit, const DiskGuard& guard, Handle group);

  void append(const SampleTable& source, std::uint64_t first, std::uint64_t count);

  [[nodiscard]] std::uint64_t rows() const { return rows_; }
  [[nodiscard]] bool hasEnded(std::uint32_t leaf) const;
  void endLeaf(std::uint32_t leaf, std::uint64_t row);
  /// The leaf takes part again in the rows after the last one.
  void continueLeaf(std::uint32_t leaf);

  /// Takes rows back; a leaf that ended after them must be continued. Readers still see the old counts.
  void rewind(std::uint64_t rows);

  /// True if readers know of rows that have been taken back.
  [[nodiscard]] bool mustTakeBack() const { return counted_ > rows_; }

  /// Gives all rows to the file system; readers still see the old counts.
  void flushRows();

  /// Makes the valid rows known to readers.
  void writeCounts();

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
    std::uint64_t begin;
    std::optional<std::uint64_t> end;
  };

  void makeParts(const std::vector<SampleColumn>& leaves);
  void makeCounts();
  void appendTimes(const SampleTable& source, std::uint64_t first, std::uint64_t count);
  void appendPart(Part& part, const SampleTable& source, std::uint64_t first, std::uint64_t count);
  void rewindDatasets();
  void takeTexts(const SampleTable& source, std::byte* rows, std::uint64_t count, const Part& part);
  [[nodiscard]] std::vector<std::uint64_t> counts() const;
  [[nodiscard]] GrowingDataset::Row rowOf(Kit& kit, const Part& part) const;

  Handle group_;
  Handle countsDataset_;
  std::vector<Part> parts_;
  std::optional<GrowingDataset> times_, texts_;
  std::vector<Leaf> leaves_;
  std::uint64_t rows_ = 0;
  std::uint64_t counted_ = 0;  // rows that readers know of
  bool countsChanged_ = false;
  std::string text_;
};

}  // namespace vtu::qat
