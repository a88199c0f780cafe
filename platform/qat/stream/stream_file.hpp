/// @file
/// The file behind a QatStream: what is in it, and in which order it is written.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/qat/file.hpp"
#include "platform/qat/read/open_tables.hpp"
#include "platform/qat/stream/leaf_places.hpp"
#include "platform/qat/stream/ring_log.hpp"
#include "platform/qat/stream/stray_log.hpp"
#include "platform/qat/stream/stream_lock.hpp"
#include "platform/qat/stream/stream_table.hpp"
#include "platform/qat/stream/streamed_leaves.hpp"

namespace vtu::qat {

/// Order is what makes the file readable at every moment: objects are made before concurrent readers are let in; rows
/// are flushed before they are counted; counts are taken back before rows are overwritten. Every function throws
/// Failure.
class StreamFile final {
 public:
  explicit StreamFile(std::string name);
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;
  ~StreamFile();

  [[nodiscard]] const std::string& name() const { return name_; }

  void layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables,
              std::span<const StreamRing> rings);
  void append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count);
  void overwrite(std::uint32_t table, std::uint64_t at, const SampleTable& source, std::uint64_t first,
                 std::uint64_t count);
  void append(const StrayBuffer& strays);
  void keep(LeafPlace leaf, std::uint64_t samples);
  void endLeaf(std::uint32_t table, std::uint32_t leaf, std::optional<std::uint64_t> row);
  void putNewest(std::uint32_t ring, std::span<const RingSamples> samples);
  void cutNewest(std::uint32_t ring, const std::function<std::uint64_t(std::uint32_t)>& endOf);
  [[nodiscard]] QatStream::Newest newest(std::uint32_t ring, std::uint32_t position) const {
    return rings_.ring(ring).newest(position);
  }
  void flush(bool toDisk);
  [[nodiscard]] QatStream::Mark mark() const;
  void stepBack(const QatStream::Mark& mark);
  void close(std::span<const StreamVariable> variables, std::span<const StreamRing> rings);
  void reopen();
  /// Lets others write the file. Nothing but reading may follow.
  void release() { lock_.reset(); }

  void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out);
  /// As SampleTable does. Texts are put into `texts`, and the cells point there.
  void readRows(std::uint32_t table, std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                std::byte* out, std::size_t stride, std::unordered_set<std::string>& texts);
  /// The same of leaves with strays.
  void readTimes(const StreamedLeaves& leaves, std::uint64_t first, std::uint64_t count, double* out);
  void readRows(const StreamedLeaves& leaves, std::uint64_t first, std::uint64_t count, std::size_t offset,
                std::size_t bytes, std::byte* out, std::size_t stride, std::unordered_set<std::string>& texts);

  /// close() will say where these leaves are then. @param table What stands for them in variables.
  void keepPlaces(const SampleTable& table, const std::shared_ptr<StreamedLeaves>& leaves);
  [[nodiscard]] std::optional<LeafPlace> placeOf(LeafPlace leaf) const { return places_.find(leaf); }
  [[nodiscard]] std::uint64_t rows(std::uint32_t table) const { return tables_.at(table)->rows(); }
  [[nodiscard]] std::uint64_t count(std::uint32_t table, std::uint32_t leaf) const {
    return tables_.at(table)->count(leaf);
  }

 private:
  /// A plain file that is read.
  struct Reading {
    std::unique_ptr<File> file;  // null: it is the one that is being finished
    std::optional<OpenTables> tables;
  };
  enum class State { empty, live, closed, abandoned };

  template <typename Work>
  void writing(Work&& work);
  void requireLive() const;
  void create();
  void open();
  void takeRoot();
  void letReadersIn();
  void flushLibrary();
  void requireWritten() const;
  void writeCounts();
  void releaseHandles();
  void finish(std::span<const StreamVariable> variables, std::span<const StreamRing> rings, bool hasStrays);
  OpenTables& plainTables();
  void linkCounts();
  std::uint64_t rowsBefore(LeafPlace leaf);
  std::uint64_t rowsBeforeStrays(LeafPlace leaf, std::uint64_t first, std::uint64_t count);
  void readLive(const StreamedLeaves::Leaf& leaf, std::uint64_t first, std::uint64_t count, std::size_t offset,
                std::size_t bytes, std::byte* out, std::unordered_set<std::string>& texts);
  void noteLeafPlaces(File& file);
  void readLeaf(const StreamedLeaves::Leaf& leaf, std::uint64_t first, std::uint64_t count, std::size_t offset,
                std::size_t bytes, std::byte* out, std::unordered_set<std::string>& texts);
  void readBlock(std::uint32_t table, const StreamedTable::Block& block, std::byte* out,
                 std::unordered_set<std::string>& texts);
  void abandon(const std::string& reason);
  StreamedTable& table(std::uint32_t number) { return *tables_.at(number); }

  std::string name_;
  std::optional<StreamLock> lock_;
  State state_ = State::empty;
  std::shared_ptr<std::string> failure_ = std::make_shared<std::string>();  // why nothing is written any more
  std::unique_ptr<Kit> kit_;
  Handle file_, root_;
  DiskGuard guard_{-1};
  File* finishing_ = nullptr;  // while it is made a plain file
  std::unique_ptr<Reading> reading_;
  bool full_ = false;  // the disk: nothing more is appended
  std::vector<std::unique_ptr<StreamedTable>> tables_;
  std::optional<StrayLog> strays_;  // while the file is written
  RingLog rings_;
  LeafPlaces places_;
  std::vector<std::pair<const SampleTable*, std::weak_ptr<StreamedLeaves>>> leafTables_;
};

}  // namespace vtu::qat
