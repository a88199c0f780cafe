/// @file
/// An open results file: its signals, and where their samples are read.
///
///     vtio::results::ResultsFile file("results.qat");
///     const auto& speed = file.find("wheels.speed");
///     vtio::results::Series samples = vtio::results::readSeries(file, speed);
///
/// Related: series.hpp for one signal, table_block.hpp for many.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "results/export.hpp"
#include "results/file/sample_source.hpp"
#include "results/signals/signal_info.hpp"

namespace vtio::results {

class QatSource;

/// What ResultsFile::refresh() found.
struct Refresh {
  bool hasChanged = false;     ///< numbers of samples, or more
  bool isSteppedBack = false;  ///< samples that were there are gone
  bool isReopened = false;     ///< the file was opened again: all references to signals have expired
};

/// What samples are taken over.
struct Axis {
  std::string name = "time";
  std::string unit = "s";

  /// "time [s]"
  [[nodiscard]] std::string title() const { return unit.empty() ? name : name + " [" + unit + "]"; }
};

/// Reads a file's signal list when opened, samples when asked. Used by one thread at a time.
class VTIO_RESULTS_EXPORT ResultsFile final {
 public:
  /// Opens a Qat file.
  /// @throws ResultsError naming the file if it cannot be read.
  explicit ResultsFile(const std::string& path);

  /// Results from elsewhere. `path` is what messages call them.
  ResultsFile(std::string path, std::vector<SignalInfo> signals, std::unique_ptr<SampleSource> source,
              bool isComplete = true, Axis axis = {});
  ResultsFile(ResultsFile&&) noexcept = default;
  ResultsFile& operator=(ResultsFile&&) noexcept = default;
  ~ResultsFile() = default;

  [[nodiscard]] const std::string& path() const { return path_; }

  [[nodiscard]] const Axis& axis() const { return axis_; }

  /// False while another program writes the file, and when its writer ended before it closed the file.
  [[nodiscard]] bool isComplete() const { return complete_; }

  /// Whether a run writes the file, as it was when it was opened or last refreshed.
  [[nodiscard]] bool isGrowing() const { return isGrowing_; }

  /// All signals in file order; valid until the file is opened again.
  [[nodiscard]] std::span<const SignalInfo> signals() const { return signals_; }

  /// The signal of a name; null if there is none.
  [[nodiscard]] const SignalInfo* lookUp(std::string_view name) const;

  /// The signal of a name.
  /// @throws ResultsError that suggests near names.
  [[nodiscard]] const SignalInfo& find(std::string_view name) const;

  /// Signals that match any of the patterns, each once, in file order; all if there is no pattern.
  /// @throws ResultsError for a pattern that matches nothing, with near names.
  [[nodiscard]] std::vector<const SignalInfo*> select(std::span<const std::string> patterns) const;

  /// The same, where a pattern may match nothing.
  [[nodiscard]] std::vector<const SignalInfo*> selectAny(std::span<const std::string> patterns) const;

  /// Bytes that a signal's samples take in the file, without their times, which other signals share: those of its
  /// columns, of compressed ones its share, and of its texts (vtu::QatSamples::storedBytes()). Samples that are no
  /// columns of a table, or in no file: their bytes in memory.
  [[nodiscard]] std::uint64_t storedBytes(const SignalInfo& signal) const;

  /// The samples.
  [[nodiscard]] SampleSource& source() const { return *source_; }

  /// Takes in the samples that came since, by reading how many there are. A file that its writer has closed, or that
  /// another one has replaced, is opened again.
  /// @throws ResultsError if it cannot be read any more; it then has no signals until another call succeeds.
  Refresh refresh();

  /// Closes a file that nobody writes, so that another program may, until samples are read again: reading them throws
  /// ResultsError if the file was changed meanwhile. No effect on a file that a run is writing.
  void release() const;

 private:
  [[nodiscard]] std::string noSignal(const std::string& what, std::string_view name) const;
  void indexNames();
  void open();
  Refresh reopen();
  Refresh readLengths();

  std::string path_;
  Axis axis_;
  bool complete_ = true;
  bool isGrowing_ = false;  // a run is writing it
  std::string state_;       // what tells the file from another one, or from itself when it was changed
  std::vector<SignalInfo> signals_;
  std::unordered_map<std::string_view, std::size_t> byName_;
  std::unique_ptr<SampleSource> source_;
  QatSource* qat_ = nullptr;  // source_, if it is that of a Qat file
};

}  // namespace vtio::results
