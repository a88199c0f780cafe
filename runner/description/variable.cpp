#include "runner/description/variable.hpp"

#include <array>

namespace vtio::runner {
namespace {

using results::ElementClass;

struct TypeFacts {
  std::string_view name;
  ElementClass stored;
};

constexpr std::array<TypeFacts, kVariableTypes> kTypes = {{{"Float64", ElementClass::float64},
                                                           {"Float32", ElementClass::float32},
                                                           {"Int8", ElementClass::int8},
                                                           {"UInt8", ElementClass::uint8},
                                                           {"Int16", ElementClass::int16},
                                                           {"UInt16", ElementClass::uint16},
                                                           {"Int32", ElementClass::int32},
                                                           {"UInt32", ElementClass::uint32},
                                                           {"Int64", ElementClass::int64},
                                                           {"UInt64", ElementClass::uint64},
                                                           {"Boolean", ElementClass::logical},
                                                           {"Enumeration", ElementClass::int64},
                                                           {"String", ElementClass::text},
                                                           {"Binary", ElementClass::text},
                                                           {"Clock", ElementClass::logical}}};

constexpr std::array<std::string_view, 7> kCausalities = {
    "parameter", "calculatedParameter", "structuralParameter", "input", "output", "local", "independent"};
constexpr std::array<std::string_view, 5> kVariabilities = {"constant", "fixed", "tunable", "discrete", "continuous"};
constexpr std::array<std::string_view, 4> kInitials = {"", "exact", "approx", "calculated"};

}  // namespace

std::string_view nameOf(VariableType type) { return kTypes[static_cast<std::size_t>(type)].name; }
std::string_view nameOf(Causality causality) { return kCausalities[static_cast<std::size_t>(causality)]; }
std::string_view nameOf(Variability variability) { return kVariabilities[static_cast<std::size_t>(variability)]; }
std::string_view nameOf(Initial initial) { return kInitials[static_cast<std::size_t>(initial)]; }
ElementClass storedClassOf(VariableType type) { return kTypes[static_cast<std::size_t>(type)].stored; }
std::size_t bytesOf(VariableType type) { return results::ElementType{storedClassOf(type), false}.bytes(); }

std::uint64_t Variable::elements() const {
  std::uint64_t product = 1;
  for (const Dimension& dimension : dimensions) product *= dimension.size;
  return product;
}

bool Variable::isParameter() const {
  if (isTuned) return false;
  return causality == Causality::parameter || causality == Causality::calculatedParameter ||
         causality == Causality::structuralParameter || variability == Variability::constant ||
         variability == Variability::fixed;
}

}  // namespace vtio::runner
