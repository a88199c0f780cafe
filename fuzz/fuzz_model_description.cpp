/// @file
/// Model descriptions: whatever the text is, a description or an error comes out, and what comes out is consistent.

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "fuzz/require.hpp"
#include "runner/description/model_description.hpp"
#include "runner/description/start_values.hpp"
#include "runner/error.hpp"
#include "runner/signals/signal_tree.hpp"

namespace {

using vtio::fuzz::require;
using vtio::runner::Mistakes;
using vtio::runner::ModelDescription;
using vtio::runner::RunnerError;
using vtio::runner::SignalNode;
using vtio::runner::Variable;

std::size_t countLeaves(const SignalNode& node) {
  if (node.isLeaf()) return 1;
  std::size_t count = 0;
  for (const SignalNode& child : node.children) count += countLeaves(child);
  return count;
}

void checkVariables(const ModelDescription& model) {
  for (const Variable& variable : model.variables) {
    require(!variable.aliasOf || *variable.aliasOf < model.variables.size(), "an alias is one of a variable");
    require(variable.enumeration < static_cast<int>(model.enumerations.size()), "an enumeration exists");
    require(variable.line > 0, "a variable stands in a line");
  }
  for (const std::size_t derivative : model.derivatives) {
    require(derivative < model.variables.size(), "a derivative is a variable");
  }
}

// Only of a description that can be run: its dimensions are settled.
void checkSignals(const ModelDescription& model) {
  std::vector<std::size_t> chosen;
  std::size_t leaves = 0;
  for (std::size_t i = 0; i < model.variables.size(); ++i) {
    const Variable& variable = model.variables[i];
    const std::uint64_t elements = variable.elements();
    if (elements == 0 || elements > 1000) continue;
    chosen.push_back(i);
    leaves += vtio::runner::bytesOf(variable.type) > 0 ? 1 : elements;
    for (const std::string& text : variable.start) {
      try {
        (void)vtio::runner::parseValues(text, variable, model);
      } catch (const RunnerError&) {
      }
    }
  }
  std::size_t found = 0;
  for (const auto& tree : vtio::runner::makeSignalTrees(model, chosen)) found += countLeaves(tree.root);
  require(found == leaves, "every variable stands in one signal");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Mistakes mistakes;
  try {
    const ModelDescription model =
        vtio::runner::readModelDescription(std::string(reinterpret_cast<const char*>(data), size), mistakes);
    checkVariables(model);
    if (mistakes.firstThatPreventsRun() == nullptr) checkSignals(model);
  } catch (const RunnerError& error) {
    require(error.what()[0] != '\0', "an error says what is wrong");
  }
  return 0;
}
