/// @file
/// One open Qat file: its variables, and what happens to it when the disk is full.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/qat/file_bytes.hpp"
#include "platform/qat/integrity/file_source.hpp"
#include "platform/qat/integrity/integrity.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/read/source.hpp"
#include "platform/qat/write/writer.hpp"

namespace vtu::qat {

/// An open file. Every operation throws Failure. Not synchronised: HDF5 work runs under one lock of the process.
///
/// A variable is written beside the root group, flushed, and only then linked into it and flushed again, so that a
/// write that fails half-way leaves the variables that were there before. After such a failure the file is abandoned: HDF5
/// lets go of it without touching it any more, and further calls fail.
class File final {
 public:
  enum class Mode { read, create, update };

  /// Who opens it: only whoever streams into a file may change it meanwhile.
  enum class Owner { anybody, stream };

  /// Opens a file. @param name UTF-8 file name.
  static std::unique_ptr<File> open(const std::string& name, Mode mode, Owner owner = Owner::anybody);

  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] qalc::ArrayPtr get(const std::string& variable);
  void put(const std::string& variable, const qxArray& array);
  void remove(const std::string& variable);
  [[nodiscard]] std::vector<std::string> variables();

  /// What reading needs; valid until the file is changed or closed.
  [[nodiscard]] Source source();

  /// Closes the file; nothing else may be called afterwards. @throws Failure when what was written is not all in the file.
  void close();

 private:
  File(std::string name, Mode mode, Owner owner);

  void openExisting();
  void finishStream();
  [[nodiscard]] bool inspect();
  void create();
  void takeDescriptor(hid_t accessList);
  void checkFormat();
  void fileChanged();
  void requireDeletable(const std::string& link);
  void requireUsable() const;
  void requireWritable() const;
  [[nodiscard]] bool has(const std::string& link) const;
  void link(const Handle& staging, const std::string& link);
  void removeUnusedTables();
  void flush();
  void reserve() const;
  void settle();
  void abandon();
  [[nodiscard]] bool holds(haddr_t address, const qxArray& array);

  std::string name_;
  Mode mode_;
  Owner owner_;
  bool live_ = false;  // somebody may be writing it, for concurrent readers
  Handle file_;
  Handle root_;
  Kit kit_;
  FileBytes bytes_{-1};  // HDF5's own descriptor
  std::optional<FileSource> source_;
  std::optional<Integrity> integrity_;  // reads source_
  int spare_ = -1;                      // a duplicate of it, for the time after HDF5 has let go
  bool abandoned_ = false;
  SharedObjects shared_;
  SampleStore samples_{kit_};
};

}  // namespace vtu::qat
