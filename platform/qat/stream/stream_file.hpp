/// @file
/// The file behind a QatStream: what is in it, and in which order it is written.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/qat/stream/stream_lock.hpp"
#include "platform/qat/stream/stream_table.hpp"

namespace vtu::qat {

/// Order is what makes the file readable at every moment: objects are made before concurrent readers are let in; rows
/// are flushed before they are counted; counts are taken back before rows are overwritten. Every function throws Failure.
class StreamFile final {
 public:
  explicit StreamFile(std::string name);
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;
  ~StreamFile();

  [[nodiscard]] const std::string& name() const { return name_; }

  void layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables);
  void append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count);
  void endLeaf(std::uint32_t table, std::uint32_t leaf);
  void flush(bool toDisk);
  [[nodiscard]] QatStream::Mark mark() const;
  void stepBack(const QatStream::Mark& mark);
  void close();
  void reopen();

 private:
  enum class State { empty, live, closed, abandoned };
  struct End {
    std::uint32_t table, leaf;
  };

  template <typename Work>
  void writing(Work&& work);
  void requireLive() const;
  void create();
  void open();
  void takeDescriptor(hid_t accessList);
  void letReadersIn();
  void flushLibrary();
  void writeCounts();
  void releaseHandles();
  void endLeafAt(std::uint32_t table, std::uint32_t leaf, std::uint64_t row);
  void abandon();
  StreamedTable& table(std::uint32_t number) { return *tables_.at(number); }

  std::string name_;
  std::optional<StreamLock> lock_;
  State state_ = State::empty;
  std::unique_ptr<Kit> kit_;
  Handle file_, root_;
  int descriptor_ = -1;  // HDF5's own
  int spare_ = -1;       // a duplicate, for the time after HDF5 has let go
  DiskGuard guard_{-1};
  bool full_ = false;  // the disk: nothing more is appended
  std::vector<std::unique_ptr<StreamedTable>> tables_;
  std::vector<End> ends_;  // in the order in which they came
};

}  // namespace vtu::qat
