/// @file
/// Qat files: named Qalc arrays on disk.
///
///     vtu::QatFileWrapper file("results.qat", "w7.3");
///     if (file.put("logsout", array.get()) != 0 || file.close() != 0) std::fprintf(stderr, "%s\n", qatLastError());
///
/// Nothing is printed, and nothing fails by throwing: each function returns its failure, and qatLastError() says it in
/// words. A file is used by one thread at a time. Every array round-trips exactly, and so does a variable whose name is
/// empty. See also qalc.hpp for arrays, qat_parts.hpp for reading parts of a file.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/export.hpp"
#include "platform/qalc.hpp"

/// An open file; opaque.
struct QatFile;

/// Opens a file.
/// @param name UTF-8 file name.
/// @param mode "r" reads, "w" and "w7.3" create or truncate, "u" updates an existing file.
/// @return The file, released with qatClose(); nullptr on failure, also for a missing file or an unknown mode.
VTIO_PLATFORM_EXPORT QatFile* qatOpen(const char* name, const char* mode);

/// Reads a variable.
/// @return An array that the caller owns; nullptr if the variable is absent or unreadable, or the file is null.
VTIO_PLATFORM_EXPORT qxArray* qatGetVariable(QatFile*, const char* name);

/// Writes a variable and flushes it. A variable of the same name is replaced and moves to the end of the order.
/// @return 0 on success, else an error code.
VTIO_PLATFORM_EXPORT int qatPutVariable(QatFile*, const char* name, const qxArray*);

/// Removes a variable.
/// @return 0 on success, else an error code.
VTIO_PLATFORM_EXPORT int qatDeleteVariable(QatFile*, const char* name);

/// Names of the variables in the order written.
/// @param count Receives the number of names; -1 on failure.
/// @return The names, all released by one qxFree(); nullptr on failure.
VTIO_PLATFORM_EXPORT char** qatGetVariableNames(QatFile*, int* count);

/// Closes a file and releases it whatever the result.
/// @return 0 on success, else an error code; nullptr gives an error code.
VTIO_PLATFORM_EXPORT int qatClose(QatFile*);

/// What the last failing call on this thread says, in words; valid until the next failing call on this thread.
VTIO_PLATFORM_EXPORT const char* qatLastError();

namespace vtu {

/// Sole owner of an open file; empty if it could not be opened.
///
/// Everything may be called on an empty owner and fails then. What is returned must be looked at; a file that was written
/// is closed with close(), because the destructor cannot say that closing failed.
class QatFileWrapper {
 public:
  /// @param taken The file to own, or nullptr.
  explicit QatFileWrapper(QatFile* taken = nullptr) noexcept : file_(taken) {}

  /// Opens a file as qatOpen() does.
  QatFileWrapper(const char* name, const char* mode) : file_(qatOpen(name, mode)) {}
  QatFileWrapper(const std::string& name, const char* mode) : QatFileWrapper(name.c_str(), mode) {}

  QatFileWrapper(QatFileWrapper&& other) noexcept : file_(other.release()) {}
  QatFileWrapper& operator=(QatFileWrapper&& other) noexcept {
    if (this != &other) {
      reset();
      file_ = other.release();
    }
    return *this;
  }
  QatFileWrapper(const QatFileWrapper&) = delete;
  QatFileWrapper& operator=(const QatFileWrapper&) = delete;
  ~QatFileWrapper() { reset(); }

  /// The file, still owned; nullptr if empty.
  [[nodiscard]] QatFile* get() const noexcept { return file_; }
  explicit operator bool() const noexcept { return file_ != nullptr; }
  friend bool operator==(const QatFileWrapper& owner, std::nullptr_t) noexcept { return !owner; }

  /// Gives the file to the caller and becomes empty.
  [[nodiscard]] QatFile* release() noexcept { return std::exchange(file_, nullptr); }

  /// Reads a variable; empty if it is absent or unreadable.
  [[nodiscard]] qxArrayWrapper variable(const char* name) const { return qxArrayWrapper(qatGetVariable(file_, name)); }

  /// Names of the variables in the order written; nothing on failure.
  [[nodiscard]] std::optional<std::vector<std::string>> names() const {
    int count = 0;
    char** list = qatGetVariableNames(file_, &count);
    if (list == nullptr) return {};
    std::vector<std::string> names(list, list + count);
    qxFree(list);
    return names;
  }

  /// Writes or replaces a variable. @return 0 on success, else an error code.
  [[nodiscard]] int put(const char* name, const qxArray* array) { return qatPutVariable(file_, name, array); }

  /// Removes a variable. @return 0 on success, else an error code.
  [[nodiscard]] int remove(const char* name) { return qatDeleteVariable(file_, name); }

  /// Closes the file and becomes empty. @return 0 on success, else an error code.
  [[nodiscard]] int close() { return qatClose(release()); }

  /// Closes the file, if there is one, whatever the result.
  void reset() noexcept {
    if (file_ != nullptr) static_cast<void>(qatClose(release()));
  }

 private:
  QatFile* file_ = nullptr;
};

}  // namespace vtu
