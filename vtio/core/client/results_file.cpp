#include "vtio/core/client/results_file.hpp"

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"

namespace vtio::core::client {

std::string writeResults(Catalogue& catalogue, const ustring& fileName) {
  QatFile* file = qatOpen(vtu::to_string(fileName).c_str(), "w7.3");
  if (file == nullptr) {
    vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic("Vortan:FileIO", "ToFromFileOpenCloseErr", {fileName}));
  }
  std::string failure;
  const auto note = [&failure](int result) {
    if (result != 0 && failure.empty()) failure = qatLastError();
  };
  for (const Catalogue::ResultsVariable& variable : catalogue.resultsVariables()) {
    const vtu::qxArrayWrapper value = catalogue.resultsArray(variable);
    if (!value) continue;
    const vtu::qxArrayWrapper copy(qxShareArray(value.get()));
    note(qatPutVariable(file, variable.key.c_str(), copy.get()));
  }
  note(qatClose(file));  // an exception before this leaves the file open
  return failure;
}

}  // namespace vtio::core::client
