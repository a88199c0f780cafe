/// @file
/// One open Qat file: its variables, and what happens to it when the disk is full.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/qat/descriptor.hpp"
#include "platform/qat/file_bytes.hpp"
#include "platform/qat/integrity/integrity.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/read/source.hpp"
#include "platform/qat/stray_format.hpp"
#include "platform/qat/write/writer.hpp"

namespace vtu::qat {

/// An open file. Every operation throws Failure. Not synchronised: HDF5 work runs under one lock of the process.
///
/// The file is locked as long as it is open: for readers alone, or for one writer. Reading never writes.
///
/// A variable is written and flushed without a link, and only then linked into the root group and flushed again, so
/// that a write that fails half-way leaves the variables that were there before. After such a failure the file is
/// abandoned: HDF5 closes it without writing to it, and further calls fail.
class File final {
 public:
  enum class Mode { read, create, update };

  /// Who opens it. The one that streams into a file keeps others from changing it (stream/stream_lock.hpp) and takes no
  /// further lock.
  enum class Owner { anybody, stream };

  /// Opens a file. A file whose writer died while it streamed is completed when it is opened for changes.
  /// @param name UTF-8 file name.
  /// @param streamedRows The tables of a stream keep so many rows, those of no leaf included.
  static std::unique_ptr<File> open(const std::string& name, Mode mode, Owner owner = Owner::anybody,
                                    std::span<const std::uint64_t> streamedRows = {});

  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] qalc::ArrayPtr get(const std::string& variable);
  void put(const std::string& variable, const qxArray& array);

  /// Puts several variables at once. @param withoutStrays They have the strays: the log is removed with that.
  void putAll(std::span<const std::pair<std::string, const qxArray*>> variables, bool withoutStrays);
  void remove(const std::string& variable);
  [[nodiscard]] std::vector<std::string> variables();

  /// What reading needs; valid until the file is changed or closed.
  [[nodiscard]] Source source();

  /// Keeps the tables below a number whether a variable refers to them or not.
  void keepTables(std::uint32_t below) { keptTables_ = below; }

  /// The samples of these leaves will be in other tables when all variables are put.
  void leave(std::set<LeafPlace> leaves) { leaving_ = std::move(leaves); }

  /// Where the tables in memory that were put are in the file: the record of each leaf by its offset in a row, those
  /// without bytes apart. Kept for the one that streams into the file.
  using Places = std::map<const SampleTable*, SampleStore::LeafRecords>;
  [[nodiscard]] const Places& places() const { return places_; }

  /// Closes the file; nothing else may be called afterwards. @throws Failure when what was written is not all in the
  /// file.
  void close();

 private:
  File(std::string name, Mode mode, Owner owner);

  void openExisting(std::span<const std::uint64_t> streamedRows);
  void create();
  void openLibraryFile(unsigned flags);
  void takeRoot();
  void placeStrays();
  void requireWritten();
  void checkFormat();
  void fileChanged();
  void requireUsable() const;
  void requireWritable() const;
  [[nodiscard]] bool has(const std::string& link) const;
  void requireSamplesChangeable();
  [[nodiscard]] Handle stage(const std::string& name, const qxArray& array);
  [[nodiscard]] bool link(const Handle& staging, const std::string& link);
  [[nodiscard]] bool unlink(const std::string& link);
  void removeUnusedTables();
  void flush();
  [[nodiscard]] haddr_t endOfFile() const;
  void reserve() const;
  void settle();
  void abandon(const std::string& reason);
  template <typename Work>
  void abandoningOnFailure(Work&& work);
  [[nodiscard]] bool holds(haddr_t address, const qxArray& array);

  std::string name_;
  Mode mode_;
  Owner owner_;
  bool live_ = false;                                                       // it is read while it may grow
  Descriptor descriptor_;                                                   // holds the lock
  FileBytes bytes_;                                                         // through it
  Integrity integrity_;                                                     // reads bytes_
  std::shared_ptr<std::string> failure_ = std::make_shared<std::string>();  // why nothing is written any more
  Handle file_;
  Handle root_;
  Kit kit_;
  std::set<std::string> written_;  // links to variables of this session
  SharedObjects shared_;
  SampleStore samples_{kit_, name_};
  Places places_;
  std::set<LeafPlace> leaving_;
  std::uint32_t keptTables_ = 0;  // tables below this number are never removed
};

}  // namespace vtu::qat
