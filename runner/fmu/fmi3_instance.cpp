#include "runner/fmu/fmi3_instance.hpp"

namespace vtio::runner {

Fmi3Functions::Fmi3Functions(const SharedLibrary& library) {
  library.require(freeInstance, "fmi3FreeInstance");
  library.require(enterInitialization, "fmi3EnterInitializationMode");
  library.require(exitInitialization, "fmi3ExitInitializationMode");
  library.require(terminate, "fmi3Terminate");
  library.take(enterConfiguration, "fmi3EnterConfigurationMode");
  library.take(exitConfiguration, "fmi3ExitConfigurationMode");
  library.take(enterEventMode, "fmi3EnterEventMode");
  library.take(updateDiscreteStates, "fmi3UpdateDiscreteStates");
  library.take(getState, "fmi3GetFMUState");
  library.take(setState, "fmi3SetFMUState");
  library.take(freeState, "fmi3FreeFMUState");
  library.take(getIntervalDecimal, "fmi3GetIntervalDecimal");
  library.take(getIntervalFraction, "fmi3GetIntervalFraction");
  library.take(getShiftDecimal, "fmi3GetShiftDecimal");
  library.take(getShiftFraction, "fmi3GetShiftFraction");
}

void logFmi3Message(void* environment, int /*status*/, const char* category, const char* message) {
  const MessageSink& sink = static_cast<const Fmi3Environment*>(environment)->message;
  if (sink && message != nullptr) sink(category != nullptr ? category : "", message);
}

}  // namespace vtio::runner
