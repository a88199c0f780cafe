#include "recorders/session/save_results.hpp"

#include <map>
#include <stdexcept>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"
#include "platform/qat_stream.hpp"
#include "platform/text.hpp"
#include "recorders/session/file_replacement.hpp"

namespace vtio::recorders {
namespace {

using core::client::Catalogue;
using ResultsVariable = Catalogue::ResultsVariable;

void check(int result) {
  if (result != 0) throw std::runtime_error(qatLastError());
}

// Two datasets under one key would leave only the later one in the file.
void requireDistinctKeys(const Catalogue& catalogue, const std::vector<ResultsVariable>& variables) {
  std::map<std::string, const ResultsVariable*> seen;
  for (const ResultsVariable& variable : variables) {
    if (!catalogue.hasDataset(variable.dataset) || catalogue.clientCollection(variable.dataset).empty()) continue;
    const auto [other, isNew] = seen.emplace(variable.key, &variable);
    if (isNew) continue;
    throw std::runtime_error("the datasets '" + vtu::to_string(other->second->dataset) + "' and '" +
                             vtu::to_string(variable.dataset) + "' would both be the variable '" + variable.key + "'");
  }
}

vtu::qxArrayWrapper build(Catalogue& catalogue, const ResultsVariable& variable) {
  const auto failure = [&variable](const char* cause) {
    return std::runtime_error("the dataset '" + vtu::to_string(variable.dataset) + "' cannot be built: " + cause);
  };
  try {
    return catalogue.resultsArray(variable);
  } catch (const std::exception& error) {
    throw failure(error.what());
  } catch (...) {
    throw failure("unknown error");
  }
}

void write(Catalogue& catalogue, const std::string& fileName) {
  const std::vector<ResultsVariable> variables = catalogue.resultsVariables();
  requireDistinctKeys(catalogue, variables);
  if (vtu::isStreamed(fileName)) throw std::runtime_error("a run streams into it");
  FileReplacement replacement(fileName);
  vtu::QatFileWrapper file(replacement.path(), "w7.3");
  if (!file) throw std::runtime_error(qatLastError());
  for (const ResultsVariable& variable : variables) {
    const vtu::qxArrayWrapper value = build(catalogue, variable);
    if (value) check(file.put(variable.key.c_str(), value.get()));
  }
  check(file.close());
  replacement.commit();
}

}  // namespace

void saveResults(Catalogue& catalogue, const std::string& fileName) {
  std::string cause;
  try {
    return write(catalogue, fileName);
  } catch (const std::exception& error) {
    cause = error.what();
  }
  vtsvThrowIExceptionFromDiagnostic(
      vtsvCreateDiagnostic("Vortan:FileIO", "CannotSave", {vtu::to_ustring(fileName), vtu::to_ustring(cause)}));
}

}  // namespace vtio::recorders
