#include "runner/run/selection_file.hpp"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/text.hpp"
#include "results/signals/glob.hpp"
#include "runner/error.hpp"
#include "runner/text/arrays.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

using Json = nlohmann::json;

struct Entry {
  std::string pattern;
  unsigned selector = 1;
  std::optional<std::string> customName;
  std::optional<std::uint64_t> decimation, maxPoints;
  bool matched = false;
};

[[noreturn]] void refuse(const std::string& what) { throw RunnerError("--selection: " + what); }

std::optional<std::uint64_t> wholeNumber(const Json& object, const char* key, std::uint64_t least,
                                         const std::string& place) {
  if (!object.contains(key)) return std::nullopt;
  const Json& value = object.at(key);
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() < least) {
    refuse("'" + std::string(key) + "' is no whole number from " + std::to_string(least) + " in " + place);
  }
  return value.get<std::uint64_t>();
}

unsigned selectorOf(const Json& object, const char* key, const std::string& place) {
  const std::uint64_t selector = wholeNumber(object, key, 0, place).value_or(1);
  if (selector > 2) refuse("'" + std::string(key) + "' is none of 0, 1, 2 in " + place);
  return static_cast<unsigned>(selector);
}

Entry readEntry(const Json& object, std::size_t index) {
  const std::string place = "signals[" + std::to_string(index) + "]";
  if (!object.is_object() || !object.contains("signal") || !object.at("signal").is_string()) {
    refuse("there is no text 'signal' in " + place);
  }
  Entry entry;
  entry.pattern = object.at("signal").get<std::string>();
  entry.selector = selectorOf(object, "selector", place);
  entry.decimation = wholeNumber(object, "decimation", 1, place);
  entry.maxPoints = wholeNumber(object, "maxPoints", 1, place);
  if (object.contains("customName")) {
    if (!object.at("customName").is_string()) refuse("'customName' is no text in " + place);
    entry.customName = object.at("customName").get<std::string>();
  }
  return entry;
}

bool matchesAny(const std::string& pattern, const SignalNode& node, const ModelDescription& model) {
  if (node.isLeaf()) return results::matchesGlob(pattern, model.variables[node.variable].name);
  return std::any_of(node.children.begin(), node.children.end(),
                     [&](const SignalNode& child) { return matchesAny(pattern, child, model); });
}

vtu::qxArrayWrapper selectionOf(const Entry& entry, const std::string& modelName, std::size_t port) {
  vtu::qxStructWrapper signal({"blockPath", "port", "selector"});
  signal.set("blockPath", textArray(modelName));
  signal.set("port", numberArray(static_cast<double>(port)));
  signal.set("selector", numberArray(entry.selector));
  if (entry.selector != 2) return signal;
  if (entry.customName) signal.set("customName", textArray(*entry.customName));
  if (entry.decimation) signal.set("decimation", numberArray(static_cast<double>(*entry.decimation)));
  if (entry.maxPoints) signal.set("maxPoints", numberArray(static_cast<double>(*entry.maxPoints)));
  return signal;
}

Json parse(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) refuse("cannot open '" + file.string() + "'");
  try {
    return Json::parse(in);
  } catch (const Json::exception& error) {
    refuse("'" + file.string() + "' is no JSON: " + printable(error.what(), 200));
  }
}

}  // namespace

vtu::qxArrayWrapper readSelection(const std::filesystem::path& file, const ModelDescription& model,
                                  const std::vector<SignalTree>& trees) {
  const Json json = parse(file);
  if (!json.is_object()) refuse("'" + file.string() + "' holds no object");
  std::vector<Entry> entries;
  const Json list = json.value("signals", Json::array());
  if (!list.is_array()) refuse("'signals' is no list");
  for (std::size_t i = 0; i < list.size(); ++i) entries.push_back(readEntry(list[i], i));

  std::vector<vtu::qxArrayWrapper> selected;
  for (std::size_t port = 0; port < trees.size(); ++port) {
    const SignalNode& root = trees[port].root;
    bool taken = false;
    for (Entry& entry : entries) {
      if (!results::matchesGlob(entry.pattern, root.name) && !matchesAny(entry.pattern, root, model)) continue;
      entry.matched = true;
      if (!taken) selected.push_back(selectionOf(entry, model.modelName, port));
      taken = true;
    }
  }
  for (const Entry& entry : entries) {
    if (!entry.matched) refuse("no logged signal matches '" + printable(entry.pattern) + "'");
  }
  vtu::qxCellArrayWrapper signals(selected.size(), 1);
  for (std::size_t i = 0; i < selected.size(); ++i) signals.set(i, std::move(selected[i]));
  vtu::qxStructWrapper selection({"default", "signals"});
  selection.set("default", vtu::qxArrayWrapper(qxCreateDoubleScalar(selectorOf(json, "default", "the file"))));
  selection.set("signals", std::move(signals));
  return selection;
}

}  // namespace vtio::runner
