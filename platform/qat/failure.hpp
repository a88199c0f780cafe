/// @file
/// How the Qat code reports failures internally. The C functions of qat.hpp turn a Failure into an error code and
/// the text of qatLastError().
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// What the C functions return. Zero is success; the numbers are fixed.
enum ErrorCode : int {
  kSuccess = 0,
  kBadArgument = 1,  ///< a null handle, name or array
  kNotWritable = 2,  ///< a change asked of a file opened for reading
  kAbsent = 3,       ///< no such file or variable
  kStorage = 4,      ///< the file system or HDF5 failed: disk full, no permission, file abandoned
  kDamaged = 5,      ///< the file's content contradicts itself
  kUnsupported = 6,  ///< content that a Qat file does not hold, or a newer format version
  kOutOfMemory = 7,
  kDiskFull = 8,  ///< nothing failed yet: the room that is left is for closing a file that is being streamed
};

/// One failed operation: a code, a sentence, and the place inside the file, to which each caller adds a level.
class Failure final : public std::exception {
 public:
  Failure(ErrorCode code, std::string text) : code_(code), text_(std::move(text)) {}

  [[nodiscard]] ErrorCode code() const { return code_; }

  /// Adds one more level before the place: the innermost level is added first.
  void addOuterPlace(std::string_view level) { place_.insert(0, "/" + std::string(level)); }

  /// The sentence, with the place if there is one.
  [[nodiscard]] std::string message() const { return place_.empty() ? text_ : "at " + place_ + ": " + text_; }

  [[nodiscard]] const char* what() const noexcept override { return text_.c_str(); }

 private:
  ErrorCode code_;
  std::string text_;
  std::string place_;
};

/// The innermost reason on HDF5's error stack of this thread; for a failed system call, the system's message.
[[nodiscard]] std::string libraryReason();

/// Throws a Failure "<what>: <libraryReason()>".
[[noreturn]] void throwLibraryFailure(ErrorCode code, std::string_view what);

/// Returns a non-negative HDF5 result, throws for a negative one.
template <typename Result>
Result checked(Result result, ErrorCode code, std::string_view what) {
  if (result < 0) throwLibraryFailure(code, what);
  return result;
}

/// Runs `work`; `level` is added to the place of a Failure that it throws.
template <typename Work>
decltype(auto) atPlace(std::string_view level, Work&& work) {
  try {
    return std::forward<Work>(work)();
  } catch (Failure& failure) {
    failure.addOuterPlace(level);
    throw;
  }
}

}  // namespace vtu::qat
