/// @file
/// What the tests of the entry functions share: the objects in handles, and calls with variable arguments.
#pragma once

#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

#include "tests/runtime/qalc_support.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/utils/node.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace vtio::testing {

using NodeVector = std::vector<std::unique_ptr<core::utils::Node>>;

/// The vector of a tree-vector handle: the handle is the address of a cell that holds the vector's address.
inline NodeVector& vectorBehind(void* handle) { return **static_cast<NodeVector**>(handle); }

/// Calls an entry function with the parameters (mode, number of arguments, argument list).
inline void* callWithArguments(void* (*function)(int, int, char*), int mode, int numArgs, ...) {
  std::va_list arguments;
  va_start(arguments, numArgs);
  void* result = nullptr;
  try {
    result = function(mode, numArgs, reinterpret_cast<char*>(arguments));
  } catch (...) {
    va_end(arguments);
    throw;
  }
  va_end(arguments);
  return result;
}

/// A catalogue made by the entry function from a configuration file, as generated code gets it.
class GeneratedCatalogue {
 public:
  explicit GeneratedCatalogue(const Configuration& configuration = Configuration()) {
    const std::string name = folder_.file("configuration.qat");
    configuration.write(name);
    handle_ = mdlref_simtarget::zetGetNewVtioCatalogue(name.c_str());
  }
  GeneratedCatalogue(const GeneratedCatalogue&) = delete;
  GeneratedCatalogue& operator=(const GeneratedCatalogue&) = delete;
  ~GeneratedCatalogue() { terminate(); }

  void terminate() {
    if (handle_ != nullptr) {
      mdlref_simtarget::zetTerminateVtioCatalogue(&handle_);
    }
  }
  void*& handle() { return handle_; }
  core::client::Catalogue* get() {
    return handle_ == nullptr
               ? nullptr
               : static_cast<core::client::Catalogue*>(mdlref_simtarget::zetGetPointerFromUniquePtr(handle_));
  }
  core::client::Catalogue* operator->() { return get(); }

 private:
  TemporaryFolder folder_;
  void* handle_ = nullptr;
};

}  // namespace vtio::testing
