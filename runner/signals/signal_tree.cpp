#include "runner/signals/signal_tree.hpp"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

#include "runner/description/variable_name.hpp"
#include "runner/signals/bus_families.hpp"

namespace vtio::runner {
namespace {

constexpr std::size_t kMostLevels = 100;  // of buses: a name with more stays whole

// A node under construction, with its children by name.
struct Branch {
  SignalNode node;
  std::vector<Branch> branches;
  std::unordered_map<std::string, std::size_t> byName;
  bool hasVariable = false;
};

Branch& childOf(Branch& parent, const std::string& name) {
  const auto [found, isNew] = parent.byName.emplace(name, parent.branches.size());
  if (isNew) parent.branches.emplace_back().node.name = name;
  return parent.branches[found->second];
}

// Whether a variable of this path would be inside another variable, be a bus itself, or be named like a field of every
// bus.
bool contradicts(const Branch& root, const std::vector<std::string>& path) {
  if (std::find(path.begin() + 1, path.end(), "Kind") != path.end()) return true;
  const Branch* at = &root;
  for (const std::string& part : path) {
    if (at->hasVariable) return true;
    const auto found = at->byName.find(part);
    if (found == at->byName.end()) return false;
    at = &at->branches[found->second];
  }
  return true;
}

// Takes ownership of the nodes out of the branches.
SignalNode settle(Branch& branch, const ModelDescription& model) {
  for (Branch& child : branch.branches) branch.node.children.push_back(settle(child, model));
  mergeFamilies(branch.node.children, model);
  return std::move(branch.node);
}

std::size_t firstVariable(const SignalNode& node) {
  return node.isLeaf() ? node.variable : firstVariable(node.children.front());
}

class TreeBuilder {
 public:
  explicit TreeBuilder(const ModelDescription& model) : model_(model) {}

  void add(std::size_t index) {
    const Variable& variable = model_.variables[index];
    const bool hasFixedSize = bytesOf(variable.type) > 0;
    if (hasFixedSize || variable.dimensions.empty()) return insert(index, 0, "");
    const std::uint64_t elements = variable.elements();
    for (std::uint64_t element = 0; element < elements; ++element) {
      insert(index, element, indexText(variable, element));
    }
  }

  /// Signals of one role stay in the order of their first variables, and so do the roles among each other.
  std::vector<SignalTree> finish() {
    std::vector<SignalTree> trees;
    for (std::size_t role = 0; role < roots_.size(); ++role) {
      SignalNode root = settle(roots_[role], model_);
      for (SignalNode& signal : root.children) trees.push_back({static_cast<SignalRole>(role), std::move(signal)});
    }
    const auto first = [](const SignalTree& a, const SignalTree& b) {
      return firstVariable(a.root) < firstVariable(b.root);
    };
    std::stable_sort(trees.begin(), trees.end(), first);
    return trees;
  }

 private:
  static std::string indexText(const Variable& variable, std::uint64_t element) {
    std::uint64_t block = variable.elements();  // elements that share the indices so far
    std::string text;
    for (const Dimension& dimension : variable.dimensions) {
      block /= dimension.size;
      text += "[" + std::to_string(element / block % dimension.size) + "]";
    }
    return text;
  }

  std::vector<std::string> pathOf(const Variable& variable, const std::string& suffix) const {
    std::vector<std::string> path;
    if (model_.structuredNames) {
      for (const NamePart& part : splitName(variable.name)) path.emplace_back(part.text);
    }
    if (path.empty() || path.size() > kMostLevels) path.assign(1, variable.name);
    path.back() += suffix;
    return path;
  }

  void insert(std::size_t index, std::uint64_t element, const std::string& suffix) {
    const Variable& variable = model_.variables[index];
    const auto role = static_cast<std::size_t>(roleOf(variable));
    std::vector<std::string> path = pathOf(variable, suffix);
    if (contradicts(roots_[role], path)) path = {variable.name + suffix + std::string(kAlone)};
    Branch* at = &roots_[role];
    for (const std::string& part : path) at = &childOf(*at, part);
    at->hasVariable = true;
    at->node.variable = index;
    at->node.element = element;
    if (at->node.name.ends_with(kAlone)) at->node.name.resize(at->node.name.size() - kAlone.size());
  }

  static constexpr std::string_view kAlone{"\0", 1};  // tells a signal of its own from a bus of the same name

  const ModelDescription& model_;
  std::array<Branch, 3> roots_;
};

}  // namespace

SignalRole roleOf(const Variable& variable) {
  if (variable.causality == Causality::input) return SignalRole::input;
  return variable.causality == Causality::output ? SignalRole::output : SignalRole::internal;
}

std::vector<SignalTree> makeSignalTrees(const ModelDescription& model, const std::vector<std::size_t>& chosen) {
  TreeBuilder builder(model);
  for (const std::size_t index : chosen) builder.add(index);
  return builder.finish();
}

}  // namespace vtio::runner
