/// @file
/// A shared library and the functions in it.
#pragma once

#include <filesystem>
#include <string>

#include "runner/export.hpp"

namespace vtio::runner {

/// Loads at construction, unloads at destruction. Symbols stay private to the library.
class VTIO_RUNNER_EXPORT SharedLibrary final {
 public:
  /// @throws RunnerError with the loader's words.
  explicit SharedLibrary(const std::filesystem::path& file);
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  /// Sets a function pointer.
  /// @throws RunnerError if the library has no function of the name.
  template <typename Function>
  void require(Function*& function, const std::string& name) const {
    function = reinterpret_cast<Function*>(find(name, true));
  }

  /// Sets a function pointer, to null if there is no such function.
  template <typename Function>
  void take(Function*& function, const std::string& name) const {
    function = reinterpret_cast<Function*>(find(name, false));
  }

 private:
  [[nodiscard]] void* find(const std::string& name, bool required) const;

  void* handle_;
  std::string name_;
};

}  // namespace vtio::runner
