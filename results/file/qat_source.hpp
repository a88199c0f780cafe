/// @file
/// The samples of a Qat file.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/qat_parts.hpp"
#include "results/file/array_tables.hpp"
#include "results/file/sample_source.hpp"

namespace vtio::results {

/// What tells a file from another one, or from itself when it was changed; empty if there is none.
[[nodiscard]] std::string stateOfFile(const std::string& path);

/// Owns the open file.
class QatSource final : public SampleSource {
 public:
  /// @throws ResultsError if the file cannot be opened.
  explicit QatSource(const std::string& path);
  ~QatSource() override;

  /// Both are null after release(), until samples are read again.
  [[nodiscard]] QatFile* file() const { return file_.get(); }
  [[nodiscard]] const vtu::QatSamples& samples() const { return *samples_; }

  /// Sees what another program wrote since. Not after release().
  /// @throws ResultsError
  void refresh();

  /// Closes the file, so that another program may write it, until samples are read again. They are refused then if the
  /// file has changed. Not for a file that is being written.
  void release();

  /// The samples that are no columns of a table; their tables have the numbers behind those of the file.
  [[nodiscard]] ArrayTables& arrays() { return *arrays_; }

  /// ResultsFile::storedBytes().
  [[nodiscard]] std::uint64_t storedBytes(const SignalInfo& signal);

  void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) override;
  void readBlock(std::uint32_t table, ElementType type, std::size_t firstColumn, std::size_t width,
                 std::uint64_t firstRow, std::uint64_t count, std::byte* out) override;
  std::vector<std::string> readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                     std::uint64_t count) override;

 private:
  void open();
  vtu::QatSamples& opened();

  std::string path_;
  std::string state_;  // of the file when it was first opened
  vtu::QatFileWrapper file_;
  std::unique_ptr<vtu::QatSamples> samples_;
  std::optional<ArrayTables> arrays_;
};

}  // namespace vtio::results
