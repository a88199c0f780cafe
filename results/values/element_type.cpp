#include "results/values/element_type.hpp"

#include <array>
#include <stdexcept>

namespace vtio::results {
namespace {

constexpr std::array<std::string_view, 12> kElementClassNames = {
    "double", "single", "int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64", "logical", "text"};
constexpr std::array<std::size_t, 12> kElementBytes = {8, 4, 1, 1, 2, 2, 4, 4, 8, 8, 1, 0};
constexpr std::string_view kComplexSuffix = ".complex";

}  // namespace

std::size_t ElementType::bytes() const { return kElementBytes[static_cast<std::size_t>(id)] * parts() * words; }

std::string_view nameOf(ElementClass id) { return kElementClassNames[static_cast<std::size_t>(id)]; }

ElementType elementTypeOf(std::string_view name) {
  std::string_view plain = name;
  const bool isComplex = plain.ends_with(kComplexSuffix);
  if (isComplex) plain.remove_suffix(kComplexSuffix.size());
  for (std::size_t i = 0; i < kElementClassNames.size(); ++i) {
    if (kElementClassNames[i] == plain) return {static_cast<ElementClass>(i), isComplex};
  }
  throw std::invalid_argument("unknown element class '" + std::string(name) + "'");
}

void throwNotANumber() { throw std::logic_error("texts are no numbers"); }

}  // namespace vtio::results
