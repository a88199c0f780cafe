/// @file
/// Diagnostics: errors with an identity, arguments, and a sentence for the user.
///
///     vtsvThrowIExceptionFromDiagnostic(
///         vtsvCreateDiagnostic("Vortan:FileIO", "ToFromFileOpenCloseErr", {u"results.qat"}));
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "platform/export.hpp"
#include "platform/text.hpp"

namespace vtsv {

/// What went wrong, in a form that programs can compare.
struct Diagnostic {
  std::string identifier;               ///< the area, for example "Vortan:FileIO"
  std::string key;                      ///< the error within the area
  std::vector<vtu::ustring> arguments;  ///< what the message names, for example a file
};

/// A diagnostic that was thrown.
class VTIO_PLATFORM_EXPORT IException : public std::exception {
 public:
  explicit IException(Diagnostic diagnostic);
  IException(const IException&) = default;
  IException(IException&&) = default;
  IException& operator=(const IException&) = default;
  IException& operator=(IException&&) = default;
  ~IException() override;

  [[nodiscard]] const Diagnostic& diagnostic() const { return diagnostic_; }

  /// The message in UTF-8, from the embedded catalogue; valid as long as the exception.
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

 private:
  Diagnostic diagnostic_;
  std::string message_;
};

}  // namespace vtsv

/// Makes a diagnostic. A null identifier or key counts as empty.
VTIO_PLATFORM_EXPORT vtsv::Diagnostic vtsvCreateDiagnostic(const char* identifier, const char* key,
                                                           std::vector<vtu::ustring> arguments);

/// Throws a diagnostic as vtsv::IException.
[[noreturn]] VTIO_PLATFORM_EXPORT void vtsvThrowIExceptionFromDiagnostic(const vtsv::Diagnostic&);
