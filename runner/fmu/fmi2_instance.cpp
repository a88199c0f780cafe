#include "runner/fmu/fmi2_instance.hpp"

#include <cstdarg>
#include <cstdio>

namespace vtio::runner {

Fmi2Functions::Fmi2Functions(const SharedLibrary& library) {
  library.require(instantiate, "fmi2Instantiate");
  library.require(freeInstance, "fmi2FreeInstance");
  library.require(setupExperiment, "fmi2SetupExperiment");
  library.require(enterInitialization, "fmi2EnterInitializationMode");
  library.require(exitInitialization, "fmi2ExitInitializationMode");
  library.require(terminate, "fmi2Terminate");
  library.require(getReal, "fmi2GetReal");
  library.require(getInteger, "fmi2GetInteger");
  library.require(getBoolean, "fmi2GetBoolean");
  library.require(getString, "fmi2GetString");
  library.require(setReal, "fmi2SetReal");
  library.require(setInteger, "fmi2SetInteger");
  library.require(setBoolean, "fmi2SetBoolean");
  library.require(setString, "fmi2SetString");
  library.take(getState, "fmi2GetFMUstate");
  library.take(setState, "fmi2SetFMUstate");
  library.take(freeState, "fmi2FreeFMUstate");
}

void logFmi2Message(void* environment, const char* /*instance*/, int /*status*/, const char* category,
                    const char* format, ...) {
  const auto& sink = *static_cast<const MessageSink*>(environment);
  if (!sink || format == nullptr) return;
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);  // NOLINT(clang-analyzer-valist.Uninitialized): started above
  va_end(arguments);
  sink(category != nullptr ? category : "", text);
}

}  // namespace vtio::runner
