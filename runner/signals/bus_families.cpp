#include "runner/signals/bus_families.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

#include "runner/description/variable_name.hpp"

namespace vtio::runner {
namespace {

using Indices = std::vector<std::uint64_t>;

struct Family {
  std::map<Indices, std::size_t> members;  // place among the siblings
};

bool sameShape(const Variable& a, const Variable& b) {
  const auto sameSize = [](const Dimension& x, const Dimension& y) { return x.size == y.size; };
  return a.type == b.type && a.unit == b.unit && a.enumeration == b.enumeration && a.isParameter() == b.isParameter() &&
         (a.variability == Variability::continuous) == (b.variability == Variability::continuous) &&
         std::equal(a.dimensions.begin(), a.dimensions.end(), b.dimensions.begin(), b.dimensions.end(), sameSize);
}

bool hasFixedSize(const Variable& variable) {
  return bytesOf(variable.type) > 0 && variable.elements() > 0 && variable.type != VariableType::clock;
}

bool alike(const SignalNode& a, const SignalNode& b, const ModelDescription& model) {
  if (a.isLeaf() != b.isLeaf() || a.busDimensions != b.busDimensions) return false;
  if (a.isLeaf()) {
    const Variable& variable = model.variables[a.variable];
    return hasFixedSize(variable) && sameShape(variable, model.variables[b.variable]);
  }
  return std::equal(
      a.children.begin(), a.children.end(), b.children.begin(), b.children.end(),
      [&model](const SignalNode& x, const SignalNode& y) { return x.name == y.name && alike(x, y, model); });
}

// All leaves of an array arrive in one block: parameters, which arrive once, cannot be among others.
bool arriveTogether(const SignalNode& node, const ModelDescription& model, bool isParameter) {
  if (node.isLeaf()) return model.variables[node.variable].isParameter() == isParameter;
  return std::all_of(node.children.begin(), node.children.end(), [&model, isParameter](const SignalNode& child) {
    return arriveTogether(child, model, isParameter);
  });
}

// The sizes of the array whose indices, from 1, are all there; empty if some are missing.
Indices completeDimensions(const Family& family) {
  const Indices& last = family.members.rbegin()->first;
  std::uint64_t elements = 1;
  for (const std::uint64_t size : last) {
    if (size == 0 || size > family.members.size()) return {};
    elements *= size;
  }
  if (elements != family.members.size()) return {};
  for (const auto& [indices, place] : family.members) {
    if (indices.size() != last.size()) return {};
    for (std::size_t i = 0; i < last.size(); ++i) {
      if (indices[i] < 1 || indices[i] > last[i]) return {};
    }
  }
  return last;
}

bool isArrayOfBuses(const Family& family, const std::vector<SignalNode>& siblings, const ModelDescription& model) {
  const SignalNode& first = siblings[family.members.begin()->second];
  if (!arriveTogether(first, model, true) && !arriveTogether(first, model, false)) return false;
  return std::all_of(family.members.begin(), family.members.end(),
                     [&](const auto& member) { return alike(first, siblings[member.second], model); });
}

void merge(const std::string& base, const Family& family, std::vector<SignalNode>& siblings, std::vector<bool>& taken) {
  SignalNode array;
  array.name = base;
  array.busDimensions = completeDimensions(family);
  std::size_t place = siblings.size();
  for (const auto& [indices, index] : family.members) {
    place = std::min(place, index);
    taken[index] = true;
    for (SignalNode& child : siblings[index].children) array.children.push_back(std::move(child));
  }
  siblings[place] = std::move(array);
  taken[place] = false;
}

}  // namespace

void mergeFamilies(std::vector<SignalNode>& siblings, const ModelDescription& model) {
  std::map<std::string, Family> families;
  std::unordered_map<std::string, std::size_t> names;
  for (std::size_t i = 0; i < siblings.size(); ++i) {
    ++names[siblings[i].name];
    if (siblings[i].isLeaf() || siblings[i].isArray()) continue;
    const std::vector<NamePart> parts = splitName(siblings[i].name);
    if (parts.size() == 1 && !parts[0].indices.empty()) {
      families[std::string(parts[0].base)].members.emplace(parts[0].indices, i);
    }
  }
  std::vector<bool> taken(siblings.size(), false);
  for (const auto& [base, family] : families) {
    if (names.contains(base) || completeDimensions(family).empty()) continue;
    if (isArrayOfBuses(family, siblings, model)) merge(base, family, siblings, taken);
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < siblings.size(); ++i) {
    if (taken[i]) continue;
    if (kept != i) siblings[kept] = std::move(siblings[i]);
    ++kept;
  }
  siblings.resize(kept);
}

}  // namespace vtio::runner
