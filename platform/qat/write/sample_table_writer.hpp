/// @file
/// Writes one sample table.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/qat/kit.hpp"
#include "platform/qat/write/dataset_writer.hpp"
#include "platform/qat/write/signal_names.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {

/// What of a table in memory goes to a file: all rows that one of the columns has.
struct SampleSelection {
  const SampleTable* table = nullptr;
  std::vector<const SampleColumn*> columns;  ///< by offset in a row; they become the records in this order
  std::uint64_t first = 0;                   ///< first row
  std::uint64_t count = 0;                   ///< number of rows
};

/// Whether a leaf has the samples of another one, under another name: they are stored once.
[[nodiscard]] bool sharesSamples(const SampleColumn& leaf, const SampleColumn& other);

/// The columns of one element class: what one dataset holds.
struct SampleClass {
  ElementKind kind;
  std::vector<const SampleColumn*> columns;  ///< those that share samples with the one before left out
  std::vector<std::uint64_t> firsts;         ///< of each, its first column in the dataset
  std::uint64_t width = 0;                   ///< columns of the dataset
};

/// Writes times, values and records of a table into a group. Values are copied chunk by chunk, about a megabyte each,
/// and the chunks written directly. Does not own its arguments. Its functions throw Failure.
class SampleTableWriter final {
 public:
  SampleTableWriter(Kit& kit, hid_t group, const SampleSelection& selection);

  void writeTimes();
  void writeValues();

  /// Writes the records. @param names Names taken by other signals of the file; grows.
  void writeRecords(SignalNames& names);

 private:
  struct Chunks;

  std::vector<SampleClass>::iterator classOf(ElementKind kind);
  void writeNumbers(const SampleClass& leaves);
  void writeTexts(const SampleClass& leaves);
  Chunks makeChunks(const SampleClass& leaves);

  Kit& kit_;
  hid_t group_;
  DatasetWriter datasets_;
  const SampleSelection& selection_;
  std::vector<SampleClass> classes_;
  std::vector<std::uint64_t> firsts_;  // of each column of the selection
};

}  // namespace vtu::qat
