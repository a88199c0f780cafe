#include "runner/fmu/shared_library.hpp"

#include <dlfcn.h>

#include "runner/error.hpp"

namespace vtio::runner {

SharedLibrary::SharedLibrary(const std::filesystem::path& file)
    : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)), name_(file.filename().string()) {
  if (handle_ == nullptr) {
    const char* reason = dlerror();
    throw RunnerError(std::string("the binary cannot be loaded: ") + (reason != nullptr ? reason : "no reason given"));
  }
}

SharedLibrary::~SharedLibrary() { dlclose(handle_); }

void* SharedLibrary::find(const std::string& name, bool required) const {
  void* symbol = dlsym(handle_, name.c_str());
  if (symbol == nullptr && required) throw RunnerError("the binary has no function '" + name + "'", name_);
  return symbol;
}

}  // namespace vtio::runner
