/// @file
/// What the tests of streamed runs share.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <string>

#include "platform/qat.hpp"
#include "tests/recorders/recording_fixture.hpp"

namespace recording {

inline constexpr const char* kVariable = "DATASET_SIGNAL_LOGGING";

inline const qxArray* elementsOf(const qxArray* variable) {
  return qxGetField(qxGetField(variable, 0, "Dataset"), 0, "Elements");
}

/// The element of a name; null if there is none.
inline const qxArray* elementOf(const qxArray* variable, const std::string& name) {
  const qxArray* elements = elementsOf(variable);
  for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
    const qxArray* element = qxGetCell(elements, i);
    if (text(qxGetField(element, 0, "Name")) == name) return element;
  }
  return nullptr;
}

/// Does the work in a process of its own, which ends then.
template <typename Work>
pid_t runElsewhere(const Work& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  return child;
}

/// Attaches one more scalar signal and returns its accessor.
inline std::unique_ptr<Scalar> attachScalar(Catalogue& catalogue, RecordingSession& session, std::size_t port,
                                            const char16_t* name = u"x", unsigned long maxPoints = 0) {
  const SignalDescriptor& descriptor = catalogue.createSignalDescriptor(
      {.root = leaf(name), .name = name, .blockPath = {u"b"}, .port = port, .maxPoints = maxPoints});
  auto accessor = std::make_unique<Scalar>(descriptor, catalogue.disabledLoggingIntervals());
  session.attach(descriptor, *accessor);
  return accessor;
}

}  // namespace recording
