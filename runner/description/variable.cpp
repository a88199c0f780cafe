#include "runner/description/variable.hpp"

#include <array>

namespace vtio::runner {
namespace {

struct TypeFacts {
  std::string_view name;
  std::size_t bytes;
};

constexpr std::array<TypeFacts, kVariableTypes> kTypes = {{{"Float64", 8},
                                                           {"Float32", 4},
                                                           {"Int8", 1},
                                                           {"UInt8", 1},
                                                           {"Int16", 2},
                                                           {"UInt16", 2},
                                                           {"Int32", 4},
                                                           {"UInt32", 4},
                                                           {"Int64", 8},
                                                           {"UInt64", 8},
                                                           {"Boolean", 1},
                                                           {"Enumeration", 8},
                                                           {"String", 0},
                                                           {"Binary", 0},
                                                           {"Clock", 1}}};

constexpr std::array<std::string_view, 7> kCausalities = {
    "parameter", "calculatedParameter", "structuralParameter", "input", "output", "local", "independent"};
constexpr std::array<std::string_view, 5> kVariabilities = {"constant", "fixed", "tunable", "discrete", "continuous"};
constexpr std::array<std::string_view, 4> kInitials = {"", "exact", "approx", "calculated"};

}  // namespace

std::string_view nameOf(VariableType type) { return kTypes[static_cast<std::size_t>(type)].name; }
std::string_view nameOf(Causality causality) { return kCausalities[static_cast<std::size_t>(causality)]; }
std::string_view nameOf(Variability variability) { return kVariabilities[static_cast<std::size_t>(variability)]; }
std::string_view nameOf(Initial initial) { return kInitials[static_cast<std::size_t>(initial)]; }
std::size_t bytesOf(VariableType type) { return kTypes[static_cast<std::size_t>(type)].bytes; }

std::uint64_t Variable::elements() const {
  std::uint64_t product = 1;
  for (const Dimension& dimension : dimensions) product *= dimension.size;
  return product;
}

bool Variable::isParameter() const {
  return causality == Causality::parameter || causality == Causality::calculatedParameter ||
         causality == Causality::structuralParameter || variability == Variability::constant ||
         variability == Variability::fixed;
}

}  // namespace vtio::runner
